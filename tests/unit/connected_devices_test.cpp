#include "mesh/connected_devices.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "core/daemon.h"
#include "device_table_fixture.h"
#include "mesh/attached_devices.h"
#include "support/fake_backend.h"

using device_fixture::device;
using device_fixture::FakeDevice;
using testing_support::FakeBackend;
using testing_support::FakeRouter;

namespace {

AttachDevEntry& entry(Daemon& d, int i) {
    return d.info.attached.entries[static_cast<size_t>(i)];
}

void fill_names(Daemon& d, int n) {
    for (int i = 0; i < n; ++i) entry(d, i).name = "dev" + std::to_string(i);
    d.info.attached.num_entry = n;
}

cJSON* devices_of(const json::Ptr& obj) {
    return cJSON_GetObjectItem(obj.get(), "connDevices");
}

cJSON* element(const json::Ptr& obj, int i) {
    return cJSON_GetArrayItem(devices_of(obj), i);
}

}  // namespace

TEST(ConnectedDevices, NoDevicesGiveAnEmptyList) {
    FakeRouter fake;
    Daemon d;
    json::Ptr obj = create_connected_device_detail_obj(d);
    ASSERT_TRUE(obj);
    EXPECT_EQ(json::print_compact(obj.get()), R"({"numberOfDevices":0,"connDevices":[]})");
}

TEST(ConnectedDevices, CountIsResetToTheTableSizeWithoutOverride) {
    FakeRouter fake;
    Daemon d;
    fill_names(d, 15);
    d.reduction.report_device_count = 3;
    json::Ptr obj = create_connected_device_detail_obj(d);
    EXPECT_EQ(d.reduction.report_device_count, 15);
    EXPECT_EQ(cJSON_GetArraySize(devices_of(obj)), 15);
}

TEST(ConnectedDevices, OverrideWithCount10Of15KeepsNumberOfDevicesAndFirst10) {
    FakeRouter fake;
    Daemon d;
    fill_names(d, 15);
    d.reduction.device_count_override = 1;
    d.reduction.report_device_count = 10;
    json::Ptr obj = create_connected_device_detail_obj(d);
    EXPECT_EQ(cJSON_GetObjectItem(obj.get(), "numberOfDevices")->valuedouble, 15);
    ASSERT_EQ(cJSON_GetArraySize(devices_of(obj)), 10);
    for (int i = 0; i < 10; ++i)
        EXPECT_STREQ(json::get_string(element(obj, i), "deviceName"),
                     ("dev" + std::to_string(i)).c_str());
    EXPECT_EQ(d.reduction.report_device_count, 10);
}

TEST(ConnectedDevices, OverriddenCountBelowOneGivesAnEmptyList) {
    FakeRouter fake;
    Daemon d;
    fill_names(d, 4);
    d.reduction.device_count_override = 1;
    d.reduction.report_device_count = 0;
    json::Ptr obj = create_connected_device_detail_obj(d);
    EXPECT_EQ(json::print_compact(obj.get()), R"({"numberOfDevices":4,"connDevices":[]})");
}

TEST(ConnectedDevices, BandNamesAreShortenedOthersKept) {
    FakeRouter fake;
    Daemon d;
    const std::pair<const char*, const char*> cases[] = {
        {"5GHz Wireless", "5G"},
        {"2.4GHz Wireless", "2.4G"},
        {"6GHz Wireless", "6G"},
        {"5GHz Guest Network", "5G Guest"},
        {"2.4GHz Guest Network", "2.4G Guest"},
        {"6GHz Guest Network", "6G Guest"},
        {"5G", "5G"},
        {"wired", "wired"},
        {"vpn", "vpn"},
        {"5ghz wireless", "5ghz wireless"},
        {"5GHz Wireless ", "5GHz Wireless "},
    };
    int n = 0;
    for (const auto& [text, shown] : cases) entry(d, n++).conntype = text;
    d.info.attached.num_entry = n;
    json::Ptr obj = create_connected_device_detail_obj(d);
    for (int i = 0; i < n; ++i)
        EXPECT_STREQ(json::get_string(element(obj, i), "connType"), cases[i].second) << i;
}

