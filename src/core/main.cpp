#include <memory>

#include "core/daemon.h"
#include "core/startup.h"
#include "platform/host_backend.h"

int main(int argc, char** argv) {
    platform::HostBackend host;
    platform::install(&host);
    // The daemon's state lives for the whole process; on the heap it does not weigh on
    // the main thread's stack, which stays small for the commands and builders.
    auto daemon = std::make_unique<Daemon>();
    return telem_main(*daemon, argc, argv);
}
