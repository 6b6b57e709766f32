#include "support/quiet_stdout.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>

namespace testing_support {

QuietStdout::QuietStdout() {
    std::fflush(stdout);
    saved_.reset(::dup(STDOUT_FILENO));
    platform::UniqueFd null(::open("/dev/null", O_WRONLY));
    if (null) ::dup2(null.get(), STDOUT_FILENO);
}

QuietStdout::~QuietStdout() {
    std::fflush(stdout);
    if (saved_) ::dup2(saved_.get(), STDOUT_FILENO);
}

}  // namespace testing_support
