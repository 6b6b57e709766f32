#include "core/startup.h"

#include <cstdio>

#include "core/config.h"
#include "core/daemon.h"

int telem_main(Daemon&, int, char**) {
    std::printf("Version %s\n", config::kAgentVersion);
    return 0;
}
void telem_stop(int) {}
void daemon_startup_steps(Daemon&) {}
