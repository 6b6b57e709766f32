#include "core/startup.h"

#include <unistd.h>

#include <cctype>
#include <csignal>
#include <cstdio>
#include <cstdlib>

#include "core/config.h"
#include "core/daemon.h"
#include "core/main_loop.h"
#include "platform/fs.h"
#include "platform/model.h"
#include "platform/platform.h"

volatile int g_sigusr1_flag = 0;

namespace {

// The working directories other programs of the family and the report pipeline
// expect to exist, created in this order.
constexpr const char* kWorkDirs[] = {"/tmp/telem_json_dir", "/tmp/router-analytics",
                                     "/tmp/telem_wifi_json_dir"};

// The sibling programs are restarted so that they pair with this instance.
constexpr const char* kSiblingCommands[] = {"killall telem_heartbeat", "telem_heartbeat &",
                                            "killall telem_wifi", "telem_wifi &"};

// What the command line asks for.
enum class CommandLine { Run, Exit };

void print_version() {
    std::printf("Version %s\n", config::kAgentVersion);
    std::printf("Date    %s %s\n", config::kBuildDate, config::kBuildTime);
}

void set_publisher_dir(Daemon& d, const char* dir) {
    d.publisher_dir.assign(dir);
    if (d.publisher_dir.size() > kPublisherDirMax) d.publisher_dir.resize(kPublisherDirMax);
}

void print_usage_error(int c) {
    if (c == '?') {
        if (optopt == 'c')
            std::printf("Option -%c requires an argument.\n", optopt);
        else if (std::isprint(static_cast<unsigned char>(optopt)))
            std::printf("Unknown option '-%c'.\n", optopt);
        else
            std::printf("Unknown option character '\\x%x'.\n", static_cast<unsigned>(optopt));
    } else {
        std::puts("Error in command line argument parsing");
    }
}

CommandLine parse_command_line(Daemon& d, int argc, char** argv) {
    // optind 0 makes getopt start over completely (also inside a cluster such as
    // "-vc" left half read by an earlier parse); it sets optind to 1 itself.
    optind = 0;
    opterr = 0;  // the messages below are the only ones printed
    int c;
    while ((c = getopt(argc, argv, "vc:")) != -1) {
        switch (c) {
            case 'v':
                print_version();
                return CommandLine::Exit;
            case 'c':
                set_publisher_dir(d, optarg);
                break;
            default:
                print_usage_error(c);
                return CommandLine::Exit;
        }
    }
    return CommandLine::Run;
}

void install_fatal_signal_handlers() {
    struct sigaction sa {};
    sa.sa_handler = telem_stop;
    sigemptyset(&sa.sa_mask);
    sa.sa_flags = SA_RESTART;
    sigaction(SIGTERM, &sa, nullptr);
    sigaction(SIGSEGV, &sa, nullptr);
}

void make_work_dirs() {
    for (const char* dir : kWorkDirs)
        if (!platform::file_exists(dir)) doSystem(std::string("mkdir -p ") + dir);
}

void restart_siblings() {
    for (const char* command : kSiblingCommands) doSystem(command);
}

void on_sigusr1(int) {
    g_sigusr1_flag = 1;
}

void write_pid_file() {
    if (!platform::write_file(kPidFile, std::to_string(::getpid())))
        std::perror("Can not open PID file.");
}

}  // namespace

int telem_main(Daemon& d, int argc, char** argv) {
    return telem_main(d, argc, argv, [](Daemon& daemon) { start_telemjson_deamon(daemon); });
}

int telem_main(Daemon& d, int argc, char** argv, const DaemonBody& body) {
    if (parse_command_line(d, argc, argv) == CommandLine::Exit) return 0;
    install_fatal_signal_handlers();
    make_work_dirs();
    // A PID file left by an earlier instance blocks the start until it is removed;
    // /var/run is emptied at boot.
    if (platform::file_exists(kPidFile)) {
        std::puts("telem_json already running.");
        return 0;
    }
    // The first-report time is drawn afresh by the daemon body.
    ovraNvramConfig_unset("ra_init_report_time");
    restart_siblings();
    body(d);
    return 0;
}

namespace {
// Formats into the caller's buffer so the handler itself needs no allocation.
void format_stop_message(int sig, char* line, size_t size) {
    if (sig == SIGTERM)
        std::snprintf(line, size, "[%s %d] Receive signal SIGTERM\n", "telem_stop", kTelemStopLine);
    else if (sig == SIGSEGV)
        std::snprintf(line, size, "[%s %d] Receive signal SIGSEGV\n", "telem_stop", kTelemStopLine);
    else
        std::snprintf(line, size, "[%s %d] Receve signal %d\n", "telem_stop", kTelemStopLine, sig);
}
}  // namespace

std::string telem_stop_message(int sig) {
    char line[64];
    format_stop_message(sig, line, sizeof line);
    return line;
}

void telem_stop(int sig) {
    char line[64];
    format_stop_message(sig, line, sizeof line);
    std::fputs(line, stdout);
    std::exit(1);
}

void daemon_startup_steps(Daemon& d) {
    if (platform::backend().daemonize() != 0) {
        std::perror("daemon");
        std::exit(1);
    }
    write_pid_file();
    std::signal(SIGUSR1, on_sigusr1);
    // Many commands are started with "&"; ignoring SIGCHLD leaves no zombies.
    std::signal(SIGCHLD, SIG_IGN);

    std::string hwver = ovraNvramConfig_get("hwver");
    init_ifname_map(d.ifnames, hwver);
    init_port_map(d.ports);
    if (hwver == "VRE650") DailyCheck_nexttime(d);
}

void DailyCheck_nexttime(Daemon&) {}
