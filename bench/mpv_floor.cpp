// The floor for a start on its second: one libmpv kept warm, sleeping until
// each boundary on an absolute CLOCK_REALTIME sleep and calling loadfile
// there. Prints, per start, the milliseconds from the boundary to mpv's first
// playback restart (its first frames handed to the audio output), the same
// event the station's trace calls "playing".
//
// usage: mpv_floor FILE STARTS INTERVAL_SECONDS [AO]
#include <mpv/client.h>

#include <cerrno>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <ctime>

namespace {

double msSince(const timespec &boundary)
{
    timespec now;
    clock_gettime(CLOCK_REALTIME, &now);
    return double(now.tv_sec - boundary.tv_sec) * 1000.0 + double(now.tv_nsec - boundary.tv_nsec) / 1e6;
}

} // namespace

int main(int argc, char **argv)
{
    if (argc < 4) {
        std::fprintf(stderr, "usage: mpv_floor FILE STARTS INTERVAL_SECONDS [AO]\n");
        return 2;
    }
    const char *file = argv[1];
    const int starts = std::atoi(argv[2]);
    const int interval = std::atoi(argv[3]);
    std::setlocale(LC_NUMERIC, "C");
    mpv_handle *mpv = mpv_create();
    if (!mpv)
        return 1;
    mpv_set_option_string(mpv, "vid", "no");
    mpv_set_option_string(mpv, "idle", "yes");
    mpv_set_option_string(mpv, "config", "no");
    mpv_set_option_string(mpv, "load-scripts", "no");
    mpv_set_option_string(mpv, "ao", argc > 4 ? argv[4] : "null");
    if (mpv_initialize(mpv) < 0)
        return 1;

    timespec boundary;
    clock_gettime(CLOCK_REALTIME, &boundary);
    boundary.tv_sec += 2;
    boundary.tv_nsec = 0;
    for (int i = 0; i < starts; ++i, boundary.tv_sec += interval) {
        while (clock_nanosleep(CLOCK_REALTIME, TIMER_ABSTIME, &boundary, nullptr) == EINTR) {
        }
        const char *command[] = {"loadfile", file, "replace", nullptr};
        mpv_command_async(mpv, 0, command);
        for (;;) {
            const mpv_event *event = mpv_wait_event(mpv, 1.0);
            if (event->event_id == MPV_EVENT_PLAYBACK_RESTART) {
                std::printf("%.3f\n", msSince(boundary));
                break;
            }
            if (event->event_id == MPV_EVENT_END_FILE
                && static_cast<const mpv_event_end_file *>(event->data)->reason == MPV_END_FILE_REASON_ERROR) {
                std::printf("error\n");
                break;
            }
        }
        std::fflush(stdout);
    }
    mpv_terminate_destroy(mpv);
    return 0;
}
