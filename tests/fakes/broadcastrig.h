#pragma once

#include "broadcast/broadcaster.h"
#include "broadcast/broadcastscheduler.h"
#include "broadcast/broadcaststore.h"
#include "broadcast/voice.h"
#include "broadcast/voices.h"
#include "fakes/rig.h"

#include <QTest>

namespace tav::test {

// The broadcasts' day over fake players (the media task's is `media`) and a
// fake voice.
struct BroadcastRig : PlaybackRig, BroadcastFakes
{
    using PlaybackRig::PlaybackRig;
    FakePlayer &media = player;
    Voice voice{synth, voicePlayer};
    VoiceCatalog voices{&synth};
    Broadcaster broadcaster{clock, dir, voice, broadcastPlayer, playback, log, voices};
    BroadcastStore store{dir};
    BroadcastScheduler scheduler{clock, store, broadcaster, log};

    // Today's list is built off this thread: waits for it to be in.
    [[nodiscard]] bool built(BroadcastScheduler &s) { return QTest::qWaitFor([&] { return !s.isBuilding(); }, 20000); }
    [[nodiscard]] bool built() { return built(scheduler); }
};

} // namespace tav::test
