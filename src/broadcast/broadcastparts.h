#pragma once

namespace tav {

class BroadcastScheduler;
class BroadcastStore;
class Broadcaster;
class Clock;
class DataDir;
class MediaPlayer;
class MessageLog;
class Prompt;
class ScriptStore;
class SpeechSynth;
class Voice;
class VoiceCatalog;

// Everything the broadcast windows work on, owned by the station.
struct BroadcastParts
{
    BroadcastStore &store;
    ScriptStore &scripts;
    BroadcastScheduler &scheduler;
    Broadcaster &broadcaster;
    Voice &voice;
    const VoiceCatalog &voices;
    SpeechSynth &synth;
    MediaPlayer &voicePlayer;
    MediaPlayer &broadcastPlayer;
    const DataDir &dir;
    const Clock &clock;
    MessageLog &log;
    Prompt &prompt;
};

} // namespace tav
