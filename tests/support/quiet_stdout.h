// Sends standard output to /dev/null while alive: benchmarks and long runs build many
// reports, and each prints its diagnostics.
#pragma once

#include "platform/unique_fd.h"

namespace testing_support {

class QuietStdout {
  public:
    QuietStdout();
    ~QuietStdout();
    QuietStdout(const QuietStdout&) = delete;
    QuietStdout& operator=(const QuietStdout&) = delete;

  private:
    platform::UniqueFd saved_;
};

}  // namespace testing_support