TEST(ConnectedDevices, TypeV2UserDefinedAndIdAreStrings) {
    FakeRouter fake;
    Daemon d;
    AttachDevEntry& e = entry(d, 0);
    e.type_v2_user_defined = "false";
    e.type_v2_index = "19";
    e.type_v2 = "Network (Generic)";
    d.info.attached.num_entry = 1;
    json::Ptr obj = create_connected_device_detail_obj(d);
    cJSON* user = cJSON_GetObjectItem(element(obj, 0), "deviceTypeV2UserDefined");
    ASSERT_TRUE(cJSON_IsString(user));
    EXPECT_STREQ(user->valuestring, "false");
    cJSON* id = cJSON_GetObjectItem(element(obj, 0), "deviceTypeV2ID");
    ASSERT_TRUE(cJSON_IsString(id));
    EXPECT_STREQ(id->valuestring, "19");
}

TEST(ConnectedDevices, WiredDeviceOnGigabitPortHasLinkspeed1000Point000001) {
    FakeRouter fake;
    Daemon d;
    entry(d, 0).conntype = "wired";
    entry(d, 0).speed = 0.000001 + 1000;
    d.info.attached.num_entry = 1;
    json::Ptr obj = create_connected_device_detail_obj(d);
    std::string text = json::print_compact(obj.get());
    EXPECT_NE(text.find(R"("linkspeed":1000.000001,)"), std::string::npos) << text;
}

TEST(ConnectedDevices, EveryMemberInOrderWithItsType) {
    FakeRouter fake;
    Daemon d;
    AttachDevEntry& e = entry(d, 0);
    e.name_user_defined = 1;
    e.model_user_defined = 0;
    e.type_user_defined = 7;
    e.devtypeid = 36;
    e.speed = 866.700001;
    d.info.attached.num_entry = 1;
    json::Ptr obj = create_connected_device_detail_obj(d);
    const std::pair<const char*, int> members[] = {
        {"connType", cJSON_String},
        {"connStatus", cJSON_String},
        {"deviceName", cJSON_String},
        {"deviceNameUserDefined", cJSON_True},
        {"deviceNameAutoDetect", cJSON_String},
        {"deviceModel", cJSON_String},
        {"deviceModelUserDefined", cJSON_False},
        {"deviceModelAutoDetect", cJSON_String},
        {"deviceType", cJSON_String},
        {"deviceTypeUserDefined", cJSON_True},
        {"deviceTypeAutoDetect", cJSON_String},
        {"deviceTypeID", cJSON_Number},
        {"fingDetectedType", cJSON_String},
        {"fingDetectedModel", cJSON_String},
        {"deviceVendorAutoDetect", cJSON_String},
        {"deviceTypeV2", cJSON_String},
        {"deviceTypeV2UserDefined", cJSON_String},
        {"deviceTypeV2AutoDetect", cJSON_String},
        {"deviceTypeV2ID", cJSON_String},
        {"deviceBrandAutoDetect", cJSON_String},
        {"deviceMacVendorAutoDetect", cJSON_String},
        {"deviceOSNameAutoDetect", cJSON_String},
        {"deviceOSVerAutoDetect", cJSON_String},
        {"detectEngine", cJSON_String},
        {"dhcpFingerPrint", cJSON_String},
        {"userAgent", cJSON_String},
        {"ipAddress", cJSON_String},
        {"macAddress", cJSON_String},
        {"linkspeed", cJSON_Number},
        {"signalStrength", cJSON_String},
        {"allowOrBlock", cJSON_String},
        {"connectedVyro", cJSON_String},
        {"connectedVyroMac", cJSON_String},
        {"connectedVyroModel", cJSON_String},
    };
    cJSON* member = element(obj, 0)->child;
    int n = 0;
    for (const auto& [name, type] : members) {
        ASSERT_NE(member, nullptr) << "missing " << name;
        EXPECT_STREQ(member->string, name);
        EXPECT_EQ(member->type & 0xFF, type) << name;
        member = member->next;
        ++n;
    }
    EXPECT_EQ(member, nullptr);
    EXPECT_EQ(n, 34);
    EXPECT_EQ(cJSON_GetObjectItem(element(obj, 0), "deviceTypeID")->valueint, 36);
    // Empty texts are written, never left out.
    EXPECT_STREQ(json::get_string(element(obj, 0), "connStatus"), "");
}

TEST(ConnectedDevices, NumberOfDevicesComesBeforeTheList) {
    FakeRouter fake;
    Daemon d;
    fill_names(d, 1);
    json::Ptr obj = create_connected_device_detail_obj(d);
    ASSERT_NE(obj->child, nullptr);
    EXPECT_STREQ(obj->child->string, "numberOfDevices");
    EXPECT_STREQ(obj->child->next->string, "connDevices");
}

