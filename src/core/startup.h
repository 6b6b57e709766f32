// Process start-up: command line, signal handlers, working directories, the
// single-instance rule, the sibling programs, and the start of the daemon body.
#pragma once

struct Daemon;

// The entry point's work. Returns the exit status for the cases that end at once
// (version, usage errors, second instance); does not return once the daemon runs.
int telem_main(Daemon& d, int argc, char** argv);
void telem_stop(int sig);
// The start-up steps at the head of the daemon body: detach, PID file, SIGUSR1 and
// SIGCHLD handling, interface and port maps, the VRE650 daily-check hook.
void daemon_startup_steps(Daemon& d);
