#include "report/firmware_upgrade.h"

#include <gtest/gtest.h>

#include <string>

#include "core/daemon.h"
#include "report/assembly.h"
#include "json/json.h"
#include "support/fake_backend.h"

using testing_support::FakeBackend;
using testing_support::FakeRouter;

namespace {

constexpr const char* kKnownDeviceDir = "/opt/cache/system/device-info-table";
constexpr const char* kSatPrefix = "soapc_sat_0_DeviceConfig_CheckAndDownloadNewFirmware_";

class FirmwareUpgrade : public ::testing::Test {
  protected:
    json::Ptr build() {
        testing::internal::CaptureStdout();
        json::Ptr obj = create_firmware_upgrade_obj(d);
        out = testing::internal::GetCapturedStdout();
        return obj;
    }
    json::Ptr build_satellites() {
        testing::internal::CaptureStdout();
        json::Ptr obj = create_satellite_fw_obj();
        out = testing::internal::GetCapturedStdout();
        return obj;
    }
    std::string member(const char* name) {
        json::Ptr obj = build();
        EXPECT_TRUE(obj);
        const char* text = json::get_string(obj.get(), name);
        EXPECT_NE(text, nullptr) << name;
        return text ? text : "<missing>";
    }
    // Satellite 0 with every value the SOAP client caches.
    void cache_satellite0() {
        fake->nvram["soapc_sat_access_count"] = "1";
        fake->nvram["soapc_sat_0_mac"] = "A0:B1:C2:D3:E4:F5";
        fake->nvram["soapc_sat_0_DeviceInfo_GetInfo_ModelName"] = "VRS670";
        fake->nvram["soapc_sat_0_DeviceInfo_GetInfo_SerialNumber"] = "SAT0001";
        fake->nvram[std::string(kSatPrefix) + "FwDownloadFolderFromRouter"] = "/tmp/satfw";
        fake->nvram[std::string(kSatPrefix) + "FwDownloadVersionFromRouter"] = "2.0.1";
        fake->nvram[std::string(kSatPrefix) + "FwDownloadUrl"] = "http://fw/sat.img";
        fake->nvram[std::string(kSatPrefix) + "CurrentVersion"] = "V1.9.0";
        fake->nvram[std::string(kSatPrefix) + "NewVersion"] = "V2.0.1";
        fake->nvram[std::string(kSatPrefix) + "response"] = "0";
        fake->nvram["soapc_sat_0_DeviceInfo_GetInfo_FirmwareDLmethod"] = "AUTO";
        fake->nvram["soapc_sat_0_DeviceInfo_GetInfo_Firmwareversion"] = "V1.9.5";
    }
    void known_device_table() {
        fake->set_uci(kKnownDeviceDir, "knowndevices",
                      "config device 'A0B1C2D3E4F5'\n\toption model 'VRS650'\n");
    }
    cJSON* satellite0(const json::Ptr& sats) {
        return cJSON_GetArrayItem(json::get(sats.get(), "satellite"), 0);
    }

    FakeRouter fake;
    Daemon d;
    std::string out;
};

}  // namespace

// --- eventType ---------------------------------------------------------------------

TEST_F(FirmwareUpgrade, EventTypeIsNewInstallForAutomaticDownloadInWizardStageOne) {
    fake->nvram["firmware_upgrade_last_status"] = "Success";
    fake->nvram["vyro_wiz_stage"] = "1";
    fake->nvram["currentDLmethod"] = "AUTO";
    EXPECT_EQ(member("eventType"), "New Install");
}

TEST_F(FirmwareUpgrade, EventTypeIsTheStatusForManualDownloadInWizard) {
    fake->nvram["firmware_upgrade_last_status"] = "Success";
    fake->nvram["vyro_wiz_stage"] = "1";
    fake->nvram["currentDLmethod"] = "MANUAL";
    EXPECT_EQ(member("eventType"), "Success");
}

TEST_F(FirmwareUpgrade, EventTypeIsNewInstallInWizardStageTwo) {
    fake->nvram["firmware_upgrade_last_status"] = "Success";
    fake->nvram["vyro_wiz_stage"] = "2";
    EXPECT_EQ(member("eventType"), "New Install");
}

