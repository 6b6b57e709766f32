// The main of a fuzz target built for coverage measurement instead of fuzzing: runs
// the target once on every file named on the command line, or on every regular file
// of every folder named there (in name order, so two runs over the same corpus
// execute the same inputs). No sanitizers, no libFuzzer: what the coverage counters
// see is the target's own work.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

namespace fs = std::filesystem;

bool run_file(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        std::fprintf(stderr, "replay: cannot read %s\n", path.c_str());
        return false;
    }
    std::vector<char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
    return true;
}

std::vector<fs::path> files_of(const fs::path& folder) {
    std::vector<fs::path> files;
    std::error_code ec;
    for (const auto& entry : fs::directory_iterator(folder, ec))
        if (entry.is_regular_file(ec)) files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    return files;
}

}  // namespace

int main(int argc, char** argv) {
    size_t runs = 0;
    bool ok = true;
    for (int i = 1; i < argc; ++i) {
        const fs::path arg = argv[i];
        std::error_code ec;
        if (fs::is_directory(arg, ec)) {
            for (const fs::path& file : files_of(arg)) {
                ok = run_file(file) && ok;
                ++runs;
            }
        } else if (fs::exists(arg, ec)) {
            ok = run_file(arg) && ok;
            ++runs;
        }
    }
    std::fprintf(stderr, "replay: %zu inputs\n", runs);
    return ok ? 0 : 1;
}
