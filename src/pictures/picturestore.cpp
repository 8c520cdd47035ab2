#include "pictures/picturestore.h"

#include "core/ini.h"

using namespace Qt::StringLiterals;

namespace tav {

namespace {

const QString kSettings = u"设置"_s;
const QString kPictureSection = u"图片"_s;
const QString kPictureKey = u"图片路径"_s;
const QString kMusicSection = u"歌曲"_s;
const QString kMusicKey = u"歌曲名称"_s;

int number(const IniDocument &doc, const QString &section, const QString &key)
{
    return doc.value(section, key).toInt(); // empty or not a number: 0
}

QStringList readList(const IniDocument &doc, int count, const QString &section, const QString &prefix)
{
    const QHash<QString, QString> entries = doc.sectionValues(section);
    const QString folded = prefix.toCaseFolded();
    QStringList values;
    for (int i = 0; i < qBound(0, count, PictureStore::kMaxEntries); ++i) {
        const QString value = entries.value(folded + QString::number(i));
        if (!value.isEmpty())
            values.append(value);
    }
    return values;
}

void writeList(IniDocument &doc, const QStringList &items, const QString &section, const QString &prefix)
{
    QList<std::pair<QString, QString>> entries;
    entries.reserve(items.size());
    for (qsizetype i = 0; i < items.size(); ++i)
        entries.append({prefix + QString::number(i), items.at(i)});
    doc.replaceSection(section, entries);
}

bool inRange(const QString &text, int low, int high)
{
    bool ok = false;
    const int value = text.trimmed().toInt(&ok);
    return ok && value >= low && value <= high;
}

} // namespace

QString SlideshowSettings::musicModeName() const
{
    return musicOrder == MusicRandom ? u"随机"_s : u"循环"_s;
}

PictureStore::PictureStore(const DataDir &dir) : m_path(dir.file(u"【IMAGE】.ini"_s)) {}

SlideshowSettings PictureStore::load(bool *readable) const
{
    const auto doc = IniFile(m_path).read(readable);
    SlideshowSettings s;
    s.pictures = readList(*doc, number(*doc, u"图片文件数量"_s, u"数量"_s), kPictureSection, kPictureKey);
    s.pictureOrder = number(*doc, kSettings, u"图片播放模式"_s) == SlideshowSettings::Random
                         ? SlideshowSettings::Random
                         : SlideshowSettings::InOrder;
    s.volume = number(*doc, kSettings, u"个性音量"_s);
    s.switchSeconds = number(*doc, kSettings, u"图片切换时间"_s);
    s.music = readList(*doc, number(*doc, u"多媒体文件数量"_s, u"多媒体数量"_s), kMusicSection, kMusicKey);
    s.musicOrder = number(*doc, kSettings, u"音乐模式"_s) == SlideshowSettings::MusicRandom
                       ? SlideshowSettings::MusicRandom
                       : SlideshowSettings::MusicInOrder;
    s.playMusic = number(*doc, kSettings, u"播放音乐"_s) == 1;
    s.muteOnStopDates = number(*doc, kSettings, u"停播日期音乐静音"_s) == 1;
    return s;
}

QString PictureStore::checkInput(const QString &switchTime, const QString &volume)
{
    if (!inRange(switchTime, kMinSwitch, kMaxSwitch))
        return u"图片播放时间设置不正确！"_s;
    if (!inRange(volume, kMinVolume, kMaxVolume))
        return u"音量设置不正确！"_s;
    return {};
}

bool PictureStore::save(const SlideshowSettings &s, QString *error) const
{
    const IniFile file(m_path);
    bool readable = true;
    IniDocument doc = *file.read(&readable);
    if (!readable) { // replacing it would lose the keys we do not write
        if (error)
            *error = u"无法读取 "_s + m_path;
        return false;
    }
    const auto flag = [](bool on) { return on ? u"1"_s : u"0"_s; };
    doc.setValue(u"图片文件数量"_s, u"数量"_s, QString::number(s.pictures.size()));
    writeList(doc, s.pictures, kPictureSection, kPictureKey);
    doc.setValue(kSettings, u"图片播放模式"_s, QString::number(s.pictureOrder));
    doc.setValue(kSettings, u"个性音量"_s, QString::number(s.volume));
    doc.setValue(kSettings, u"图片切换时间"_s, QString::number(s.switchSeconds));
    doc.setValue(u"多媒体文件数量"_s, u"多媒体数量"_s, QString::number(s.music.size()));
    writeList(doc, s.music, kMusicSection, kMusicKey);
    doc.setValue(kSettings, u"音乐模式"_s, QString::number(s.musicOrder));
    doc.setValue(kSettings, u"播放音乐"_s, flag(s.playMusic));
    doc.setValue(kSettings, u"停播日期音乐静音"_s, flag(s.muteOnStopDates));
    return file.write(doc, error);
}

} // namespace tav
