#pragma once

#include <QString>
#include <QStringList>

#include <functional>

class QWidget;

namespace tav {

// A file dialog as the broadcast windows ask for it: the title and the
// filter in its "Description|pattern|…" form; empty when cancelled.
// Tests put their own in.
using FileChooser = std::function<QString(const QString &title, const QString &filter, bool save)>;

// The Qt file dialogs; the filter's first wave entry is preselected when
// asked for ("*.wav").
FileChooser qtFileChooser(QWidget *parent);
// "WAV Files (*.WAV)|*.WAV|mp3 Files (*.mp3)|*.mp3|" → Qt's "WAV Files (*.WAV);;mp3 Files (*.mp3)".
QString qtFilter(const QString &barFilter);

} // namespace tav
