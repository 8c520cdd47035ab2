#pragma once

#include "core/datadir.h"

#include <QString>
#include <QStringList>

namespace tav {

// The advertising slideshow's lists and options, as "【IMAGE】.ini" keeps them.
struct SlideshowSettings
{
    enum PictureOrder { InOrder = 0, Random = 1 }; // OptPlayMode index
    enum MusicOrder { MusicInOrder = 0, MusicRandom = 1 }; // OptMusicMode index

    QStringList pictures;   // 图片/图片路径0…, in show order
    int pictureOrder = InOrder; // 设置/图片播放模式
    int volume = 0;         // 设置/个性音量, slider units 1 … 65535
    int switchSeconds = 0;  // 设置/图片切换时间, 5 … 60
    QStringList music;      // 歌曲/歌曲名称0…
    int musicOrder = MusicInOrder; // 设置/音乐模式
    bool playMusic = false; // 设置/播放音乐
    bool muteOnStopDates = false; // 设置/停播日期音乐静音

    // The play order of the music list on the media player: in order it
    // starts again after the last item ("循环"), else "随机".
    QString musicModeName() const;
};

// "【IMAGE】.ini". The second-monitor key in it belongs to the settings
// (Settings, Switch::SecondMonitor) and is left as it is here.
class PictureStore
{
public:
    static constexpr int kMinSwitch = 5;
    static constexpr int kMaxSwitch = 60;
    static constexpr int kMinVolume = 1;
    static constexpr int kMaxVolume = 65535;
    // The counts are read as 16-bit numbers, as the original program did.
    static constexpr int kMaxEntries = 32767;

    explicit PictureStore(const DataDir &dir);
    const QString &path() const { return m_path; }

    // Reads every key in the order of the file's table; a missing key reads
    // as empty text and counts as 0. Empty list entries are dropped.
    // `readable` is false when the file exists but could not be read.
    SlideshowSettings load(bool *readable = nullptr) const;

    // The save button's checks, in order, on the two texts as typed: the
    // message to show ("图片播放时间设置不正确！", "音量设置不正确！"), or
    // empty when both are fine.
    static QString checkInput(const QString &switchTime, const QString &volume);
    // Writes every key in one replace of the file; the picture and music
    // sections are written afresh so no entry of a longer old list stays
    // behind. False with the reason when the file could not be written (it
    // is then as it was).
    bool save(const SlideshowSettings &s, QString *error = nullptr) const;

private:
    QString m_path;
};

} // namespace tav
