#pragma once

#include "core/datadir.h"

#include <QString>

namespace tav {

// The web console's settings, in a section of their own ("[WEB]") of
// "【CONTROL】.ini". Off until switched on; on 127.0.0.1 unless the operator
// opens it to the network. Passwords are kept only as salted hashes.
struct WebSettings
{
    static constexpr quint16 kDefaultPort = 8790;
    static const QString kSection; // "WEB"

    bool enabled = false;
    quint16 port = kDefaultPort;
    QString listen = QStringLiteral("127.0.0.1");
    QString managerHash; // hashSecret() of the manager password, empty: none set
    QString viewerHash;  // hashSecret() of the optional viewer password
    QString certificate; // PEM files for HTTPS; both empty: plain HTTP
    QString key;

    // A missing section reads as the defaults. `readable` is false when the
    // file is there but could not be read.
    static WebSettings load(const DataDir &dir, bool *readable = nullptr);
    // Writes the section, keeping every other section and key of the file as
    // it is, in one atomic replace. False with the reason when it failed.
    bool save(const DataDir &dir, QString *error = nullptr) const;
};

} // namespace tav
