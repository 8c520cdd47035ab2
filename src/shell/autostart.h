#pragma once

#include <QString>
#include <QStringList>

namespace tav {

// Starting the station when the operator logs in: an XDG autostart entry
// "Tavrel多媒体定时播放系统.desktop" in the autostart folder. The entry holds
// the executable's path (and the data folder, when one was given), so that
// start-up can notice that the program has moved and offer to update it.
class AutoStart
{
public:
    static inline const QString kEntryName = QStringLiteral("Tavrel多媒体定时播放系统.desktop");
    // The entry of earlier versions, removed whenever the entry is written.
    static inline const QString kLegacyEntryName = QStringLiteral("MySoftware.desktop");

    // $XDG_CONFIG_HOME/autostart (normally ~/.config/autostart).
    static QString defaultFolder();

    explicit AutoStart(QString folder = defaultFolder());

    const QString &folder() const { return m_folder; }
    QString entryPath() const;

    // On: writes the entry (atomically) and removes the legacy one.
    // Off: removes the entry. False on failure, with errorString() set.
    bool setEnabled(bool on, const QString &exePath, const QString &dataDir = QString());

    // The entry exists, starts something and is not switched off by
    // Hidden=true or X-GNOME-Autostart-enabled=false.
    bool isEnabled() const;
    // The executable the entry starts, unquoted; empty when there is no entry.
    QString registeredPath() const;

    QString errorString() const { return m_error; }

    // The Exec value for a command line: arguments quoted and escaped the way
    // desktop entries require, and back again. parseExec returns an empty list
    // for a value with an unterminated quote.
    static QString execLine(const QStringList &arguments);
    static QStringList parseExec(const QString &value);

private:
    QString m_folder;
    QString m_error;
};

} // namespace tav