TEST_F(FirmwareUpgrade, EventTypeIsTheStatusOutsideTheWizard) {
    fake->nvram["firmware_upgrade_last_status"] = "Fail";
    fake->nvram["vyro_wiz_stage"] = "0";
    fake->nvram["currentDLmethod"] = "AUTO";
    EXPECT_EQ(member("eventType"), "Fail");
}

TEST_F(FirmwareUpgrade, EventTypeIsDailyWithoutStatusEvenInWizard) {
    fake->nvram["firmware_upgrade_last_status"] = "";
    fake->nvram["vyro_wiz_stage"] = "1";
    fake->nvram["currentDLmethod"] = "AUTO";
    EXPECT_EQ(member("eventType"), "Daily");
}

// --- last status message -------------------------------------------------------------
// (With the known-device table present, the status line is all the builder prints.)

TEST_F(FirmwareUpgrade, PrintsLastStatusWithoutNewline) {
    known_device_table();
    fake->nvram["firmware_upgrade_last_status"] = "Success";
    build();
    EXPECT_EQ(out, "firmware_upgrade_last_status:Success");
}

TEST_F(FirmwareUpgrade, PrintsUnsetWhenLastStatusKeyIsAbsent) {
    known_device_table();
    build();
    EXPECT_EQ(out, "firmware_upgrade_last_status is unset");
}

TEST_F(FirmwareUpgrade, PrintsEmptyLastStatusWhenKeyExistsEmpty) {
    known_device_table();
    fake->nvram["firmware_upgrade_last_status"] = "";
    build();
    EXPECT_EQ(out, "firmware_upgrade_last_status:");
}

// --- fwUpgradeTriggered ----------------------------------------------------------------

TEST_F(FirmwareUpgrade, TriggeredFlagGivesTriggered) {
    d.info.triggeredByFirmwareUpgrade = 1;
    EXPECT_EQ(member("fwUpgradeTriggered"), "Triggered");
}

TEST_F(FirmwareUpgrade, NotTriggeredFlagGivesNotTrigger) {
    d.info.notTriggeredByFirmwareUpgrade = 1;
    EXPECT_EQ(member("fwUpgradeTriggered"), "Not trigger");
}

// --- fwDownloadUrlFromCloud ----------------------------------------------------------------

TEST_F(FirmwareUpgrade, DownloadUrlFromCloudPrefersTheCloudReturnUrl) {
    fake->nvram["control_cloud_backend_return_url"] = "https://cloud/return";
    fake->nvram["control_cloud_backend_fw_url"] = "https://cloud/fw";
    EXPECT_EQ(member("fwDownloadUrlFromCloud"), "https://cloud/return");
}

TEST_F(FirmwareUpgrade, DownloadUrlFromCloudJoinsFirmwareUrlAndLowerCaseHardware) {
    fake->hwversion = "VRE670";
    fake->nvram["control_cloud_backend_fw_url"] = "https://cloud/fw";
    EXPECT_EQ(member("fwDownloadUrlFromCloud"), "https://cloud/fw/vre670");
}

TEST_F(FirmwareUpgrade, DownloadUrlFromCloudKeepsFifteenCharactersOfHardware) {
    fake->hwversion = "VRE670-ABCDEFGHIJKL";  // 19 characters
    fake->nvram["control_cloud_backend_fw_url"] = "u";
    EXPECT_EQ(member("fwDownloadUrlFromCloud"), "u/vre670-abcdefgh");
}

TEST_F(FirmwareUpgrade, DownloadUrlFromCloudEmptyWithoutEitherUrl) {
    EXPECT_EQ(member("fwDownloadUrlFromCloud"), "");
}

// --- firmwareConfigSetting -------------------------------------------------------------------

TEST_F(FirmwareUpgrade, ConfigSettingNamesDownloadUrlWhenZtExists) {
    fake->write("/usr/bin/zt", "");
    fake->nvram["control_cloud_backend_download_url"] = "https://dl";
    fake->nvram["check_fw_path_ra"] = "/ra";
    fake->nvram["check_fw_debug"] = "1";
    EXPECT_EQ(member("firmwareConfigSetting"),
              "control_cloud_backend_download_url=https://dl, check_fw_debug=1");
}

