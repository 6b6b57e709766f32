// Inputs found while fuzzing the topology and satellite parsers that made the daemon's
// work grow with the square of their size. Each test is built from the input that
// showed the fault; like the other size tests it checks the result and that the work
// finishes (the bench and the fuzz runs measure the time).
#include <gtest/gtest.h>

#include <string>

#include "core/daemon.h"
#include "json/json.h"
#include "mesh/net_scan.h"
#include "mesh/satellites.h"
#include "support/fake_backend.h"

using testing_support::FakeBackend;
using testing_support::FakeRouter;

namespace {

// A dump of the router's own entry and `entries` satellite entries of two lines each.
std::string dump_with_entries(int entries) {
    std::string dump =
        "QCA IEEE 1905.1 device: 10:0c:6b:aa:00:00, IPv4 address: 10.0.0.1\n"
        "-- DB (" +
        std::to_string(entries) + " entries) --\n";
    for (int k = 1; k <= entries; ++k) {
        char line[128];
        std::snprintf(line, sizeof line,
                      "QCA IEEE 1905.1 device: #%d device: 10:0c:6b:cc:%02x:%02x, IPv4 address: "
                      "10.1.%d.%d\nRadios:\n",
                      k, (k >> 8) & 0xff, k & 0xff, (k >> 8) & 0xff, k & 0xff);
        dump += line;
    }
    return dump;
}

// 32 connected satellites of the live device table, 10:0C:6B:BB:<i>:00.
void thirty_two_satellites(FakeBackend& fake) {
    fake.nvram["soapc_sat_access_count"] = "32";
    std::string table = "config lists 'lists'\n";
    std::string devices;
    for (int i = 0; i < 32; ++i) {
        char mac[32], mac12[16];
        std::snprintf(mac, sizeof mac, "10:0C:6B:BB:%02X:00", i);
        std::snprintf(mac12, sizeof mac12, "100C6BBB%02X00", i);
        fake.nvram["soapc_sat_" + std::to_string(i) + "_mac"] = mac;
        table += std::string("\tlist mac '") + mac12 + "'\n";
        devices += std::string("\nconfig device '") + mac12 +
                   "'\n\toption conndevice 'satellite'\n\toption backhaulStatus 'Good'\n";
    }
    fake.set_uci("/tmp", "devices", table + devices);
}

json::Ptr satellite_report(Daemon& d) {
    testing::internal::CaptureStdout();
    json::Ptr obj = create_satellite_obj(d, nullptr);
    testing::internal::GetCapturedStdout();
    return obj;
}

const char* mesh_status(const cJSON* report, int i) {
    const cJSON* list = json::get(report, "Satellite");
    return json::get_string(cJSON_GetArrayItem(list, i), "satelliteMeshConnectStatus");
}

TEST(FuzzFindings, TopologyDumpWithTwentyFiveThousandEntriesParsesInLinearTime) {
    // 25,000 two-line entries fill the 2 MiB the daemon reads of a dump; each entry
    // name was checked against every entry before it (over 300 million comparisons).
    NetScanResult r = parse_net_scan(dump_with_entries(25000));
    ASSERT_EQ(r.rc, 0);
    const cJSON* sat = json::get(r.root.get(), "Satellite");
    ASSERT_NE(sat, nullptr);
    EXPECT_EQ(json::get(sat, "numberOfDB")->valueint, 25000);
    EXPECT_EQ(cJSON_GetArraySize(sat), 25001);  // numberOfDB and DB_1..DB_25000
    EXPECT_STREQ(json::get_string(json::get(sat, "DB_1"), "MAC_address"), "10:0c:6b:cc:00:01");
    EXPECT_STREQ(json::get_string(json::get(sat, "DB_25000"), "MAC_address"), "10:0c:6b:cc:61:a8");
}

TEST(FuzzFindings, TopologyDumpEntriesKeepTheirNamesAndOrder) {
    NetScanResult r = parse_net_scan(dump_with_entries(3));
    ASSERT_EQ(r.rc, 0);
    const cJSON* sat = json::get(r.root.get(), "Satellite");
    const char* names[] = {"numberOfDB", "DB_1", "DB_2", "DB_3"};
    int i = 0;
    for (const cJSON* c = sat->child; c; c = c->next, ++i) {
        ASSERT_LT(i, 4);
        EXPECT_STREQ(c->string, names[i]);
    }
    EXPECT_EQ(i, 4);
}

TEST(FuzzFindings, ThirtyTwoSatellitesAgainstTwentyThousandEntriesAreMatchedInLinearTime) {
    // Every satellite is the last entry of a 20,000-entry topology document: each
    // satellite looked every entry up by name again (six billion comparisons in all).
    FakeRouter fake;
    thirty_two_satellites(*fake);
    constexpr int kEntries = 20000;
    std::string doc = R"({"Basic":{},"Satellite":{"numberOfDB":)" + std::to_string(kEntries);
    for (int k = 1; k <= kEntries; ++k) {
        // The satellites answer at the last 32 entries.
        int sat = k - (kEntries - 32) - 1;
        char mac[32];
        if (sat >= 0)
            std::snprintf(mac, sizeof mac, "10:0c:6b:bb:%02x:00", sat);
        else
            std::snprintf(mac, sizeof mac, "10:0c:6b:dd:%02x:%02x", (k >> 8) & 0xff, k & 0xff);
        doc += ",\"DB_" + std::to_string(k) + "\":{\"MAC_address\":\"" + mac + "\"}";
    }
    doc += "}}";
    fake->write(kNetScanJson, doc);  // no dump: the document of an earlier pass is read
    Daemon d;
    json::Ptr report = satellite_report(d);
    ASSERT_TRUE(report);
    ASSERT_EQ(cJSON_GetArraySize(json::get(report.get(), "Satellite")), 32);
    for (int i = 0; i < 32; ++i) EXPECT_STREQ(mesh_status(report.get(), i), "Connected") << i;
}

TEST(FuzzFindings, TopologyEntriesAreFoundByTheirNameAsBefore) {
    // The entries are looked up as the library looks a name up: letters in any case,
    // the number as written ("DB_01" is not entry 1); the first of two equal names
    // counts, and the walk stops at the first entry without an address.
    FakeRouter fake;
    thirty_two_satellites(*fake);
    fake->write(kNetScanJson, R"({"Basic":{},"Satellite":{"numberOfDB":5,
        "db_1":{"MAC_address":"10:0c:6b:bb:00:00"},
        "DB_01":{"MAC_address":"10:0c:6b:bb:01:00"},
        "DB_2":{"MAC_address":"10:0c:6b:bb:02:00"},
        "DB_2":{"MAC_address":"10:0c:6b:bb:03:00"},
        "DB_3":{"MAC_address":"10:0c:6b:bb:04:00"},
        "DB_4":{},
        "DB_5":{"MAC_address":"10:0c:6b:bb:05:00"}}})");
    Daemon d;
    json::Ptr report = satellite_report(d);
    ASSERT_TRUE(report);
    EXPECT_STREQ(mesh_status(report.get(), 0), "Connected");     // db_1
    EXPECT_STREQ(mesh_status(report.get(), 1), "Disconnected");  // only as DB_01
    EXPECT_STREQ(mesh_status(report.get(), 2), "Connected");     // the first DB_2
    EXPECT_STREQ(mesh_status(report.get(), 3), "Disconnected");  // the second DB_2
    EXPECT_STREQ(mesh_status(report.get(), 4), "Connected");     // DB_3
    EXPECT_STREQ(mesh_status(report.get(), 5), "Disconnected");  // after DB_4, no address
}

}  // namespace
