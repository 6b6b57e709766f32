// Randomised dumps for the topology parser: cut at any point, very long, with tabs
// and blanks in odd places, with binary bytes. The parser must take every one without
// crashing or reading past its input (the sanitizer build checks the latter), and give
// either no document or a document with no more entries than the dump holds.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <string>

#include "mesh/net_scan.h"

namespace {

std::string fixture() {
    std::filesystem::path path = std::filesystem::path(__FILE__).parent_path().parent_path() /
                                 "data" / "net_scan" / "two_satellites.log";
    std::ifstream in(path, std::ios::binary);
    EXPECT_TRUE(in) << "missing " << path;
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

// Entries actually present under "Satellite" (every member but "numberOfDB").
int entries(const NetScanResult& r) {
    cJSON* sat = cJSON_GetObjectItemCaseSensitive(r.root.get(), "Satellite");
    return sat ? cJSON_GetArraySize(sat) - 1 : 0;
}

// A parse that must succeed or fail cleanly; the document must print.
void expect_sane(const std::string& dump) {
    NetScanResult r = parse_net_scan(dump);
    ASSERT_TRUE(r.rc == 0 || r.rc == -1);
    if (r.rc == -1) {
        EXPECT_EQ(r.root, nullptr);
        return;
    }
    ASSERT_TRUE(r.root);
    EXPECT_FALSE(json::print_compact(r.root.get()).empty());
}

std::string database_entry(int i) {
    char mac[18];
    std::snprintf(mac, sizeof mac, "02:00:00:00:%02x:%02x", (i >> 8) & 0xff, i & 0xff);
    std::string e = "QCA IEEE 1905.1 device: #" + std::to_string(i) + " device: " + mac +
                    ", IPv4 address: 10.0." + std::to_string(i / 250) + "." +
                    std::to_string(i % 250) + "\n";
    e += "Relation: Neighbor\n";
    e += "Remote connections (Not directly connected to self):\n    Address\n    ----\n";
    e += "ath0 (R=0) WLAN2G " + std::string(mac) + " Connected -----(V=2)\n";
    e += "        BSSID: " + std::string(mac) + ", SSID: Mesh\n        ESSID: 0\n";
    e += "Radios:\n    Address Medium Primary Channel Tx Power Power Mode\n";
    e += "    " + std::string(mac) + " WLAN2G 1 20 Normal\n";
    return e;
}

// The duplicate-member warnings of mangled dumps would fill the test log.
class NetScanRandom : public ::testing::Test {
  protected:
    void SetUp() override { testing::internal::CaptureStdout(); }
    void TearDown() override { testing::internal::GetCapturedStdout(); }
};

}  // namespace

TEST_F(NetScanRandom, TruncatedAtEveryLineGivesNoDocumentOrAPartialOne) {
    std::string dump = fixture();
    ASSERT_FALSE(dump.empty());
    size_t db_line = dump.find("-- DB (");
    for (size_t end = 0; end <= dump.size(); end = dump.find('\n', end + 1)) {
        if (end == std::string::npos) end = dump.size();
        NetScanResult r = parse_net_scan(dump.substr(0, end));
        if (end <= db_line)
            EXPECT_EQ(r.rc, -1) << "cut at " << end;
        else
            EXPECT_EQ(r.rc, 0) << "cut at " << end;
        EXPECT_LE(entries(r), 2);
        if (end == dump.size()) break;
    }
}

TEST_F(NetScanRandom, TruncatedAtAnyByteNeverCrashes) {
    std::string dump = fixture();
    ASSERT_FALSE(dump.empty());
    for (size_t end = 0; end <= dump.size(); end += 3) expect_sane(dump.substr(0, end));
    expect_sane(dump.substr(0, dump.size() - 1));
}

TEST_F(NetScanRandom, ThousandDatabaseEntriesAreAllRead) {
    std::string dump = fixture();
    ASSERT_FALSE(dump.empty());
    dump = dump.substr(0, dump.find("-- DB (")) + "-- DB (1000 entries) --\n";
    for (int i = 1; i <= 1000; ++i) dump += database_entry(i);
    NetScanResult r = parse_net_scan(dump);
    ASSERT_EQ(r.rc, 0);
    EXPECT_EQ(entries(r), 1000);
    cJSON* sat = cJSON_GetObjectItemCaseSensitive(r.root.get(), "Satellite");
    cJSON* last = cJSON_GetObjectItemCaseSensitive(sat, "DB_1000");
    ASSERT_TRUE(last);
    EXPECT_STREQ(json::get_string(last, "MAC_address"), "02:00:00:00:03:e8");
}

TEST_F(NetScanRandom, TenKilobyteLinesAnywhereNeverCrash) {
    std::mt19937 rng(1905);
    std::string dump = fixture();
    ASSERT_FALSE(dump.empty());
    std::vector<std::string> fillers = {
        std::string(10240, 'a'), std::string(10240, ' '), "Radios:" + std::string(10233, '\t'),
        "Bridged addresses: " + std::string(10221, '9'), "-- DB (" + std::string(10233, '7')};
    for (int round = 0; round < 200; ++round) {
        std::string d = dump;
        std::uniform_int_distribution<size_t> pos(0, d.size());
        for (int k = 0; k < 3; ++k) {
            size_t p = d.find('\n', pos(rng));
            if (p == std::string::npos) p = d.size();
            d.insert(p, "\n" + fillers[static_cast<size_t>(round + k) % fillers.size()]);
        }
        expect_sane(d);
    }
}

TEST_F(NetScanRandom, TabsAndBlanksInOddPlacesNeverCrash) {
    std::mt19937 rng(4242);
    std::string dump = fixture();
    ASSERT_FALSE(dump.empty());
    const char odd[] = {' ', '\t', '\r', '\v', '\f'};
    for (int round = 0; round < 300; ++round) {
        std::string d = dump;
        std::uniform_int_distribution<size_t> pos(0, d.size() - 1);
        std::uniform_int_distribution<int> pick(0, 4);
        for (int k = 0; k < 40; ++k) d.insert(pos(rng), 1, odd[pick(rng)]);
        expect_sane(d);
    }
}

TEST_F(NetScanRandom, BinaryBytesNeverCrash) {
    std::mt19937 rng(77);
    std::string dump = fixture();
    ASSERT_FALSE(dump.empty());
    std::uniform_int_distribution<int> byte(0, 255);
    for (int round = 0; round < 300; ++round) {
        std::string d = dump;
        std::uniform_int_distribution<size_t> pos(0, d.size() - 1);
        for (int k = 0; k < 60; ++k) d[pos(rng)] = static_cast<char>(byte(rng));
        expect_sane(d);
    }
    for (int round = 0; round < 300; ++round) {
        std::uniform_int_distribution<size_t> len(0, 4000);
        std::string noise(len(rng), '\0');
        for (char& c : noise) c = static_cast<char>(byte(rng));
        expect_sane(noise);
        expect_sane("-- DB (3 entries)\n" + noise);
    }
}

TEST_F(NetScanRandom, NulByteEndsTheLine) {
    std::string dump = std::string("Package Version: 1.0") + '\0' + "garbage\n-- DB (0)\n";
    NetScanResult r = parse_net_scan(dump);
    ASSERT_EQ(r.rc, 0);
    EXPECT_EQ(json::print_compact(cJSON_GetObjectItemCaseSensitive(r.root.get(), "Basic")),
              R"({"Package_Version":"1.0"})");
}
