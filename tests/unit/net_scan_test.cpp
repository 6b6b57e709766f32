#include "mesh/net_scan.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>

#include "support/fake_backend.h"

using testing_support::FakeBackend;
using testing_support::FakeRouter;

namespace {

std::filesystem::path tests_dir() {
    return std::filesystem::path(__FILE__).parent_path().parent_path();
}

std::string slurp(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    EXPECT_TRUE(in) << "missing " << path;
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

std::string fixture(const std::string& name) {
    return slurp(tests_dir() / "data" / "net_scan" / name);
}

// The document as compact text, so a hand-written golden compares member by member,
// order and types included, whatever its layout.
std::string canonical(const std::string& text) {
    json::Ptr doc = json::parse(text);
    EXPECT_TRUE(doc) << "not JSON: " << text.substr(0, 200);
    return doc ? json::print_compact(doc.get()) : std::string();
}

// The router's copy command, carried out on the fake router.
void serve_copy(FakeBackend& fake) {
    fake.on_prefix("cp ", [&fake](const std::string&) {
        FakeBackend::Response r;
        if (auto dump = fake.read("/tmp/net_scan.log")) r.files["/tmp/telem_net_scan_bak"] = *dump;
        return r;
    });
}

int create(FakeBackend& fake) {
    serve_copy(fake);
    testing::internal::CaptureStdout();
    int rc = netlog_create_json();
    testing::internal::GetCapturedStdout();
    return rc;
}

json::Ptr parse_text(const std::string& dump) {
    NetScanResult r = parse_net_scan(dump);
    EXPECT_EQ(r.rc, 0);
    return std::move(r.root);
}

cJSON* at(cJSON* parent, const char* name) {
    return cJSON_GetObjectItemCaseSensitive(parent, name);
}

const std::string kOwnEntry =
    "QCA IEEE 1905.1 device: 94:a6:7e:5a:10:00, IPv4 address: 192.168.1.1\n"
    "Interface name  R  Medium  Address  Connection  Role  PHY Capabilities\n"
    "ath0 (R=0) WLAN2G 94:a6:7e:5a:10:02 Connected AP HE40 -----(V=2)\n";

}  // namespace

TEST(NetScan, RouterWithTwoSatellitesMatchesTheGolden) {
    FakeRouter fake;
    fake->write("/tmp/net_scan.log", fixture("two_satellites.log"));
    EXPECT_EQ(create(*fake), 0);
    ASSERT_TRUE(fake->exists("/tmp/telem_net_scan_json"));
    EXPECT_EQ(canonical(fake->read("/tmp/telem_net_scan_json").value_or("")),
              canonical(slurp(tests_dir() / "golden" / "net_scan_two_satellites.json")));
}

TEST(NetScan, TheDumpIsCopiedFirstAndTheDocumentIsPrintedFormatted) {
    FakeRouter fake;
    fake->write("/tmp/net_scan.log", fixture("two_satellites.log"));
    create(*fake);
    ASSERT_FALSE(fake->commands.empty());
    EXPECT_EQ(fake->commands.front(), "cp /tmp/net_scan.log /tmp/telem_net_scan_bak");
    EXPECT_EQ(fake->read("/tmp/telem_net_scan_bak"), fixture("two_satellites.log"));
    std::string text = fake->read("/tmp/telem_net_scan_json").value_or("");
    EXPECT_EQ(text.rfind("{\n\t\"Basic\":\t{\n", 0), 0u) << text.substr(0, 40);
}

TEST(NetScan, DatabaseCountZeroGivesNumberOfDbOnly) {
    FakeRouter fake;
    fake->write("/tmp/net_scan.log", fixture("no_satellites.log"));
    EXPECT_EQ(create(*fake), 0);
    EXPECT_EQ(canonical(fake->read("/tmp/telem_net_scan_json").value_or("")),
              canonical(slurp(tests_dir() / "golden" / "net_scan_no_satellites.json")));
}

TEST(NetScan, EmptyLineAfterRemoteHeadingMeansNoTable) {
    json::Ptr doc = parse_text(kOwnEntry +
                               "-- DB (1 entries) --\n"
                               "QCA IEEE 1905.1 device: #1 device: 94:a6:7e:5a:30:00, IPv4 "
                               "address: 192.168.1.3\n"
                               "Remote connections (Directly connected to self):\n"
                               "    Address  R  Medium  MID  Direct  Legacy Bridge  TS\n"
                               "    ------------------------------------------\n"
                               "\n"
                               "Remote connections (Not directly connected to self):\n"
                               "    Address  R  Medium  Connection\n"
                               "    ------------------------------\n"
                               "ath0 (R=0) WLAN2G 94:a6:7e:5a:30:02 Connected -----(V=2)\n"
                               "Radios:\n");
    cJSON* db = at(at(doc.get(), "Satellite"), "DB_1");
    ASSERT_TRUE(db);
    EXPECT_EQ(at(db, "Remote_Connect_Direct_Self"), nullptr);
    EXPECT_EQ(cJSON_GetArraySize(at(db, "Remote_Connect_NOT_Direct_Self")), 1);
}

TEST(NetScan, InterfaceWhoseRoleIsNotApHasNoPhyCapabilities) {
    json::Ptr doc = parse_text(
        "Interface name\n"
        "ath11 (R=0) WLAN5G 94:a6:7e:5a:10:11 Connected STA HE160 -----(V=2)\n"
        "ath1 (R=0) WLAN5G 94:a6:7e:5a:10:03 Connected APBH HE160 -----(V=2)\n"
        "-- DB (0 entries) --\n");
    cJSON* rows = at(at(doc.get(), "Basic"), "Local_Interfaces");
    ASSERT_EQ(cJSON_GetArraySize(rows), 2);
    cJSON* sta = cJSON_GetArrayItem(rows, 0);
    EXPECT_STREQ(json::get_string(sta, "Role"), "STA");
    EXPECT_EQ(at(sta, "PHY_Capabilities"), nullptr);
    // The column after the role is then the network information.
    EXPECT_STREQ(json::get_string(sta, "Network_Information"), "HE160");
    EXPECT_STREQ(json::get_string(cJSON_GetArrayItem(rows, 1), "PHY_Capabilities"), "HE160");
}

TEST(NetScan, MissingDumpGivesMinusOneAndAWarningWithoutOutput) {
    FakeRouter fake;
    EXPECT_EQ(create(*fake), -1);
    EXPECT_FALSE(fake->exists("/tmp/telem_net_scan_json"));
    std::regex warning(
        R"(\[netlog_create_json:\d+\] \[Warning\] Can't parse the file /tmp/net_scan\.log\.\n)");
    EXPECT_TRUE(std::regex_match(fake->console(), warning)) << fake->console();
    EXPECT_TRUE(std::regex_match(fake->read("/tmp/dbg_log").value_or(""), warning));
}

TEST(NetScan, DumpEndingBeforeTheDatabaseGivesMinusOneWithoutOutput) {
    FakeRouter fake;
    std::string dump = fixture("two_satellites.log");
    fake->write("/tmp/net_scan.log", dump.substr(0, dump.find("-- DB (")));
    EXPECT_EQ(create(*fake), -1);
    EXPECT_FALSE(fake->exists("/tmp/telem_net_scan_json"));
}

TEST(NetScan, DatabaseLineWithoutCountGivesMinusOneWithoutOutput) {
    FakeRouter fake;
    fake->write("/tmp/net_scan.log", kOwnEntry + "-- DB (\n");
    EXPECT_EQ(create(*fake), -1);
    EXPECT_FALSE(fake->exists("/tmp/telem_net_scan_json"));
    EXPECT_EQ(parse_net_scan(kOwnEntry + "-- DB ( \t").rc, -1);
}

TEST(NetScan, CountThatIsNotANumberIsZero) {
    json::Ptr doc = parse_text(kOwnEntry + "-- DB (many entries) --\n");
    EXPECT_EQ(json::print_compact(at(doc.get(), "Satellite")), R"({"numberOfDB":0})");
}

TEST(NetScan, DumpTruncatedInsideAnEntryKeepsWhatWasRead) {
    std::string dump = fixture("two_satellites.log");
    dump = dump.substr(0, dump.find("Bridged addresses: 0"));
    json::Ptr doc = parse_text(dump);
    cJSON* sat = at(doc.get(), "Satellite");
    EXPECT_EQ(at(sat, "numberOfDB")->valueint, 2);
    ASSERT_TRUE(at(sat, "DB_1"));
    cJSON* db2 = at(sat, "DB_2");
    ASSERT_TRUE(db2);
    EXPECT_STREQ(json::get_string(db2, "MAC_address"), "94:a6:7e:5a:30:00");
    EXPECT_EQ(cJSON_GetArraySize(at(db2, "Remote_Connect_NOT_Direct_Self")), 5);
    EXPECT_EQ(at(db2, "Radios"), nullptr);
}

TEST(NetScan, CountAboveTheEntriesStopsAtTheEndOfTheDump) {
    std::string dump = fixture("two_satellites.log");
    size_t at_count = dump.find("-- DB (2 entries)");
    dump.replace(at_count, 17, "-- DB (1000000 entries)");
    json::Ptr doc = parse_text(dump);
    cJSON* sat = at(doc.get(), "Satellite");
    EXPECT_EQ(at(sat, "numberOfDB")->valueint, 1000000);
    EXPECT_EQ(cJSON_GetArraySize(sat), 3);  // numberOfDB, DB_1, DB_2
}

TEST(NetScan, ColumnWidthsAndTabsDoNotChangeTheDocument) {
    // Every table row (interface rows start at the margin with their name, radio and
    // bridged rows are indented addresses) rewritten with single tabs between columns
    // and a tab in front.
    std::string dump = fixture("two_satellites.log");
    std::regex indented_address(R"(^ +[0-9a-f]{2}:)");
    std::istringstream in(dump);
    std::string line, rewritten;
    while (std::getline(in, line)) {
        bool row = line.rfind("ath", 0) == 0 || line.rfind("eth", 0) == 0 ||
                   std::regex_search(line, indented_address);
        if (row) {
            std::string squeezed = "\t";
            bool in_blank = true;
            for (char c : line) {
                bool is_blank = c == ' ';
                if (is_blank && in_blank) continue;
                squeezed += is_blank ? '\t' : c;
                in_blank = is_blank;
            }
            line = squeezed;
        }
        rewritten += line + "\n";
    }
    ASSERT_NE(rewritten, dump);
    EXPECT_EQ(json::print_compact(parse_text(dump).get()),
              json::print_compact(parse_text(rewritten).get()));
}

TEST(NetScan, WindowsLineEndingsAreTolerated) {
    std::string dump = fixture("two_satellites.log");
    std::string crlf;
    for (char c : dump) crlf += c == '\n' ? std::string("\r\n") : std::string(1, c);
    EXPECT_EQ(json::print_compact(parse_text(dump).get()),
              json::print_compact(parse_text(crlf).get()));
}

TEST(NetScan, LongLineIsReadInPiecesOf511Bytes) {
    // The 512-byte line buffer splits a long line; the piece holding the rest of the
    // header line is read as a line of its own.
    std::string dump = "Package Version: " + std::string(600, 'x') + " tail\n" + kOwnEntry +
                       "-- DB (0 entries) --\n";
    json::Ptr doc = parse_text(dump);
    const char* version = json::get_string(at(doc.get(), "Basic"), "Package_Version");
    ASSERT_TRUE(version);
    EXPECT_EQ(std::string(version), std::string(494, 'x'));
}

TEST(NetScan, HeaderWithoutValueGivesEmptyMember) {
    json::Ptr doc = parse_text(
        "QCA IEEE 1905.1 device:\n"
        "Package Version:\n"
        "-- DB (0 entries) --\n");
    EXPECT_EQ(json::print_compact(at(doc.get(), "Basic")),
              R"({"MAC_address":"","Package_Version":""})");
}

TEST(NetScan, UnwritableDocumentIsLoggedAndStillSucceeds) {
    FakeRouter fake;
    fake->write("/tmp/net_scan.log", fixture("no_satellites.log"));
    fake->mkdir("/tmp/telem_net_scan_json");
    EXPECT_EQ(create(*fake), 0);
    std::regex warning(
        R"(\[netlog_create_json:\d+\] \[Warning\] Can't create the file /tmp/telem_net_scan_json\.\n)");
    EXPECT_TRUE(std::regex_match(fake->console(), warning)) << fake->console();
    EXPECT_TRUE(std::regex_match(fake->read("/tmp/dbg_log").value_or(""), warning));
}