TEST_F(FirmwareUpgrade, ConfigSettingNamesCheckPathWithoutZt) {
    fake->nvram["control_cloud_backend_download_url"] = "https://dl";
    fake->nvram["check_fw_path_ra"] = "/ra";
    fake->nvram["check_fw_debug"] = "0";
    EXPECT_EQ(member("firmwareConfigSetting"), "check_fw_path_ra=/ra, check_fw_debug=0");
}

TEST_F(FirmwareUpgrade, ConfigSettingIsCutAt511Characters) {
    fake->nvram["check_fw_path_ra"] = std::string(600, 'p');
    fake->nvram["check_fw_debug"] = "1";
    std::string setting = member("firmwareConfigSetting");
    EXPECT_EQ(setting.size(), 511u);
    EXPECT_EQ(setting, "check_fw_path_ra=" + std::string(511 - 17, 'p'));
}

// --- versions ------------------------------------------------------------------------------

TEST_F(FirmwareUpgrade, RouterCurrentVersionIsTheIdentityFirmwareVersion) {
    d.info.fw_version = "1.2.3.4";
    fake->nvram["new_firmware_version"] = "9.9.9";
    EXPECT_EQ(member("routerCurrentVersion"), "1.2.3.4");
}

TEST_F(FirmwareUpgrade, NewVersionIsCutAtFirstUnderscore) {
    fake->nvram["new_firmware_version"] = "1.2.3.4_5.6";
    EXPECT_EQ(member("routerNewVersion"), "V1.2.3.4");
}

TEST_F(FirmwareUpgrade, VersionWithoutUnderscoreIsOnlyPrefixed) {
    fake->nvram["new_firmware_version"] = "1.0.2";
    EXPECT_EQ(member("routerNewVersion"), "V1.0.2");
}

TEST_F(FirmwareUpgrade, NewVersionEmptyWhenUnset) {
    EXPECT_EQ(member("routerNewVersion"), "");
}

TEST_F(FirmwareUpgrade, VersionCutLooksAtSixtyThreeCharacters) {
    std::string long_version(70, '1');
    long_version[65] = '_';
    EXPECT_EQ(firmware_version_label(long_version), "V" + std::string(63, '1'));
    std::string early = std::string(10, '2') + "_" + std::string(60, '3');
    EXPECT_EQ(firmware_version_label(early), "V" + std::string(10, '2'));
}

// --- fwCheckResult ---------------------------------------------------------------------------

TEST_F(FirmwareUpgrade, CheckResultTextTable) {
    const std::pair<int, const char*> table[] = {
        {33, "Fileinfo download fail"},
        {34, "Firmware download fail"},
        {37, "no error"},
        {42, "No internet"},
        {48, "Dal Error"},
        {49, "Library not Initialized"},
        {50, "Connection Timeout"},
        {51, "Cannot Connect to Server"},
        {52, "Not a Valid Input"},
        {53, "Library Internal Error"},
        {54, "No URL Received From Server"},
        {0, "unknown error"},
        {35, "unknown error"},
        {55, "unknown error"},
        {-1, "unknown error"},
    };
    for (const auto& [code, text] : table) {
        fake->fw_response_code = code;
        EXPECT_EQ(member("fwCheckResult"), text) << code;
    }
}

TEST_F(FirmwareUpgrade, SatelliteCheckResultTable) {
    const std::pair<const char*, const char*> table[] = {
        {"", "unknown error"},
        {"0", "no error"},
        {"5", "no error"},
        {"6", "no error"},
        {"1", "No internet"},
        {"2", "Cannot Connect to Server"},
        {"3", "Firmware download fail"},
        {"4", "unknown error"},
        {"7", "unknown error"},
        {"-1", "unknown error"},
    };
    cache_satellite0();
    for (const auto& [response, text] : table) {
        fake->nvram[std::string(kSatPrefix) + "response"] = response;
        json::Ptr sats = build_satellites();
        ASSERT_TRUE(sats);
        EXPECT_STREQ(json::get_string(satellite0(sats), "fwCheckResult"), text) << response;
    }
}

// --- whole object ----------------------------------------------------------------------------