TEST(ConnectedDevices, DebugLineNamesTheReportedCount) {
    FakeRouter fake;
    Daemon d;
    fill_names(d, 12);
    create_connected_device_detail_obj(d);
    EXPECT_EQ(fake->console(), "");
    fake->nvram["telem_debug"] = "1";
    d.reduction.device_count_override = 1;
    d.reduction.report_device_count = 7;
    create_connected_device_detail_obj(d);
    EXPECT_EQ(fake->console(), "[create_connected_device_detail_obj]connection device num=7\n");
}

TEST(ConnectedDevices, CountNeverReadsPastTheTable) {
    FakeRouter fake;
    Daemon d;
    fill_names(d, 3);
    d.reduction.device_count_override = 1;
    d.reduction.report_device_count = 500;
    json::Ptr obj = create_connected_device_detail_obj(d);
    EXPECT_EQ(cJSON_GetArraySize(devices_of(obj)), kMaxAttachedDevices);
}

// --- golden reports of a fixture router -----------------------------------------------

namespace {

std::filesystem::path golden_path(const std::string& name) {
    return std::filesystem::path(__FILE__).parent_path().parent_path() / "golden" / name;
}

// The fixture: a VRE650 with one device on each kind of link, a satellite, offline
// known devices and one stale known device.
void build_fixture_router(FakeBackend& fake, Daemon& d) {
    device_fixture::use_vre650(fake, d.ports);
    d.info.mac = "A0B1C2D3E4F5";
    fake.nvram["vyro_device_name"] = "Vyro Max";

    FakeDevice sat = device("AABBCC000001", "wired", "192.168.1.2");
    sat.set("conndevice", "satellite").set("name", "VRS650-1").set("devnamedefault", "Living room");
    sat.set("model", "VRS650");

    FakeDevice desk = device("001122334401", "wired", "192.168.1.10");
    desk.set("name", "desktop").set("type", "Windows PC(38)").set("model", "OptiPlex");
    desk.set("connectedVyro", "Vyro Router").set("devConnStat", "1");
    desk.set("devNameUser", "Study PC")
        .set("devDPIName", "DESKTOP-7Q")
        .set("devMByFing", "OptiPlex 7090");
    desk.set("devTypeNameByQRVX", "Windows PC").set("devTypeIndexByQRVX", "38");
    desk.set("devBrandByFing", "Dell")
        .set("devMacVendor", "Dell Inc.")
        .set("devOSByFing", "Windows");
    desk.set("devOSVerByFing", "11").set("detectEngine", "fing").set("devTByFing", "Desktop");
    desk.set("devDhcpOpts", "1,3,6,15,31,33").set("devUsragent", "Mozilla/5.0 (Windows NT 10.0)");

    FakeDevice phone = device("001122334402", "2.4GHz Wireless", "192.168.1.11");
    phone.set("fronthaulRSSI", "40").set("linkSpeed", "72.2").set("name", "galaxy");
    phone.set("type", "Android Phone(3)").set("model", "Galaxy A54");
    phone.set("connectedVyro", "AABBCC000001").set("devConnStat", "1");
    phone.set("devDPIName", "Galaxy-A54")
        .set("devMByFing", "Galaxy A54")
        .set("devMByUser", "A54 5G");
    phone.set("devTypeNameByUser", "Smart phone").set("devTypeIndexByUser", "32");
    phone.set("devTypeNameByQRVX", "Android Phone").set("devTypeIndexByQRVX", "3");
    phone.set("devMacVendor", "Samsung Electronics");

    FakeDevice guest = device("001122334403", "5GHz Guest Network", "192.168.2.20");
    guest.set("fronthaulRSSI", "60").set("linkSpeed", "866.7").set("name", "visitor");
    guest.set("type", " ").set("connectedVyro", "Vyro Router").set("devConnStat", "1");

    FakeDevice tv = device("001122334404", "6GHz Wireless", "192.168.1.13");
    tv.set("fronthaulRSSI", "30").set("linkSpeed", "2401").set("name", "iphone");
    tv.set("type", "iPhone(17)").set("model", "iPhone 15").set("connectedVyro", "AABBCC000001");
    tv.set("devConnStat", "1").set("devNameQrvx", "iPhone-15").set("devTypeNameByQRVX", "iPhone");
    tv.set("devTypeIndexByQRVX", "17");

    FakeDevice vpn = device("001122334405", "vpn", "10.8.0.6");
    vpn.set("name", "road-warrior").set("connectedVyro", "Vyro Router").set("devConnStat", "1");

    device_fixture::set_live(fake, {sat, desk, phone, guest, tv, vpn},
                             {"AABBCC000001", "001122334401", "001122334402", "001122334403",
                              "001122334404", "001122334405"});
    FakeDevice sat_persisted{"AABBCC000001", {}};
    sat_persisted.set("conndevice", "satellite");
    device_fixture::set_persistent(fake, {sat_persisted});

    FakeDevice k_sat = sat;
    FakeDevice k_desk{"001122334401", {}};
    k_desk.set("devConnStat", "1").set("customizationName", "1").set("customizationModel", "0");
    k_desk.set("customizationType", "0")
        .set("defaultName", "DESKTOP-7Q")
        .set("defaultModel", "OptiPlex");
    k_desk.set("defaultType", "Windows PC");
    FakeDevice k_phone{"001122334402", {}};
    k_phone.set("devConnStat", "1").set("customizationName", "0").set("customizationModel", "1");
    k_phone.set("customizationType", "1").set("defaultName", "Galaxy-A54");
    FakeDevice k_guest{"001122334403", {}};
    k_guest.set("devConnStat", "1");
    FakeDevice k_tv{"001122334404", {}};
    k_tv.set("devConnStat", "1").set("customizationName", "0");
    FakeDevice k_vpn{"001122334405", {}};
    k_vpn.set("devConnStat", "1");
    FakeDevice laptop = device("0011223344A1", "5GHz Wireless", "192.168.1.30");
    laptop.set("name", "laptop").set("devConnStat", "0").set("connectedVyro", "AABBCC000001");
    laptop.set("devNameUser", "Work laptop")
        .set("devDPIName", "MacBook-Pro")
        .set("customizationName", "1");
    laptop.set("devMByFing", "MacBook Pro")
        .set("devTypeNameByQRVX", "Mac Book")
        .set("devTypeIndexByQRVX", "22");
    laptop.set("devBrandByFing", "Apple")
        .set("devMacVendor", "Apple, Inc.")
        .set("devOSByFing", "macOS");
    laptop.set("detectEngine", "fing").set("devTByFing", "Laptop");
    FakeDevice printer = device("0011223344A2", "wired", "192.168.1.31");
    printer.set("name", "printer").set("connectedVyro", "Vyro Router");
    FakeDevice stale = device("0011223344A3", "5GHz Wireless", "192.168.1.32");
    stale.set("devConnStat", "1");
    device_fixture::set_known(
        fake, {k_sat, k_desk, k_phone, k_guest, k_tv, k_vpn, laptop, printer, stale});

    fake.mac_statuses["001122334401"] = 1;
    fake.mac_statuses["001122334403"] = 0;
    fake.mac_statuses["0011223344A1"] = 1;
    fake.on_exact(
        "swconfig dev switch0 get dump_arl|grep 00:11:22:33:44:01 | sed 's/^.*PORTMAP: //g'|sed "
        "'s/ VID:.*//g' >/tmp/device_port.txt",
        FakeBackend::outputs("0x04\n"));
    fake.on_exact("swconfig dev switch0 port 2 show|grep port:2",
                  FakeBackend::outputs("Port 2: link:up speed:1000baseT full-duplex\n"));
}

std::string golden_report(bool with_fing) {
    FakeRouter fake;
    Daemon d;
    build_fixture_router(*fake, d);
    d.info.attached.fing_present = with_fing ? 1 : 0;
    testing::internal::CaptureStdout();
    get_attach_dev(d);
    json::Ptr obj = create_connected_device_detail_obj(d);
    testing::internal::GetCapturedStdout();
    return json::print_string(obj.get()) + "\n";
}

void expect_golden(const std::string& name, const std::string& text) {
    std::filesystem::path path = golden_path(name);
    if (std::getenv("TELEM_UPDATE_GOLDEN")) std::ofstream(path, std::ios::binary) << text;
    std::ifstream in(path, std::ios::binary);
    ASSERT_TRUE(in) << "missing golden file " << path;
    std::stringstream golden;
    golden << in.rdbuf();
    EXPECT_EQ(text, golden.str()) << "differs from " << path;
}

}  // namespace

TEST(ConnectedDevicesGolden, FixtureRouterWithFing) {
    expect_golden("connected_devices_fing.json", golden_report(true));
}

TEST(ConnectedDevicesGolden, FixtureRouterWithoutFing) {
    expect_golden("connected_devices_plain.json", golden_report(false));
}
