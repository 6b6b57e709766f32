// Process start-up: command line, signal handlers, working directories, the
// single-instance rule, the sibling programs, and the start of the daemon body.
#pragma once

#include <cstddef>
#include <functional>
#include <string>

struct Daemon;

// The PID file; its mere existence keeps a second instance from starting.
inline constexpr const char* kPidFile = "/var/run/telemjson.pid";
// The publisher directory buffer holds at most this many characters (a 256-byte
// buffer with its terminator); a longer -c argument is cut.
inline constexpr size_t kPublisherDirMax = 255;
// The source line number telem_stop prints; it only has to stay the same.
inline constexpr int kTelemStopLine = 101;

// The daemon body telem_main hands control to once start-up is done.
using DaemonBody = std::function<void(Daemon&)>;

// The entry point's work. Returns the exit status for the cases that end at once
// (version, usage errors, second instance); does not return once the daemon runs.
int telem_main(Daemon& d, int argc, char** argv);
// The same with the daemon body given by the caller instead of
// start_telemjson_deamon; returns 0 when the body returns.
int telem_main(Daemon& d, int argc, char** argv, const DaemonBody& body);

// Fatal-signal handler for SIGTERM and SIGSEGV: prints one line and exits with 1.
[[noreturn]] void telem_stop(int sig);
// The line telem_stop prints for `sig`.
std::string telem_stop_message(int sig);

// The start-up steps at the head of the daemon body: detach, PID file, SIGUSR1 and
// SIGCHLD handling, interface and port maps, the VRE650 daily-check hook.
void daemon_startup_steps(Daemon& d);

// VRE650 only: the base-version and daily-check step run once at start. This
// firmware has nothing to schedule there, so the hook does nothing; it stays as the
// named place where that model's daily check belongs.
void DailyCheck_nexttime(Daemon& d);
