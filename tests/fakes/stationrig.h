#pragma once

#include "fakes/fakes.h"
#include "shell/station.h"

#include <memory>

namespace tav::test {

// A whole station on the fakes, the broadcast devices faked too. Its
// ticker is stopped: the test gives the seconds.
struct StationRig : StationFakes, BroadcastFakes
{
    using StationFakes::StationFakes;
    std::unique_ptr<Station> station;

    // (Re)starts it on the folder as it is now; without the broadcast
    // devices it is a PC with no voice.
    void startStation(bool withBroadcasts = true)
    {
        station.reset();
        station = std::make_unique<Station>(d.path(), player, prompt, clock, shutdown);
        if (withBroadcasts)
            station->setBroadcastDevices(broadcastPlayer, voicePlayer, synth);
        station->start();
        station->ticker().stop();
    }
};

} // namespace tav::test
