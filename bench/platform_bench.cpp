// Reads from the configuration stores as the daemon does them on every pass: nvram
// keys from an unchanged store file, and device options from the 128-entry
// `devices` table through a UCI session. Neither must parse an unchanged file again.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <chrono>
#include <cstdio>
#include <string>
#include <thread>

#include "platform/file_watch.h"
#include "platform/host_backend.h"
#include "platform/nvram_file.h"
#include "platform/platform.h"
#include "platform/uci_session.h"
#include "support/temp_dir.h"

namespace {

using testing_support::TempDir;

// Moves the file's times `seconds` away from now; in the future, its stamp is never
// old enough to be trusted.
void shift_mtime(const std::string& path, long seconds) {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    timespec times[2] = {now, now};
    times[0].tv_sec += seconds;
    times[1].tv_sec += seconds;
    utimensat(AT_FDCWD, path.c_str(), times, 0);
}

std::string nvram_store_text(int keys) {
    std::map<std::string, std::string, std::less<>> values;
    for (int i = 0; i < keys; ++i)
        values["key_" + std::to_string(i)] = "value of key " + std::to_string(i) + " 0123456789";
    return platform::render_nvram_text(values);
}

std::string mac_of(int i) {
    char mac[13];
    std::snprintf(mac, sizeof mac, "A0B1C2%06X", i);
    return mac;
}

std::string devices_text(int devices) {
    std::string text = "\nconfig lists 'lists'\n";
    for (int i = 0; i < devices; ++i) text += "\tlist mac '" + mac_of(i) + "'\n";
    for (int i = 0; i < devices; ++i) {
        text += "\nconfig device '" + mac_of(i) + "'\n";
        text += "\toption ip '192.168.1." + std::to_string(i + 2) + "'\n";
        text += "\toption name 'device-" + std::to_string(i) + "'\n";
        text += "\toption bhDisconnectTime '" + std::to_string(i * 7) + "'\n";
        text += "\toption connType 'wireless'\n";
        text += "\toption band '5G'\n";
    }
    return text;
}

// The files of the "unchanged" benchmarks, written once and left to age past the
// window in which a file's stamp is confirmed by content (its change time cannot be
// set back, so this takes a few seconds of waiting, once).
struct AgedFiles {
    TempDir dir;
    AgedFiles() {
        dir.write("nvram.txt", nvram_store_text(2000));
        dir.write("tmp/devices", devices_text(128));
        std::this_thread::sleep_for(
            std::chrono::seconds(platform::FileWatch::kTrustAfterSeconds + 1));
    }
};
const AgedFiles& aged_files() {
    static const AgedFiles files;
    return files;
}

void BM_NvramGetUnchangedStore(benchmark::State& state) {
    platform::NvramFile store(aged_files().dir.file("nvram.txt"));
    for (auto _ : state) benchmark::DoNotOptimize(store.get("key_1000"));
    state.counters["parses"] = static_cast<double>(store.parse_count());
    if (store.parse_count() != 1) state.SkipWithError("unchanged store parsed again");
}
BENCHMARK(BM_NvramGetUnchangedStore);

// A store written just now: its stamp is confirmed by re-reading (not re-parsing) the
// file until it has aged. The stamp is put in the future so it never ages here.
void BM_NvramGetFreshlyWrittenStore(benchmark::State& state) {
    TempDir dir;
    dir.write("nvram.txt", nvram_store_text(2000));
    shift_mtime(dir.file("nvram.txt"), 3600);
    platform::NvramFile store(dir.file("nvram.txt"));
    for (auto _ : state) benchmark::DoNotOptimize(store.get("key_1000"));
    state.counters["parses"] = static_cast<double>(store.parse_count());
    if (store.parse_count() != 1) state.SkipWithError("unchanged store parsed again");
}
BENCHMARK(BM_NvramGetFreshlyWrittenStore);

void BM_OvraNvramGetThroughHostBackend(benchmark::State& state) {
    const TempDir& dir = aged_files().dir;
    platform::HostBackend host(dir.file("nvram.txt"), dir.path());
    platform::install(&host);
    for (auto _ : state) benchmark::DoNotOptimize(ovraNvramConfig_get("key_1999"));
    state.counters["parses"] = static_cast<double>(host.nvram().parse_count());
    if (host.nvram().parse_count() != 1) state.SkipWithError("unchanged store parsed again");
    platform::install(nullptr);
}
BENCHMARK(BM_OvraNvramGetThroughHostBackend);

// One whole session per read: init, directory, update, get, exit.
void BM_UciSessionPerDeviceRead(benchmark::State& state) {
    const TempDir& dir = aged_files().dir;
    platform::HostBackend host(dir.file("nvram.txt"), dir.path());
    platform::install(&host);
    int i = 0;
    for (auto _ : state) {
        UciSession uci("/tmp", "devices", "bench");
        benchmark::DoNotOptimize(uci.get("devices." + mac_of(i) + ".bhDisconnectTime", 512));
        i = (i + 1) % 128;
    }
    state.counters["parses"] = static_cast<double>(host.uci_parse_count());
    if (host.uci_parse_count() != 1) state.SkipWithError("unchanged package parsed again");
    platform::install(nullptr);
}
BENCHMARK(BM_UciSessionPerDeviceRead);

// One session, a read of every device's option in turn.
void BM_UciOptionReadInOpenSession(benchmark::State& state) {
    const TempDir& dir = aged_files().dir;
    platform::HostBackend host(dir.file("nvram.txt"), dir.path());
    platform::install(&host);
    std::vector<std::string> paths;
    for (int i = 0; i < 128; ++i) paths.push_back("devices." + mac_of(i) + ".ip");
    {
        UciSession uci("/tmp", "devices", "bench");
        size_t i = 0;
        for (auto _ : state) {
            benchmark::DoNotOptimize(uci.get(paths[i], 512));
            i = (i + 1) % paths.size();
        }
    }
    state.counters["parses"] = static_cast<double>(host.uci_parse_count());
    if (host.uci_parse_count() != 1) state.SkipWithError("unchanged package parsed again");
    platform::install(nullptr);
}
BENCHMARK(BM_UciOptionReadInOpenSession);

}  // namespace
