// What every fuzz target shares: a fresh in-memory router per input, with the
// daemon's chatter on standard output thrown away (libFuzzer reports on standard
// error), and ways to hand the input to the code as a file, a command's output or
// nvram values.
//
// Adding a target is one file, tests/fuzz/<name>.cpp defining LLVMFuzzerTestOneInput
// with the helpers below, plus its seed folder tests/fuzz/corpus/<name>/ (and, when it
// helps, a dictionary tests/fuzz/<name>.dict); the build and `make fuzz` pick both up.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "support/fake_backend.h"

namespace fuzz {

inline std::string text(const uint8_t* data, size_t size) {
    return std::string(reinterpret_cast<const char*>(data), size);
}

// Splits the input at each '\x1e' (record separator) into at most `parts` pieces, so
// one input can feed several values; missing pieces are empty.
inline std::vector<std::string> pieces(std::string_view input, size_t parts) {
    std::vector<std::string> out(parts);
    size_t i = 0;
    for (char c : input) {
        if (c == '\x1e' && i + 1 < parts) {
            ++i;
            continue;
        }
        out[i] += c;
    }
    return out;
}

// The first byte of a piece as a number (0 for an empty piece): a target's switches.
inline unsigned first_byte(const std::string& piece) {
    return piece.empty() ? 0 : static_cast<unsigned char>(piece[0]);
}

// Every command the code runs "produces" `output`: written to the file its line
// redirects to, or returned to popen.
inline void every_command_outputs(testing_support::FakeBackend& fake, const std::string& output) {
    fake.on_prefix("", testing_support::FakeBackend::outputs(output));
}

// Each line "key=value" of `lines` sets an nvram key (a line without '=' sets the
// whole line to ""), so one input can fill the open-ended key families of the SOAP
// client's cache ("soapc_sat_<i>_...") with whatever indices the fuzzer picks.
inline void nvram_lines(testing_support::FakeBackend& fake, std::string_view lines) {
    while (!lines.empty()) {
        size_t end = lines.find('\n');
        std::string_view line = lines.substr(0, end);
        lines = end == std::string_view::npos ? std::string_view() : lines.substr(end + 1);
        size_t eq = line.find('=');
        if (eq == std::string_view::npos)
            fake.nvram[std::string(line)] = "";
        else
            fake.nvram[std::string(line.substr(0, eq))] = std::string(line.substr(eq + 1));
    }
}

// A finding the sanitizers cannot see (a broken round trip) ends the run as a crash.
inline void require(bool ok, const char* what) {
    if (!ok) {
        std::fprintf(stderr, "fuzz check failed: %s\n", what);
        std::abort();
    }
}

// Silences standard output once per process.
inline void quiet() {
    static const bool done = [] { return std::freopen("/dev/null", "w", stdout) != nullptr; }();
    (void)done;
}

}  // namespace fuzz
