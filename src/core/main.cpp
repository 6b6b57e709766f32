#include "core/daemon.h"
#include "core/startup.h"
#include "platform/host_backend.h"

int main(int argc, char** argv) {
    platform::HostBackend host;
    platform::install(&host);
    Daemon daemon;
    return telem_main(daemon, argc, argv);
}
