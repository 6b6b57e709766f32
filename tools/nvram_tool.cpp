// nvram: the host's stand-in for the router's nvram utility, on the store file
// $NVRAM_FILE (default /etc/nvram.txt) that the daemon's host backend reads.
//
//   nvram get KEY       prints the value and a newline; a key that is not set prints
//                       nothing (exit status 0, as the router's utility does)
//   nvram set KEY=VALUE stores VALUE (everything after the first '=', may be empty)
//   nvram unset KEY     removes the key
//   nvram show          prints every "key=value" line, in key order
//   nvram commit        flushes the store file to disk
//
// Several commands may follow each other in one call ("nvram set a=1 set b=2 commit").
// Errors (unknown command, missing argument, a key that cannot be stored, a store
// that cannot be written) print a message on standard error and give exit status 1.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include "platform/nvram_file.h"

namespace {

int usage() {
    std::fputs(
        "usage: nvram [get KEY | set KEY=VALUE | unset KEY | show | commit] ...\n"
        "store: $NVRAM_FILE or /etc/nvram.txt\n",
        stderr);
    return 1;
}

std::string store_path() {
    const char* env = std::getenv("NVRAM_FILE");
    return env && *env ? env : "/etc/nvram.txt";
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) return usage();
    platform::NvramFile store(store_path());
    for (int i = 1; i < argc; ++i) {
        std::string_view cmd = argv[i];
        if (cmd == "show") {
            for (const auto& [k, v] : store.all()) std::printf("%s=%s\n", k.c_str(), v.c_str());
        } else if (cmd == "commit") {
            if (!store.commit()) {
                std::fprintf(stderr, "nvram: cannot commit %s\n", store.path().c_str());
                return 1;
            }
        } else if (cmd == "get" || cmd == "set" || cmd == "unset") {
            if (++i >= argc) return usage();
            std::string_view arg = argv[i];
            if (cmd == "get") {
                if (auto v = store.get(arg)) std::printf("%s\n", v->c_str());
            } else if (cmd == "unset") {
                if (!store.unset(arg)) return 1;
            } else {
                size_t eq = arg.find('=');
                if (eq == std::string_view::npos) return usage();
                std::string_view key = arg.substr(0, eq);
                if (!platform::NvramFile::storable_key(key)) {
                    std::fprintf(stderr, "nvram: invalid key \"%.*s\"\n",
                                 static_cast<int>(key.size()), key.data());
                    return 1;
                }
                if (!store.set(key, arg.substr(eq + 1))) return 1;
            }
        } else {
            std::fprintf(stderr, "nvram: unknown command \"%s\"\n", argv[i]);
            return usage();
        }
    }
    return 0;
}
