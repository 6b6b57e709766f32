#include "mesh/satellites.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "core/daemon.h"
#include "platform/model.h"
#include "platform/nvram_file.h"
#include "report/bodies.h"
#include "support/fake_backend.h"

using testing_support::FakeBackend;
using testing_support::FakeRouter;

namespace {

constexpr const char* kKnownDir = "/opt/cache/system/device-info-table";

std::filesystem::path source_dir() {
    return std::filesystem::path(__FILE__).parent_path().parent_path().parent_path();
}

std::string slurp(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    EXPECT_TRUE(in) << "missing " << path;
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

std::string canonical(const std::string& text) {
    json::Ptr doc = json::parse(text);
    EXPECT_TRUE(doc) << "not JSON: " << text.substr(0, 200);
    return doc ? json::print_compact(doc.get()) : std::string();
}

void serve_copy(FakeBackend& fake) {
    fake.on_prefix("cp ", [&fake](const std::string&) {
        FakeBackend::Response r;
        if (auto dump = fake.read("/tmp/net_scan.log")) r.files["/tmp/telem_net_scan_bak"] = *dump;
        return r;
    });
}

// The router of the satellites scenario of the simulator, on the fake backend: the SOAP
// client's nvram cache, the device tables, the topology dump and the AP-switch records.
void load_scenario(FakeBackend& fake, Daemon& d) {
    std::filesystem::path root = source_dir() / "sim" / "scenarios" / "satellites" / "root";
    for (auto& [k, v] : platform::parse_nvram_text(slurp(root / "etc" / "nvram.txt")))
        fake.nvram[k] = v;
    fake.set_uci("/tmp", "devices", slurp(root / "tmp" / "devices"));
    fake.set_uci(kKnownDir, "knowndevices",
                 slurp(root / "opt" / "cache" / "system" / "device-info-table" / "knowndevices"));
    fake.write("/tmp/net_scan.log", slurp(root / "tmp" / "net_scan.log"));
    for (const char* mac : {"94:A6:7E:5A:20:00", "94:A6:7E:5A:40:00"})
        fake.write(std::string("/tmp/apswitchcount/") + mac,
                   slurp(root / "tmp" / "apswitchcount" / mac));
    init_ifname_map(d.ifnames, "VRE650");
    serve_copy(fake);
}

struct Built {
    json::Ptr obj;
    std::string out;
};

Built build(Daemon& d, cJSON* router_info = nullptr) {
    testing::internal::CaptureStdout();
    Built b;
    b.obj = create_satellite_obj(d, router_info);
    b.out = testing::internal::GetCapturedStdout();
    return b;
}

cJSON* satellite(const Built& b, int i) {
    return cJSON_GetArrayItem(cJSON_GetObjectItemCaseSensitive(b.obj.get(), "Satellite"), i);
}

const char* member(cJSON* obj, const char* name) {
    return json::get_string(obj, name);
}

json::Ptr router_info_stand_in() {
    return json::parse(R"({"agentVersion":"V1.5.1.4","satAllSSIDCloneStatus":"NA"})");
}

// One connected satellite, index 0, with the given nvram values and no topology.
void one_satellite(FakeBackend& fake, const std::map<std::string, std::string>& values) {
    fake.nvram["soapc_sat_access_count"] = "1";
    fake.nvram["soapc_sat_0_mac"] = "94:A6:7E:5A:20:00";
    for (auto& [k, v] : values) fake.nvram["soapc_sat_0_" + k] = v;
    fake.set_uci("/tmp", "devices",
                 "config lists 'lists'\n\tlist mac '94A67E5A2000'\n\n"
                 "config device '94A67E5A2000'\n\toption conndevice 'satellite'\n"
                 "\toption backhaulStatus 'Good'\n");
    serve_copy(fake);
}

std::string uptime_member(const std::string& text) {
    FakeRouter fake;
    one_satellite(*fake, {{"DeviceInfo_GetCurrentSatellitesInfo_UPTime", text}});
    Daemon d;
    Built b = build(d);
    const char* up = member(satellite(b, 0), "upTime");
    return up ? up : "(none)";
}

std::string link_status(const std::string& type, const std::string& rssi) {
    FakeRouter fake;
    one_satellite(*fake, {{"DeviceInfo_GetCurrentSatellitesWIFIinfo_BHConnType", type},
                          {"DeviceInfo_GetCurrentSatellitesWIFIinfo_BHRSSI", rssi}});
    Daemon d;
    Built b = build(d);
    return member(cJSON_GetObjectItemCaseSensitive(satellite(b, 0), "wifiBackhaulInfo"),
                  "bhConnStatus");
}

std::string soap_status(const std::string& isconnected, const std::string& response) {
    FakeRouter fake;
    one_satellite(
        *fake, {{"isconnected", isconnected}, {"ParentalControl_Authenticate_response", response}});
    Daemon d;
    return member(satellite(build(d), 0), "satelliteSOAPStatus");
}

}  // namespace

TEST(Satellites, ScenarioRouterMatchesTheGolden) {
    FakeRouter fake;
    Daemon d;
    load_scenario(*fake, d);
    json::Ptr info = router_info_stand_in();
    Built b = build(d, info.get());
    ASSERT_TRUE(b.obj);
    EXPECT_EQ(json::print_compact(b.obj.get()),
              canonical(slurp(source_dir() / "tests" / "golden" / "satellite_info.json")));
    // The daisy-chained satellite serves a 5 GHz SSID of its own.
    EXPECT_STREQ(member(info.get(), "satAllSSIDCloneStatus"), "Out of sync");
}

TEST(Satellites, EachConnectedSatelliteCostsARefreshAndThreeSeconds) {
    FakeRouter fake;
    Daemon d;
    load_scenario(*fake, d);
    uint64_t start = fake->now_uptime;
    build(d);
    // Two connected satellites; the disconnected one is not asked.
    EXPECT_EQ(fake->soapc_requests, (std::vector<int>{1047, 1047}));
    EXPECT_EQ(fake->sleeps, (std::vector<unsigned>{3, 3}));
    EXPECT_EQ(fake->now_uptime - start, 6u);
}

TEST(Satellites, CountersAreResetAfterTheyAreReported) {
    FakeRouter fake;
    Daemon d;
    load_scenario(*fake, d);
    fake->now_uptime = 5000;
    build(d);
    std::string table = fake->uci_text("/tmp", "devices").value_or("");
    auto section = [&](const std::string& mac) {
        size_t at = table.find("config device '" + mac + "'");
        return table.substr(at, table.find("\n\n", at) - at);
    };
    // Connected satellites start again from zero, the disconnected one from one.
    // (The refresh waits 3 s for each connected satellite before its counters are reset.)
    EXPECT_NE(section("94A67E5A2000").find("option bhDisconnectCount '0'"), std::string::npos);
    EXPECT_NE(section("94A67E5A2000").find("option bhDisconnectTime '5003'"), std::string::npos);
    EXPECT_NE(section("94A67E5A4000").find("option bhDisconnectCount '1'"), std::string::npos);
    EXPECT_NE(section("94A67E5A4000").find("option bhDisconnectDuration '0'"), std::string::npos);
    EXPECT_NE(section("94A67E5A4000").find("option bhDisconnectTime '5006'"), std::string::npos);
}

TEST(Satellites, UptimeWithDaysIsWrittenUnchanged) {
    EXPECT_EQ(uptime_member("5 days 01:02:03"), "5 days 01:02:03");
    EXPECT_EQ(satellite_uptime("5 days 01:02:03"), "5 days 01:02:03");
}

TEST(Satellites, UptimeWithoutDaysGetsZeroDays) {
    EXPECT_EQ(uptime_member("01:02:03"), "0 days 01:02:03");
}

TEST(Satellites, UptimeOfOneDaySingularGivesNoMember) {
    EXPECT_EQ(uptime_member("1 day 01:02:03"), "(none)");
    EXPECT_EQ(satellite_uptime("1 day 01:02:03"), std::nullopt);
}

TEST(Satellites, UptimeIsCutTo30Characters) {
    EXPECT_EQ(satellite_uptime("123456789012345678901234567890"), "0 days 12345678901234567890123");
    // Seven digits do not fit the six of the day field.
    EXPECT_EQ(satellite_uptime("1234567 days 01:02:03"), std::nullopt);
    EXPECT_EQ(satellite_uptime("12 days 01:02:03:04:05"), "12 days 01:02:03");
    EXPECT_EQ(uptime_member(std::string(40, '9')), "0 days " + std::string(23, '9'));
}

TEST(Satellites, RssiThresholdsOfTheBackhaulLink) {
    EXPECT_EQ(link_status("5G", "-45"), "Close");
    EXPECT_EQ(link_status("5G", "-46"), "OK");
    EXPECT_EQ(link_status("5G", "-75"), "OK");
    EXPECT_EQ(link_status("5G", "-76"), "Far");
    EXPECT_STREQ(backhaul_link_status("5G", ""), "Close");  // atoi("") is 0
}

TEST(Satellites, WiredBackhaulIsAlwaysClose) {
    EXPECT_EQ(link_status("wired", "-90"), "Close");
    EXPECT_STREQ(backhaul_link_status("wired", "-76"), "Close");
    EXPECT_STREQ(backhaul_link_status("Wired", "-76"), "Far");
}

TEST(Satellites, Response401WhileConnectedIsOutOfSync) {
    EXPECT_EQ(soap_status("1", "401"), "out of sync");
}

TEST(Satellites, NotConnectedIsFailedWhateverTheResponse) {
    EXPECT_EQ(soap_status("0", "0"), "failed");
    EXPECT_EQ(soap_status("0", "401"), "failed");
    EXPECT_STREQ(satellite_soap_status("0", "1"), "failed");
}

TEST(Satellites, SoapStatusSyncAndDefault) {
    EXPECT_EQ(soap_status("1", "0"), "sync");
    EXPECT_EQ(soap_status("", "1"), "sync");
    EXPECT_EQ(soap_status("1", "500"), "default");
    EXPECT_STREQ(satellite_soap_status("1", ""), "default");
}

TEST(Satellites, NoSatelliteInTheTableMeansNoArrayAndNoDisconnectedSatellites) {
    FakeRouter fake;
    Daemon d;
    load_scenario(*fake, d);
    std::string devices = fake->uci_text("/tmp", "devices").value_or("");
    for (size_t at; (at = devices.find("'satellite'")) != std::string::npos;)
        devices.replace(at, 11, "'extender'");
    fake->set_uci("/tmp", "devices", devices);
    Built b = build(d);
    EXPECT_EQ(json::print_compact(b.obj.get()), R"({"numberOfSatellite":0})");
    EXPECT_TRUE(fake->soapc_requests.empty());
    EXPECT_TRUE(fake->sleeps.empty());
}

TEST(Satellites, DisconnectedSatelliteIsNeverReportedTwice) {
    FakeRouter fake;
    Daemon d;
    load_scenario(*fake, d);
    Built b = build(d);
    cJSON* array = cJSON_GetObjectItemCaseSensitive(b.obj.get(), "Satellite");
    int seen = 0;
    for (int i = 0; i < cJSON_GetArraySize(array); ++i) {
        cJSON* info = cJSON_GetObjectItemCaseSensitive(cJSON_GetArrayItem(array, i), "deviceInfo");
        if (std::string(member(info, "macAddress")) == "94A67E5A4000") ++seen;
    }
    EXPECT_EQ(seen, 1);
    EXPECT_STREQ(member(satellite(b, 2), "satelliteSOAPStatus"), "failed");
}

TEST(Satellites, DisconnectedSatelliteNotKnownAsSatelliteIsNotReported) {
    FakeRouter fake;
    Daemon d;
    load_scenario(*fake, d);
    std::string known = fake->uci_text(kKnownDir, "knowndevices").value_or("");
    size_t at = known.find("config device '94A67E5A4000'");
    at = known.find("option conndevice 'satellite'", at);
    known.replace(at, 29, "option conndevice 'client'");
    fake->set_uci(kKnownDir, "knowndevices", known);
    Built b = build(d);
    EXPECT_EQ(cJSON_GetArraySize(cJSON_GetObjectItemCaseSensitive(b.obj.get(), "Satellite")), 2);
    EXPECT_EQ(json::get(b.obj.get(), "numberOfSatellite")->valueint, 3);
}

TEST(Satellites, DifferingSsidKeepsAllSsidStateOutOfSyncForTheRestOfTheCall) {
    FakeRouter fake;
    Daemon d;
    load_scenario(*fake, d);
    // The daisy-chained satellite (its 5 GHz SSID differs) comes first this time; the
    // fully cloned one after it does not bring the state back.
    for (const char* key : {"mac", "DeviceInfo_GetInfo_ModelName"}) {
        std::string k0 = std::string("soapc_sat_0_") + key, k1 = std::string("soapc_sat_1_") + key;
        std::swap(fake->nvram[k0], fake->nvram[k1]);
    }
    json::Ptr info = router_info_stand_in();
    Built b = build(d, info.get());
    EXPECT_STREQ(member(satellite(b, 0), "satMain5gSSIDCloneStatus"), "Out of sync");
    EXPECT_STREQ(member(satellite(b, 1), "satMain5gSSIDCloneStatus"), "Cloned");
    EXPECT_STREQ(member(info.get(), "satAllSSIDCloneStatus"), "Out of sync");
}

TEST(Satellites, AllSsidStateIsClonedWhenEverySatelliteMatches) {
    FakeRouter fake;
    Daemon d;
    load_scenario(*fake, d);
    fake->nvram["wlh_ssid"] = "Harbor-5G";  // now only the first satellite differs
    fake->nvram["soapc_sat_access_count"] = "0";
    json::Ptr info = router_info_stand_in();
    build(d, info.get());
    EXPECT_STREQ(member(info.get(), "satAllSSIDCloneStatus"), "NA");  // no satellite walked

    fake->nvram["soapc_sat_access_count"] = "2";
    fake->nvram["wlh_ssid"] = "Harbor";
    fake->nvram["soapc_sat_1_mac"] = "";  // only the first satellite is compared
    build(d, info.get());
    EXPECT_STREQ(member(info.get(), "satAllSSIDCloneStatus"), "Cloned");
}

TEST(Satellites, NoMatchingTopologyEntryStillMarksTheMeshCloned) {
    FakeRouter fake;
    Daemon d;
    load_scenario(*fake, d);
    fake->nvram["soapc_sat_access_count"] = "1";
    fake->nvram["soapc_sat_0_mac"] = "94:A6:7E:5A:77:00";
    fake->set_uci("/tmp", "devices",
                  fake->uci_text("/tmp", "devices").value_or("") +
                      "\nconfig device '94A67E5A7700'\n\toption backhaulStatus 'Good'\n");
    json::Ptr info = router_info_stand_in();
    Built b = build(d, info.get());
    EXPECT_STREQ(member(satellite(b, 0), "satelliteMeshConnectStatus"), "Disconnected");
    EXPECT_STREQ(member(satellite(b, 0), "satMain2gSSIDCloneStatus"), "NA");
    EXPECT_STREQ(member(info.get(), "satAllSSIDCloneStatus"), "Cloned");
}

TEST(Satellites, MissingTopologyLeavesDisconnectedAndNA) {
    FakeRouter fake;
    Daemon d;
    load_scenario(*fake, d);
    fake->write("/tmp/net_scan.log", "");
    json::Ptr info = router_info_stand_in();
    Built b = build(d, info.get());
    cJSON* first = satellite(b, 0);
    EXPECT_STREQ(member(first, "satelliteMeshConnectStatus"), "Disconnected");
    for (const char* m :
         {"satMain2gSSIDCloneStatus", "satMain5gSSIDCloneStatus", "satMain6gSSIDCloneStatus",
          "satGuest2gSSIDCloneStatus", "satGuest5gSSIDCloneStatus", "satIOT2gSSIDCloneStatus",
          "satIOT5gSSIDCloneStatus"})
        EXPECT_STREQ(member(first, m), "NA") << m;
    EXPECT_STREQ(member(info.get(), "satAllSSIDCloneStatus"), "NA");
    // The backhaul information is still read (the topology is not needed for it).
    EXPECT_STREQ(member(json::get(first, "wifiBackhaulInfo"), "apSwitchCount"), "3");
}

TEST(Satellites, UnparsableTopologyDocumentLeavesDisconnected) {
    // A dump that gives no document leaves the file of an earlier pass in place; when
    // that does not parse, the topology steps are skipped.
    FakeRouter fake;
    Daemon d;
    load_scenario(*fake, d);
    fake->write("/tmp/telem_net_scan_json", "not json");
    fake->write("/tmp/net_scan.log", "");
    Built b = build(d);
    EXPECT_STREQ(member(satellite(b, 0), "satelliteMeshConnectStatus"), "Disconnected");
}

TEST(Satellites, NullRouterInformationIsTolerated) {
    FakeRouter fake;
    Daemon d;
    load_scenario(*fake, d);
    Built b = build(d, nullptr);
    EXPECT_EQ(cJSON_GetArraySize(json::get(b.obj.get(), "Satellite")), 3);
}

TEST(Satellites, RouterInformationWithoutTheMemberIsLeftAlone) {
    FakeRouter fake;
    Daemon d;
    load_scenario(*fake, d);
    json::Ptr info = json::parse(R"({"agentVersion":"V1.5.1.4"})");
    build(d, info.get());
    EXPECT_EQ(json::print_compact(info.get()), R"({"agentVersion":"V1.5.1.4"})");
}

TEST(Satellites, BodySlotHandsOverTheRouterInformationBeingAssembled) {
    FakeRouter fake;
    Daemon d;
    load_scenario(*fake, d);
    ASSERT_TRUE(d.bodies.SatelliteInfo);
    json::Ptr info = router_info_stand_in();
    d.routine_router_info = info.get();
    testing::internal::CaptureStdout();
    json::Ptr obj = d.bodies.SatelliteInfo(d);
    testing::internal::GetCapturedStdout();
    d.routine_router_info = nullptr;
    EXPECT_EQ(json::get(obj.get(), "numberOfSatellite")->valueint, 3);
    EXPECT_STREQ(member(info.get(), "satAllSSIDCloneStatus"), "Out of sync");
}

TEST(Satellites, CacheRecordsChangesWithTheirMessages) {
    FakeRouter fake;
    Daemon d;
    load_scenario(*fake, d);
    Built first = build(d);
    const SatelliteCache& cache = d.info.satellites;
    EXPECT_EQ(cache.count, 3);
    EXPECT_EQ(cache.changed, 1);
    EXPECT_EQ(cache.entries[0].mac, "94:A6:7E:5A:20:00");
    EXPECT_EQ(cache.entries[0].fw_version, "V1.0.4.86_1.0.80");
    EXPECT_EQ(cache.entries[0].fw_last_update, "2024-11-12 03:25:10");
    EXPECT_EQ(cache.entries[0].speed_test_time, "2024-11-19 22:07:41");
    EXPECT_NE(first.out.find("]satellite mac is different\n"), std::string::npos);

    fake->sleeps.clear();
    Built second = build(d);
    EXPECT_EQ(second.out.find("is different"), std::string::npos);
    EXPECT_EQ(cache.changed, 1);  // set on every call

    fake->nvram["soapc_sat_1_DeviceInfo_GetInfo_Firmwareversion"] = "V1.0.5.2_1.0.90";
    Built third = build(d);
    EXPECT_NE(third.out.find("]satellite firmware version is different\n"), std::string::npos);
    EXPECT_EQ(third.out.find("]satellite mac is different"), std::string::npos);
    EXPECT_EQ(cache.entries[1].fw_version, "V1.0.5.2_1.0.90");
}

TEST(Satellites, CacheKeepsTheRoutersBufferSizes) {
    FakeRouter fake;
    Daemon d;
    load_scenario(*fake, d);
    fake->nvram["soapc_sat_0_mac"] = std::string(40, 'A');
    fake->nvram["soapc_sat_0_DeviceInfo_GetOOKLASpeedTestResultbyMAC_Lasttesttime"] =
        std::string(50, '7');
    build(d);
    EXPECT_EQ(d.info.satellites.entries[0].mac.size(), 19u);
    EXPECT_EQ(d.info.satellites.entries[0].speed_test_time.size(), 31u);
}

TEST(Satellites, AccessCountOf500StaysWithinTheTable) {
    FakeRouter fake;
    Daemon d;
    load_scenario(*fake, d);
    fake->nvram["soapc_sat_access_count"] = "500";
    Built b = build(d);
    EXPECT_EQ(d.info.satellites.count, 32);
    // Indices without a MAC have no table entry and are reported as connected ones
    // with empty values; at most 32 are asked for.
    EXPECT_EQ(fake->soapc_requests.size(), 31u);  // the office satellite (index 2) is down
    EXPECT_LE(cJSON_GetArraySize(json::get(b.obj.get(), "Satellite")), 32);
}

TEST(Satellites, AccessCountOfMinusOneAsksForNoSatellite) {
    FakeRouter fake;
    Daemon d;
    load_scenario(*fake, d);
    fake->nvram["soapc_sat_access_count"] = "-1";
    Built b = build(d);
    EXPECT_EQ(d.info.satellites.count, 0);
    EXPECT_EQ(d.info.satellites.changed, 1);
    EXPECT_TRUE(fake->soapc_requests.empty());
    // The disconnected satellite still comes from the device tables.
    EXPECT_EQ(cJSON_GetArraySize(json::get(b.obj.get(), "Satellite")), 1);
}

TEST(Satellites, NumberOfSatelliteStaysWithinTheTable) {
    FakeRouter fake;
    std::string devices = "config lists 'lists'\n";
    for (int i = 0; i < 40; ++i)
        devices += "\tlist mac '02000000" + std::to_string(1000 + i) + "'\n";
    for (int i = 0; i < 40; ++i)
        devices += "\nconfig device '02000000" + std::to_string(1000 + i) +
                   "'\n\toption conndevice 'satellite'\n\toption backhaulStatus 'Disconnected'\n";
    fake->set_uci("/tmp", "devices", devices);
    std::string known;
    for (int i = 0; i < 40; ++i)
        known += "config device '02000000" + std::to_string(1000 + i) +
                 "'\n\toption conndevice 'satellite'\n\n";
    fake->set_uci(kKnownDir, "knowndevices", known);
    serve_copy(*fake);
    Daemon d;
    Built b = build(d);
    EXPECT_EQ(json::get(b.obj.get(), "numberOfSatellite")->valueint, 32);
    EXPECT_EQ(cJSON_GetArraySize(json::get(b.obj.get(), "Satellite")), 32);
}

TEST(Satellites, MacOf17CharactersThatIsNotHexGivesEmptyCounters) {
    FakeRouter fake;
    one_satellite(*fake, {});
    fake->nvram["soapc_sat_0_mac"] = "ZZ:ZZ:ZZ:ZZ:ZZ:ZZ";
    Daemon d;
    Built b = build(d);
    cJSON* bh = json::get(satellite(b, 0), "wifiBackhaulInfo");
    EXPECT_STREQ(member(bh, "bhDisconnectTime"), "0");
    EXPECT_STREQ(member(bh, "bhDisconnectCount"), "0");
    EXPECT_STREQ(member(bh, "apSwitchCount"), "");
    EXPECT_STREQ(member(json::get(satellite(b, 0), "deviceInfo"), "macAddress"), "ZZZZZZZZZZZZ");
}

TEST(Satellites, VoiceDesignatorsKeepSevenCharacters) {
    EXPECT_EQ(
        voice_designator("<RegionDesignator>ABCDEFGHIJ</RegionDesignator>", "RegionDesignator"),
        "ABCDEFG");
    EXPECT_EQ(
        voice_designator("<LanguageDesignator>en-US</LanguageDesignator>", "LanguageDesignator"),
        "en-US");
    EXPECT_EQ(voice_designator("en-US</LanguageDesignator>", "LanguageDesignator"), "");
    EXPECT_EQ(voice_designator("<RegionDesignator>DE", "RegionDesignator"), "DE");
}

TEST(Satellites, VoiceMembersOnlyWithSupportAndServiceStatus) {
    FakeRouter fake;
    one_satellite(*fake, {{"DeviceInfo_GetSupportFeatureListXML_AvsSupport", "1"},
                          {"VoiceControl_GetVoiceControlStatus_AvsServiceStatus", "2"},
                          {"VoiceControl_GetVoiceControlStatus_CurrentTriggerLanguage",
                           "<RegionDesignator>GB</RegionDesignator><LanguageDesignator>en-GBxyz1</"
                           "LanguageDesignator>"}});
    Daemon d;
    Built b = build(d);
    cJSON* s = satellite(b, 0);
    EXPECT_EQ(json::get(s, "avsRegistration")->valueint, 2);
    EXPECT_STREQ(member(s, "avsRegion"), "GB");
    EXPECT_STREQ(member(s, "avsLanguage"), "en-GBxy");
    EXPECT_NE(b.out.find("]RegionDesignator:GB\n"), std::string::npos);

    fake->nvram["soapc_sat_0_DeviceInfo_GetSupportFeatureListXML_AvsSupport"] = "";
    Built without = build(d);
    EXPECT_EQ(json::get(satellite(without, 0), "avsRegistration")->valueint, 0);
    EXPECT_EQ(json::get(satellite(without, 0), "avsRegion"), nullptr);
}

TEST(Satellites, SensorCountIsReportedAndTheListBounded) {
    FakeRouter fake;
    one_satellite(*fake, {{"DeviceInfo_GetCurrentSatellitesInfo_numberOfSensors", "100000"}});
    Daemon d;
    Built b = build(d);
    EXPECT_EQ(json::get(satellite(b, 0), "numberOfSensors")->valueint, 100000);
    EXPECT_EQ(cJSON_GetArraySize(json::get(satellite(b, 0), "sensor")), 32);

    fake->nvram["soapc_sat_0_DeviceInfo_GetCurrentSatellitesInfo_numberOfSensors"] = "0";
    Built none = build(d);
    EXPECT_EQ(json::get(satellite(none, 0), "sensor"), nullptr);
}

TEST(Satellites, UciFailuresArePrintedAndThePassGoesOn) {
    FakeRouter fake;
    fake->nvram["soapc_sat_access_count"] = "1";
    serve_copy(*fake);
    Daemon d;
    Built b = build(d);
    EXPECT_EQ(json::print_compact(b.obj.get()), R"({"numberOfSatellite":0})");
    EXPECT_NE(b.out.find("[create_satellite_obj "), std::string::npos);
    EXPECT_NE(b.out.find("] ovraUciConfig_w_update : UCI_ERR_NOTFOUND\n"), std::string::npos);
    EXPECT_NE(b.out.find("] ovraUciConfig_w_get_value : UCI_ERR_NOTFOUND\n"), std::string::npos);
}

TEST(Satellites, DisconnectedPassWithoutDeviceListAddsNothing) {
    FakeRouter fake;
    json::Ptr array = json::array();
    testing::internal::CaptureStdout();
    create_disconnected_satellite_obj(array.get());
    std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(cJSON_GetArraySize(array.get()), 0);
    EXPECT_NE(out.find("[create_disconnected_satellite_obj "), std::string::npos);
}