TEST_F(FirmwareUpgrade, MembersInOrder) {
    d.info.fw_version = "1.0.0.10";
    d.info.triggeredByFirmwareUpgrade = 1;
    fake->nvram = {{"firmware_upgrade_last_status", "Success"},
                   {"vyro_wiz_stage", "0"},
                   {"currentDLmethod", "AUTO"},
                   {"control_cloud_backend_fw_url", "https://fw"},
                   {"control_cloud_backend_download_url", "https://dl/img"},
                   {"check_fw_path_ra", "/ra"},
                   {"check_fw_debug", "0"},
                   {"telem_fw_last_check_time", "2026-01-01 00:00:00"},
                   {"new_firmware_version", "1.0.0.12_2.1"},
                   {"soapc_sat_access_count", "0"}};
    fake->fw_response_code = 37;
    json::Ptr obj = build();
    ASSERT_TRUE(obj);
    EXPECT_EQ(json::print_compact(obj.get()),
              R"({"eventType":"Success","fwUpgradeTriggered":"Triggered",)"
              R"("fwDownloadUrlFromCloud":"https://fw/vre670","fwDownloadUrl":"https://dl/img",)"
              R"("firmwareConfigSetting":"check_fw_path_ra=/ra, check_fw_debug=0",)"
              R"("fwCheckedDate":"2026-01-01 00:00:00","routerCurrentVersion":"1.0.0.10",)"
              R"("routerNewVersion":"V1.0.0.12","fwCheckResult":"no error",)"
              R"("fwupgrade_Method":"AUTO",)"
              R"("satelliteFwInfo":{"numberOfSatellite":"0","satellite":[]}})");
}

// --- satellites ------------------------------------------------------------------------------

TEST_F(FirmwareUpgrade, SatelliteCountZeroGivesEmptyArray) {
    fake->nvram["soapc_sat_access_count"] = "0";
    json::Ptr sats = build_satellites();
    ASSERT_TRUE(sats);
    EXPECT_EQ(json::print_compact(sats.get()), R"({"numberOfSatellite":"0","satellite":[]})");
}

TEST_F(FirmwareUpgrade, SatelliteCountEmptyGivesEmptyArray) {
    json::Ptr sats = build_satellites();
    ASSERT_TRUE(sats);
    EXPECT_EQ(json::print_compact(sats.get()), R"({"numberOfSatellite":"","satellite":[]})");
}

TEST_F(FirmwareUpgrade, SatelliteElementMembersInOrder) {
    cache_satellite0();
    json::Ptr sats = build_satellites();
    ASSERT_TRUE(sats);
    EXPECT_EQ(json::print_compact(sats.get()),
              R"({"numberOfSatellite":"1","satellite":[{"modelName":"VRS670",)"
              R"("deviceInfo":{"macAddress":"A0B1C2D3E4F5","serialNumber":"SAT0001"},)"
              R"("fwDownloadFolderFromRouter":"/tmp/satfw","fwDownloadVersionFromRouter":"2.0.1",)"
              R"("fwDownloadUrl":"http://fw/sat.img","currentVersion":"V1.9.0",)"
              R"("newVersion":"V2.0.1","fwCheckResult":"no error","fwupgrade_Method":"AUTO"}]})");
}

TEST_F(FirmwareUpgrade, OneElementPerSatelliteIndex) {
    fake->nvram["soapc_sat_access_count"] = "3";
    fake->nvram["soapc_sat_0_DeviceInfo_GetInfo_ModelName"] = "M0";
    fake->nvram["soapc_sat_1_DeviceInfo_GetInfo_ModelName"] = "M1";
    fake->nvram["soapc_sat_2_DeviceInfo_GetInfo_ModelName"] = "M2";
    fake->nvram["soapc_sat_3_DeviceInfo_GetInfo_ModelName"] = "M3";
    json::Ptr sats = build_satellites();
    ASSERT_TRUE(sats);
    cJSON* list = json::get(sats.get(), "satellite");
    ASSERT_EQ(cJSON_GetArraySize(list), 3);
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(json::get_string(cJSON_GetArrayItem(list, i), "modelName"),
                  "M" + std::to_string(i));
}

