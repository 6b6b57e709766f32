// The 128 KiB rule of the routine report run through the real inventory and the real
// connected-device builder: the table is collected from the device-tracking tables,
// the report is written, and the size check rebuilds "connectedDeviceDetails" from the
// reduced table.
#include <gtest/gtest.h>

#include <regex>

#include "core/daemon.h"
#include "device_table_fixture.h"
#include "mesh/attached_devices.h"
#include "mesh/connected_devices.h"
#include "report/report_files.h"
#include "support/fake_backend.h"

using device_fixture::device;
using device_fixture::FakeDevice;
using testing_support::FakeRouter;

namespace {

std::string mac_of(int i) {
    char text[13];
    std::snprintf(text, sizeof text, "02CD%08X", i);
    return text;
}

// A Fing-identified device with the texts a real one carries.
FakeDevice identified(int i, bool online) {
    FakeDevice dev = device(mac_of(i), i % 2 ? "5GHz Wireless" : "2.4GHz Wireless",
                            "192.168.1." + std::to_string(10 + i));
    dev.set("fronthaulRSSI", "45").set("linkSpeed", "866.7").set("connectedVyro", "Vyro Router");
    dev.set("devConnStat", online ? "1" : "0");
    dev.set("devDPIName", "device-" + std::to_string(i)).set("devMByFing", "Galaxy S24");
    dev.set("devTypeNameByQRVX", "Android Phone").set("devTypeIndexByQRVX", "3");
    dev.set("devBrandByFing", "Samsung").set("devMacVendor", "Samsung Electronics Co.,Ltd");
    dev.set("devOSByFing", "Android").set("devOSVerByFing", "14").set("detectEngine", "fing");
    dev.set("devDhcpOpts", "1,3,6,15,26,28,51,58,59,43");
    dev.set("devUsragent", "Dalvik/2.1.0 (Linux; U; Android 14; SM-S921B Build/UP1A.231005.007)");
    return dev;
}

class SizeReduction : public testing::Test {
  protected:
    SizeReduction() {
        device_fixture::use_vre650(*fake, d.ports);
        d.info.mac = "A0B1C2D3E4F5";
        d.info.attached.fing_present = 1;
        d.bodies.connectedDeviceDetails = create_connected_device_detail_obj;
        fake->mkdir("/tmp/telem_json_dir");  // made at start-up
    }

    // `online` attached devices, then `offline` known devices that are not attached.
    void collect(int online, int offline) {
        std::vector<FakeDevice> live, known;
        for (int i = 0; i < online; ++i) live.push_back(identified(i, true));
        for (int i = 0; i < online + offline; ++i) known.push_back(identified(i, i < online));
        device_fixture::set_live(*fake, live);
        device_fixture::set_known(*fake, known);
        testing::internal::CaptureStdout();
        get_attach_dev(d);
        testing::internal::GetCapturedStdout();
    }

    // The routine report as assembled: a header, the device part, and a padding text
    // standing for the other bodies.
    json::Ptr routine_report(size_t padding) {
        json::Ptr doc = json::object();
        json::Ptr header = json::object();
        json::add_number(header.get(), "eventType", 1);
        json::add(doc, "routerHardware", std::move(header));
        json::add_string(doc.get(), "routerInfo", std::string(padding, 'r'));
        json::add(doc, "connectedDeviceDetails", create_connected_device_detail_obj(d));
        return doc;
    }

    // Printed size of the report when its device part holds the first `n` entries.
    size_t report_size_with(int n) {
        d.reduction.device_count_override = 1;
        d.reduction.report_device_count = n;
        size_t size = json::print_string(routine_report(0).get()).size();
        d.reduction.device_count_override = 0;
        return size;
    }

    // The counts the device builder reported on the console, in order.
    std::vector<int> built_counts() {
        static const std::regex line(
            R"(\[create_connected_device_detail_obj\]connection device num=(\d+)\n)");
        std::vector<int> counts;
        std::string console = fake->console();
        for (std::sregex_iterator it(console.begin(), console.end(), line), end; it != end; ++it)
            counts.push_back(std::stoi((*it)[1]));
        return counts;
    }

