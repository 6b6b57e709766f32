// Months of running, compressed: the real main loop on the fake router for 10,000
// passes with a full device table, a DAL and a Wi-Fi event every pass and a publisher
// that fails for a stretch. From pass 100 on, the heap in use and the open file
// descriptors must stay flat.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "core/daemon.h"
#include "core/main_loop.h"
#include "report/event_files.h"
#include "report/policy.h"
#include "report/wifi_events.h"
#include "support/fake_backend.h"
#include "support/quiet_stdout.h"
#include "unit/device_table_fixture.h"

using testing_support::FakeBackend;
using testing_support::FakeRouter;
using testing_support::QuietStdout;

namespace {

constexpr int kDefaultPasses = 10000;
constexpr int kSteadyFrom = 100;
// The publisher fails for a stretch early in the run (passes 150 to 190 at least).
constexpr int kFailFrom = 150;
constexpr int kFailUntil = 190;
constexpr int kDevices = 128;
// Allowed drift of the heap in use between pass 100 and any later pass: 10,000
// passes leaking a single small allocation each would exceed it.
constexpr size_t kHeapSlack = 256 * 1024;

// SOAK_PASSES overrides the pass count (at least 200) for a quicker look.
int passes_to_run() {
    const char* env = std::getenv("SOAK_PASSES");
    const int n = env ? std::atoi(env) : kDefaultPasses;
    return n >= 2 * kSteadyFrom ? n : kDefaultPasses;
}

size_t heap_in_use() {
    return mallinfo2().uordblks;
}

size_t open_descriptors() {
    size_t n = 0;
    for ([[maybe_unused]] const auto& e : std::filesystem::directory_iterator("/proc/self/fd")) ++n;
    return n;
}

std::vector<device_fixture::FakeDevice> crowd() {
    std::vector<device_fixture::FakeDevice> devices;
    for (int i = 0; i < kDevices; ++i) {
        char mac[13];
        std::snprintf(mac, sizeof mac, "AABBCC%06X", i);
        auto dev = device_fixture::device(mac, i % 3 ? "wireless" : "wired",
                                          "192.168.1." + std::to_string(10 + i));
        dev.set("name", "device-" + std::to_string(i))
            .set("band", i % 2 ? "5G" : "2.4G")
            .set("status", i % 5 ? "Online" : "Offline")
            .set("fronthaulRSSI", "-" + std::to_string(40 + i % 40))
            .set("linkSpeed", std::to_string(100 + i));
        devices.push_back(std::move(dev));
    }
    return devices;
}

TEST(Soak, TenThousandPassesOnTheFakeRouterKeepHeapAndDescriptorsFlat) {
    FakeRouter fake;
    Daemon d;
    fake->hwversion = "VRE670";
    fake->nvram = {{"hwver", "VRE670"},
                   {"RA_enable", "1"},
                   {"wan_status", "up"},
                   {"sku_name", "US"},
                   {"lan_macaddr", "AA:BB:CC:00:11:22"},
                   {"time_zone", "0"},
                   {"ra_test_trigger", "1"}};
    fake->mkdir("/tmp/telem_json_dir");
    fake->mkdir("/tmp/telem_wifi_json_dir");
    fake->mkdir("/tmp/telem_json_dal_dir");
    const auto devices = crowd();
    device_fixture::set_live(*fake, devices);
    device_fixture::set_known(*fake, devices);
    fake->write(kPolicyFile,
                R"({"reportMethod":"IoT","routerInfo":"10","connectedDeviceDetails":"10"})");
    fake->on_exact("version > /tmp/version", FakeBackend::outputs("Firmware\nV1/1.2.3.4/x\n"));
    fake->on_exact("burnsn 2>/tmp/serial_num.txt", FakeBackend::outputs("serial number is SN1\n"));
    fake->on_prefix("ps | grep 'telem_heartbeat'",
                    FakeBackend::outputs("1 root telem_heartbeat\n"));
    int pass = 0;
    int published = 0, refused = 0;
    fake->on_prefix("LD_LIBRARY_PATH=/usr/share /usr/bin/awsiotpub", [&](const std::string&) {
        const bool failing = pass >= kFailFrom && pass < kFailUntil;
        ++(failing ? refused : published);
        return FakeBackend::outputs(failing ? "ERROR: broker unreachable\n" : "Publish done\n");
    });

    const int kPasses = passes_to_run();
    size_t heap_at_steady = 0, fds_at_steady = 0, heap_max = 0, fds_max = 0;
    {
        QuietStdout quiet;
        prepare_daemon(d);
        for (pass = 0; pass < kPasses; ++pass) {
            fake->write(kDalEventFile,
                        R"({"header":{"eventType":6,"timeStamp":"t","epochTimeStamp":1,)"
                        R"("ntpResult":"1"},"dalEvent":{"pass":)" +
                            std::to_string(pass) + "}}");
            fake->write(kWifiOutputFile, R"({"wifiEvent":[{"mac":"AA:BB:CC:00:00:01","pass":)" +
                                             std::to_string(pass) + "}]}");
            run_pass(d);
            // The fake's own records of what ran are the test's, not the daemon's.
            std::vector<std::string>().swap(fake->commands);
            std::vector<unsigned>().swap(fake->sleeps);
            std::vector<int>().swap(fake->soapc_requests);
            if (pass == kSteadyFrom) {
                heap_at_steady = heap_in_use();
                fds_at_steady = open_descriptors();
            } else if (pass > kSteadyFrom) {
                heap_max = std::max(heap_max, heap_in_use());
                fds_max = std::max(fds_max, open_descriptors());
            }
            if ((pass + 1) % 1000 == 0)
                std::fprintf(stderr, "soak: %d passes, heap %zu bytes\n", pass + 1, heap_in_use());
        }
    }
    std::fprintf(stderr, "soak: %d passes, heap %zu -> %zu bytes, descriptors %zu -> %zu\n",
                 kPasses, heap_at_steady, heap_max, fds_at_steady, fds_max);
    EXPECT_GT(published, kPasses);  // several event types a pass
    EXPECT_GT(refused, 0);
    EXPECT_LE(heap_max, heap_at_steady + kHeapSlack)
        << "heap grew from " << heap_at_steady << " to " << heap_max;
    EXPECT_EQ(fds_max, fds_at_steady);
}

}  // namespace
