#include "platform/spawn.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

extern char** environ;

namespace platform {

namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define TELEM_SPAWN_WITH_POSIX_SPAWN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) || \
    __has_feature(memory_sanitizer)
#define TELEM_SPAWN_WITH_POSIX_SPAWN 1
#endif
#endif

#ifdef TELEM_SPAWN_WITH_POSIX_SPAWN

// The sanitizers keep per-thread state that a child sharing the daemon's memory would
// change under it; sanitized test builds start programs with posix_spawn instead.
pid_t start(const char* program, char* const argv[], bool search, int stdout_fd) {
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    if (stdout_fd >= 0) ::posix_spawn_file_actions_adddup2(&actions, stdout_fd, STDOUT_FILENO);
    pid_t pid = -1;
    int rc = search ? ::posix_spawnp(&pid, program, &actions, nullptr, argv, environ)
                    : ::posix_spawn(&pid, program, &actions, nullptr, argv, environ);
    ::posix_spawn_file_actions_destroy(&actions);
    return rc == 0 ? pid : -rc;
}

#else

// What runs in the child, on the daemon's stack and in its memory: only calls that are
// safe there (no allocation, no locks), and nothing written to the daemon's memory but
// `error`, which tells the daemon why exec failed.
[[noreturn]] void become_program(const char* program, char* const argv[], bool search,
                                 int stdout_fd, const sigset_t& mask, volatile int& error) {
    // A handler of the daemon's would run in the child with the daemon's memory.
    for (int sig = 1; sig < NSIG; ++sig) {
        struct sigaction sa {};
        if (::sigaction(sig, nullptr, &sa) != 0) continue;
        if (sa.sa_handler == SIG_DFL || sa.sa_handler == SIG_IGN) continue;
        sa.sa_handler = SIG_DFL;
        sa.sa_flags = 0;
        ::sigaction(sig, &sa, nullptr);
    }
    if (stdout_fd == STDOUT_FILENO) {
        // Already in place: only the close-on-exec flag must go.
        ::fcntl(STDOUT_FILENO, F_SETFD, 0);
    } else if (stdout_fd >= 0 && ::dup2(stdout_fd, STDOUT_FILENO) < 0) {
        error = errno;
        ::_exit(127);
    }
    ::sigprocmask(SIG_SETMASK, &mask, nullptr);
    if (search)
        ::execvp(program, argv);
    else
        ::execve(program, argv, environ);
    error = errno;
    ::_exit(127);
}

pid_t start(const char* program, char* const argv[], bool search, int stdout_fd) {
    // No signal may reach the child before its handlers are reset.
    sigset_t all;
    sigset_t mask;
    ::sigfillset(&all);
    ::sigprocmask(SIG_SETMASK, &all, &mask);
    volatile int error = 0;
    pid_t pid = ::vfork();
    if (pid == 0) become_program(program, argv, search, stdout_fd, mask, error);
    int vfork_error = errno;
    ::sigprocmask(SIG_SETMASK, &mask, nullptr);
    if (pid < 0) return -vfork_error;
    if (error != 0) {
        // The child has already left with status 127: collect it, report why.
        int status = 0;
        while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
        }
        return -error;
    }
    return pid;
}

#endif

}  // namespace

pid_t start_process(const char* program, char* const argv[], bool search, int stdout_fd) {
    return start(program, argv, search, stdout_fd);
}

bool exec_failure(int error) {
    return error == ENOENT || error == EACCES || error == ENOEXEC || error == ENOTDIR ||
           error == ELOOP || error == ENAMETOOLONG || error == EPERM;
}

}  // namespace platform
