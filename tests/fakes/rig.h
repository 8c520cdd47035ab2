#pragma once

#include "core/datadir.h"
#include "core/messagelog.h"
#include "core/settings.h"
#include "fakes/fakes.h"
#include "playback/playbackcontroller.h"

namespace tav::test {

// A data folder with the station's settings, message log and playback over a
// fake player and a scripted prompt, on a fake clock starting at `now`.
struct PlaybackRig
{
    explicit PlaybackRig(const char *now) : clock(at(now)) {}
    DataFolder d;
    DataDir dir{d.path()};
    FakeClock clock;
    FakePlayer player;
    ScriptedPrompt prompt;
    Settings settings{dir};
    MessageLog log{dir.playLog(), clock};
    PlaybackController playback{player, settings, log, clock};
};

} // namespace tav::test
