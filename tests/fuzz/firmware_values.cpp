// The firmware-upgrade and SOAP client values other services keep in nvram: the input
// is split into the values of the keys the firmware report reads.
#include "core/daemon.h"
#include "fuzz_support.h"
#include "report/firmware_upgrade.h"

namespace {
const char* const kKeys[] = {
    "firmware_upgrade_last_status",
    "vyro_wiz_stage",
    "currentDLmethod",
    "check_fw_debug",
    "check_fw_path_ra",
    "control_cloud_backend_download_url",
    "control_cloud_backend_fw_url",
    "control_cloud_backend_return_url",
    "new_firmware_version",
    "telem_fw_last_check_time",
    "soapc_sat_access_count",
    "soapc_sat_0_mac",
    "soapc_sat_0_DeviceInfo_GetInfo_ModelName",
    "soapc_sat_0_DeviceInfo_GetInfo_SerialNumber",
    "soapc_sat_0_DeviceInfo_GetInfo_FirmwareDLmethod",
    "soapc_sat_0_DeviceInfo_GetInfo_Firmwareversion",
    "soapc_sat_0_DeviceConfig_CheckAndDownloadNewFirmware_CurrentVersion",
    "soapc_sat_0_DeviceConfig_CheckAndDownloadNewFirmware_FwDownloadFolderFromRouter",
    "soapc_sat_0_DeviceConfig_CheckAndDownloadNewFirmware_FwDownloadUrl",
    "soapc_sat_0_DeviceConfig_CheckAndDownloadNewFirmware_FwDownloadVersionFromRouter",
    "soapc_sat_0_DeviceConfig_CheckAndDownloadNewFirmware_NewVersion",
    "soapc_sat_0_DeviceConfig_CheckAndDownloadNewFirmware_response",
    "soapc_sat_1_mac",
};
constexpr size_t kKeyCount = sizeof kKeys / sizeof kKeys[0];
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::quiet();
    testing_support::FakeRouter fake;
    const auto values = fuzz::pieces(fuzz::text(data, size), kKeyCount);
    for (size_t i = 0; i < kKeyCount; ++i) fake->nvram[kKeys[i]] = values[i];
    fake->set_uci("/opt/cache/system/device-info-table", "knowndevices", values.back());
    Daemon d;
    json::Ptr fw = create_firmware_upgrade_obj(d);
    json::Ptr sats = create_satellite_fw_obj();
    return 0;
}