    json::Ptr routine_file() {
        auto text = fake->read("/tmp/telem_json_dir/telem_" + fake->hwversion + "_1.json");
        return json::parse(text.value_or(""));
    }

    FakeRouter fake;
    Daemon d;
};

}  // namespace

TEST_F(SizeReduction, FortyDevicesTenOfflineGoTo30Then25Then20) {
    collect(30, 10);
    ASSERT_EQ(d.info.attached.num_entry, 40);
    // Padding that makes the report with 25 devices exactly 128 KiB: still too large,
    // while 20 devices fit.
    size_t size25 = report_size_with(25);
    ASSERT_LT(size25, 131072u);
    size_t padding = 131072 - size25;
    ASSERT_LT(report_size_with(20) + padding, 131072u);

    fake->nvram["telem_debug"] = "1";
    json::Ptr doc = routine_report(padding);
    EXPECT_EQ(write_report(d, doc, 1), 0);

    EXPECT_EQ(built_counts(), (std::vector<int>{40, 30, 25, 20}));
    json::Ptr sent = routine_file();
    ASSERT_TRUE(sent);
    cJSON* details = cJSON_GetObjectItem(sent.get(), "connectedDeviceDetails");
    ASSERT_NE(details, nullptr);
    EXPECT_EQ(cJSON_GetObjectItem(details, "numberOfDevices")->valueint, 40);
    cJSON* list = cJSON_GetObjectItem(details, "connDevices");
    ASSERT_EQ(cJSON_GetArraySize(list), 20);
    for (int i = 0; i < 20; ++i) {
        cJSON* dev = cJSON_GetArrayItem(list, i);
        EXPECT_STREQ(json::get_string(dev, "connStatus"), "Online");
        EXPECT_EQ(json::get_string(dev, "macAddress"), device_fixture::colon_mac(mac_of(i)));
    }
    EXPECT_LT(fake->read("/tmp/telem_json_dir/telem_VRE670_1.json").value_or("").size(), 131072u);
    EXPECT_EQ(d.reduction.device_count_override, 0);
    EXPECT_EQ(d.reduction.reduction_state, 0);
}

TEST_F(SizeReduction, SixDevicesLeftGoToOneAndTheNextCheckGivesUp) {
    collect(11, 0);
    ASSERT_EQ(d.info.attached.num_entry, 11);
    fake->nvram["telem_debug"] = "1";
    json::Ptr doc = routine_report(131072);
    EXPECT_EQ(write_report(d, doc, 1), -3);
    EXPECT_FALSE(doc);
    // All eleven are online, so dropping the offline ones keeps eleven; then 6, then 1.
    EXPECT_EQ(built_counts(), (std::vector<int>{11, 11, 6, 1}));
    EXPECT_NE(fake->console().find(
                  "[create_device_json] the number of connection devices are less six\n"),
              std::string::npos);
    EXPECT_EQ(d.reduction.device_count_override, 0);
}

TEST_F(SizeReduction, NextReportStartsAgainFromTheCollectedCount) {
    collect(12, 0);
    json::Ptr doc = routine_report(131072);
    testing::internal::CaptureStdout();
    EXPECT_EQ(write_report(d, doc, 1), -3);
    testing::internal::GetCapturedStdout();
    ASSERT_EQ(d.reduction.report_device_count, 2);  // 12, 12, 7, 2: then it gave up
    // The reduction cleared entries of this pass's table; a new pass refills it and the
    // builder no longer honours the lowered count.
    collect(12, 0);
    json::Ptr next = create_connected_device_detail_obj(d);
    EXPECT_EQ(d.reduction.report_device_count, 12);
    EXPECT_EQ(cJSON_GetArraySize(cJSON_GetObjectItem(next.get(), "connDevices")), 12);
}
