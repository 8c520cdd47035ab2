#include "remote/websettings.h"

#include "core/ini.h"

using namespace Qt::StringLiterals;

namespace tav {

const QString WebSettings::kSection = u"WEB"_s;

WebSettings WebSettings::load(const DataDir &dir, bool *readable)
{
    const auto doc = IniFile(dir.control()).read(readable);
    WebSettings s;
    const auto value = [&doc](const QString &key) { return doc->value(kSection, key).trimmed(); };
    s.enabled = value(u"On"_s) == u"1";
    bool ok = false;
    const uint port = value(u"Port"_s).toUInt(&ok);
    if (ok && port > 0 && port < 65536)
        s.port = quint16(port);
    if (const QString listen = value(u"Listen"_s); !listen.isEmpty())
        s.listen = listen;
    s.managerHash = value(u"ManagerPassword"_s);
    s.viewerHash = value(u"ViewerPassword"_s);
    s.certificate = value(u"Certificate"_s);
    s.key = value(u"Key"_s);
    return s;
}

bool WebSettings::save(const DataDir &dir, QString *error) const
{
    const IniFile file(dir.control());
    bool readable = true;
    IniDocument doc = *file.read(&readable);
    if (!readable) {
        if (error)
            *error = u"无法读取"_s + file.path();
        return false;
    }
    doc.setValue(kSection, u"On"_s, enabled ? u"1"_s : u"0"_s);
    doc.setValue(kSection, u"Port"_s, QString::number(port));
    doc.setValue(kSection, u"Listen"_s, listen);
    doc.setValue(kSection, u"ManagerPassword"_s, managerHash);
    doc.setValue(kSection, u"ViewerPassword"_s, viewerHash);
    doc.setValue(kSection, u"Certificate"_s, certificate);
    doc.setValue(kSection, u"Key"_s, key);
    return file.write(doc, error);
}

} // namespace tav
