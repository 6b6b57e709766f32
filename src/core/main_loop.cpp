#include "core/main_loop.h"

#include "core/daemon.h"
#include "core/startup.h"
#include "platform/platform.h"

void start_telemjson_deamon(Daemon& d) {
    daemon_startup_steps(d);
    // The report passes are not wired in yet: the daemon idles after start-up.
    for (;;) platform::sleep_seconds(600);
}
