#pragma once

#include "core/datadir.h"
#include "core/messagelog.h"
#include "core/settings.h"
#include "fakes/fakes.h"
#include "playback/playbackcontroller.h"

namespace tav::test {

// The station's settings, message log and playback over the fakes.
struct PlaybackRig : StationFakes
{
    using StationFakes::StationFakes;
    DataDir dir{d.path()};
    Settings settings{dir};
    MessageLog log{dir.playLog(), clock};
    PlaybackController playback{player, settings, log, clock};
};

} // namespace tav::test
