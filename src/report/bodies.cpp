#include "report/bodies.h"

#include "mesh/connected_devices.h"
#include "mesh/satellites.h"
#include "report/firmware_upgrade.h"

ReportBodies default_report_bodies() {
    ReportBodies b;
    b.SatelliteInfo = satellite_info_body;
    b.connectedDeviceDetails = create_connected_device_detail_obj;
    b.firmwareUpgradeAnalytics = create_firmware_upgrade_obj;
    return b;
}
