// The stores must come through a writer killed at any moment: nvram and committed UCI
// are found whole after every SIGKILL, and the next start clears the temporary files
// the dead writers left. Each test forks and kills its writer 1,000 times, so they run
// apart from the quick unit suite (ctest label "store").
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <random>
#include <string>

#include "platform/file_watch.h"
#include "platform/host_backend.h"
#include "platform/nvram_file.h"
#include "platform/uci_file.h"
#include "support/temp_dir.h"

using testing_support::TempDir;

namespace {

constexpr int kKills = 1000;
constexpr int kKeys = 40;
constexpr size_t kValueSize = 600;

// Each value is one digit repeated, so a torn value shows.
std::string value_of(int round) {
    return std::string(kValueSize, static_cast<char>('0' + round % 10));
}

int temp_files_in(const std::string& dir) {
    int n = 0;
    for (const auto& e : std::filesystem::directory_iterator(dir))
        if (e.path().filename().string().find(".tmp.") != std::string::npos) ++n;
    return n;
}

// Forks `write_forever`, lets it run for a random time below 3 ms, kills it with
// SIGKILL and reaps it.
template <typename Writer>
void kill_writer_at_random(std::mt19937& rng, Writer write_forever) {
    pid_t pid = ::fork();
    ASSERT_GE(pid, 0);
    if (pid == 0) {
        write_forever();
        ::_exit(0);
    }
    std::uniform_int_distribution<int> delay(0, 3000);
    ::usleep(static_cast<useconds_t>(delay(rng)));
    ::kill(pid, SIGKILL);
    int status = 0;
    ::waitpid(pid, &status, 0);
}

bool nvram_whole(const std::string& text) {
    // Rendered sorted: k00..k39 then "zz_last", the key written with the first store.
    auto values = platform::parse_nvram_text(text);
    if (values.size() != kKeys + 1 || values["zz_last"] != "1") return false;
    if (text.size() < 10 || text.substr(text.size() - 10) != "zz_last=1\n") return false;
    for (int k = 0; k < kKeys; ++k) {
        char key[8];
        std::snprintf(key, sizeof key, "k%02d", k);
        const std::string& v = values[key];
        if (v.size() != kValueSize || v.find_first_not_of(v[0]) != std::string::npos) return false;
    }
    return true;
}

TEST(StoreKill, NvramIsWholeAfterEveryKillAndStartClearsTempFiles) {
    TempDir dir;
    const std::string path = dir.file("nvram.txt");
    {
        platform::NvramFile store(path);
        for (int k = 0; k < kKeys; ++k) {
            char key[8];
            std::snprintf(key, sizeof key, "k%02d", k);
            ASSERT_TRUE(store.set(key, value_of(0)));
        }
        ASSERT_TRUE(store.set("zz_last", "1"));
    }
    std::mt19937 rng(1500);
    int left_behind = 0;
    for (int kill = 0; kill < kKills; ++kill) {
        kill_writer_at_random(rng, [&] {
            platform::NvramFile store(path);
            for (int round = kill;; ++round) {
                char key[8];
                std::snprintf(key, sizeof key, "k%02d", round % kKeys);
                store.set(key, value_of(round));
            }
        });
        ASSERT_TRUE(nvram_whole(dir.read("nvram.txt"))) << "after kill " << kill;
        left_behind += temp_files_in(dir.path());
        platform::NvramFile next_start(path);  // the next start
        ASSERT_EQ(temp_files_in(dir.path()), 0) << "after kill " << kill;
    }
    // The kills did land inside writes, or the test proved nothing.
    EXPECT_GT(left_behind, 0);
}

bool uci_whole(const std::string& text) {
    auto pkg = platform::parse_uci(text, "devices");
    if (!pkg || pkg->sections().size() != 2) return false;
    const platform::UciSection* s = pkg->section("table");
    if (!s || s->options().size() != kKeys) return false;
    for (const auto& o : s->options()) {
        const std::string& v = o.values.at(0);
        if (v.size() != kValueSize || v.find_first_not_of(v[0]) != std::string::npos) return false;
    }
    return pkg->get("last.done") == "1";
}

platform::UciPackage uci_table(int round) {
    platform::UciPackage pkg;
    pkg.name = "devices";
    pkg.add_section("device", "table");
    for (int k = 0; k < kKeys; ++k) pkg.set("table.o" + std::to_string(k), value_of(round + k));
    pkg.add_section("marker", "last");
    pkg.set("last.done", "1");
    return pkg;
}

TEST(StoreKill, CommittedUciIsWholeAfterEveryKillAndStartClearsTempFiles) {
    TempDir dir;
    platform::HostBackend host(dir.file("nvram.txt"));
    ASSERT_EQ(host.uci_store(dir.path(), uci_table(0)), 0);
    std::mt19937 rng(2600);
    int left_behind = 0;
    for (int kill = 0; kill < kKills; ++kill) {
        kill_writer_at_random(rng, [&] {
            platform::HostBackend writer(dir.file("nvram.txt"));
            for (int round = kill;; ++round) writer.uci_store(dir.path(), uci_table(round));
        });
        ASSERT_TRUE(uci_whole(dir.read("devices"))) << "after kill " << kill;
        left_behind += temp_files_in(dir.path());
        platform::HostBackend next_start(dir.file("nvram.txt"));
        int err = -1;
        ASSERT_TRUE(next_start.uci_load(dir.path(), "devices", err)) << err;
        ASSERT_EQ(temp_files_in(dir.path()), 0) << "after kill " << kill;
    }
    EXPECT_GT(left_behind, 0);
}

}  // namespace
