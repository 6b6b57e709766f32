#include "report/bodies.h"

#include "mesh/connected_devices.h"
#include "mesh/voice_analytics.h"
#include "report/firmware_upgrade.h"

ReportBodies default_report_bodies() {
    ReportBodies b;
    b.connectedDeviceDetails = create_connected_device_detail_obj;
    b.firmwareUpgradeAnalytics = create_firmware_upgrade_obj;
    b.avsAnalytic = create_satellite_voice_obj;
    return b;
}
