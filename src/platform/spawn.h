// Starting a program from the daemon without copying the daemon.
//
// Every pass starts about a thousand commands, most of them from the five-second watch
// ticks. fork() would copy the daemon's page tables for each; posix_spawn avoids that
// but maps and unmaps a fresh stack for every child, and unmapping flushes the
// processor's address caches on every core. A vfork()ed child instead runs on the
// daemon's own stack, sharing its memory, until it calls exec, while the daemon waits.
#pragma once

#include <sys/types.h>

namespace platform {

// Starts `program` with the arguments `argv` (argv[0] first, a null pointer last) and
// the daemon's environment. `search` looks `program` up in PATH as a shell would; a
// `stdout_fd` of 0 or more becomes the child's standard output. The child has the
// daemon's signal mask and every signal the daemon catches back at its default, as
// exec leaves them. Returns the child's PID, or the error (a positive errno value)
// negated when no program could be started: then no child is left to wait for.
pid_t start_process(const char* program, char* const argv[], bool search, int stdout_fd);

// True when start_process failed because the program could not be executed (a
// missing, unreadable or non-executable file), which a shell reports as status 127.
bool exec_failure(int error);

}  // namespace platform