TEST_F(FirmwareUpgrade, SatelliteMacIsJoinedWithoutColons) {
    EXPECT_EQ(compact_satellite_mac("aa:bb:cc:dd:ee:ff"), "aabbccddeeff");
    cache_satellite0();
    fake->nvram["soapc_sat_0_mac"] = "aa:bb:cc:dd:ee:ff";
    json::Ptr sats = build_satellites();
    ASSERT_TRUE(sats);
    EXPECT_STREQ(json::get_string(json::get(satellite0(sats), "deviceInfo"), "macAddress"),
                 "aabbccddeeff");
}

TEST_F(FirmwareUpgrade, SatelliteMacReadsAsTheGroupScanDoes) {
    EXPECT_EQ(compact_satellite_mac(""), "");
    EXPECT_EQ(compact_satellite_mac("aabbccddeeff"), "aabbccddeeff");
    EXPECT_EQ(compact_satellite_mac("aa:bb::dd:ee:ff"), "aabb");  // scan stops at empty group
    EXPECT_EQ(compact_satellite_mac(":bb:cc"), "");
    EXPECT_EQ(compact_satellite_mac("1:2:3:4:5:6:7:8"), "123456");  // six groups only
}

TEST_F(FirmwareUpgrade, SatelliteMacLooksAtThirtyOneCharacters) {
    // 31 characters end inside the sixth group.
    std::string mac = "aaaaa:bbbbb:ccccc:ddddd:eeeee:ffffff";
    EXPECT_EQ(compact_satellite_mac(mac), "aaaaabbbbbcccccdddddeeeeef");
}

TEST_F(FirmwareUpgrade, ModelNameFallsBackToKnownDeviceTable) {
    cache_satellite0();
    fake->nvram["soapc_sat_0_DeviceInfo_GetInfo_ModelName"] = "";
    known_device_table();
    json::Ptr sats = build_satellites();
    ASSERT_TRUE(sats);
    EXPECT_STREQ(json::get_string(satellite0(sats), "modelName"), "VRS650");
    EXPECT_EQ(out, "");
}

TEST_F(FirmwareUpgrade, ModelNameFromNvramLeavesKnownDeviceTableAside) {
    cache_satellite0();
    known_device_table();
    json::Ptr sats = build_satellites();
    ASSERT_TRUE(sats);
    EXPECT_STREQ(json::get_string(satellite0(sats), "modelName"), "VRS670");
}

TEST_F(FirmwareUpgrade, FailedModelNameReadPrintsUciErrorAndLeavesItEmpty) {
    cache_satellite0();
    fake->nvram["soapc_sat_0_DeviceInfo_GetInfo_ModelName"] = "";
    fake->set_uci(kKnownDeviceDir, "knowndevices",
                  "config device '001122334455'\n\toption model 'VRS650'\n");
    json::Ptr sats = build_satellites();
    ASSERT_TRUE(sats);
    EXPECT_STREQ(json::get_string(satellite0(sats), "modelName"), "");
    EXPECT_EQ(out, "[create_satellite_fw_obj 6255] ovraUciConfig_w_get_value : UCI_ERR_NOTFOUND\n");
}

TEST_F(FirmwareUpgrade, MissingKnownDeviceTableLeavesModelNameEmpty) {
    cache_satellite0();
    fake->nvram["soapc_sat_0_DeviceInfo_GetInfo_ModelName"] = "";
    json::Ptr sats = build_satellites();
    ASSERT_TRUE(sats);
    EXPECT_STREQ(json::get_string(satellite0(sats), "modelName"), "");
    // The session's load of the table fails first, then the read.
    EXPECT_NE(out.find("ovraUciConfig_w_update : UCI_ERR_NOTFOUND\n"), std::string::npos);
    EXPECT_NE(out.find("[create_satellite_fw_obj 6255] ovraUciConfig_w_get_value : "
                       "UCI_ERR_NOTFOUND\n"),
              std::string::npos);
}

TEST_F(FirmwareUpgrade, ForcedUpgradeReportsRunningAndForcedVersionsOnce) {
    cache_satellite0();
    fake->nvram["sat_0_forceug_flag"] = "1";
    fake->nvram["sat_0_foruce_new_version"] = "2.1.0.4_7.0";
    json::Ptr sats = build_satellites();
    ASSERT_TRUE(sats);
    EXPECT_STREQ(json::get_string(satellite0(sats), "currentVersion"), "V1.9.5");
    EXPECT_STREQ(json::get_string(satellite0(sats), "newVersion"), "V2.1.0.4");
    EXPECT_EQ(fake->nvram["sat_0_forceug_flag"], "0");
    EXPECT_EQ(fake->nvram["sat_0_foruce_new_version"], "");

    json::Ptr again = build_satellites();
    ASSERT_TRUE(again);
    EXPECT_STREQ(json::get_string(satellite0(again), "currentVersion"), "V1.9.0");
    EXPECT_STREQ(json::get_string(satellite0(again), "newVersion"), "V2.0.1");
}

TEST_F(FirmwareUpgrade, ForcedUpgradeWithoutVersionGivesEmptyNewVersion) {
    cache_satellite0();
    fake->nvram["sat_0_forceug_flag"] = "1";
    json::Ptr sats = build_satellites();
    ASSERT_TRUE(sats);
    EXPECT_STREQ(json::get_string(satellite0(sats), "newVersion"), "");
    EXPECT_EQ(fake->nvram["sat_0_forceug_flag"], "0");
}

TEST_F(FirmwareUpgrade, ForcedUpgradeFlagOtherThanOneIsIgnored) {
    cache_satellite0();
    fake->nvram["sat_0_forceug_flag"] = "2";
    fake->nvram["sat_0_foruce_new_version"] = "3.0";
    json::Ptr sats = build_satellites();
    ASSERT_TRUE(sats);
    EXPECT_STREQ(json::get_string(satellite0(sats), "currentVersion"), "V1.9.0");
    EXPECT_EQ(fake->nvram["sat_0_forceug_flag"], "2");
    EXPECT_EQ(fake->nvram["sat_0_foruce_new_version"], "3.0");
}

// --- in the written report ---------------------------------------------------------------------

TEST_F(FirmwareUpgrade, BodyIsWrittenInTheAlarmReport) {
    fake->hwversion = "VRE670";
    fake->mkdir("/tmp/telem_json_dir");
    fake->on_prefix("LD_LIBRARY_PATH=/usr/share /usr/bin/awsiotpub",
                    FakeBackend::outputs("Publish done\n"));
    d.policy.report_method = "IoT";
    d.info.model = "VRE670";
    d.info.mac = "AABBCC001122";
    d.info.fw_version = "1.0.0.10";
    d.info.notTriggeredByFirmwareUpgrade = 1;
    fake->nvram["firmware_upgrade_last_status"] = "Fail";
    fake->nvram["new_firmware_version"] = "1.0.0.12";
    fake->fw_response_code = 42;
    cache_satellite0();

    testing::internal::CaptureStdout();
    int rc = create_device_json(d, 2);
    out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(rc, 0);
    EXPECT_NE(out.find("firmware_upgrade_last_status:Fail"), std::string::npos);
    EXPECT_EQ(d.info.notTriggeredByFirmwareUpgrade, 0);

    auto text = fake->read("/tmp/telem_json_dir/telem_VRE670_2.json");
    ASSERT_TRUE(text);
    json::Ptr doc = json::parse(*text);
    ASSERT_TRUE(doc);
    cJSON* body = json::get(doc.get(), "firmwareUpgradeAnalytics");
    ASSERT_TRUE(body);
    EXPECT_STREQ(json::get_string(body, "eventType"), "Fail");
    EXPECT_STREQ(json::get_string(body, "fwUpgradeTriggered"), "Not trigger");
    EXPECT_STREQ(json::get_string(body, "routerCurrentVersion"), "1.0.0.10");
    EXPECT_STREQ(json::get_string(body, "routerNewVersion"), "V1.0.0.12");
    EXPECT_STREQ(json::get_string(body, "fwCheckResult"), "No internet");
    cJSON* sat = cJSON_GetArrayItem(json::get(json::get(body, "satelliteFwInfo"), "satellite"), 0);
    ASSERT_TRUE(sat);
    EXPECT_STREQ(json::get_string(json::get(sat, "deviceInfo"), "macAddress"), "A0B1C2D3E4F5");
    EXPECT_EQ(fake->commands_containing("awsiotpub").size(), 1u);
}
