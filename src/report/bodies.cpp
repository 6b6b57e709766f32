#include "report/bodies.h"

#include "mesh/connected_devices.h"
#include "mesh/voice_analytics.h"
#include "mesh/satellites.h"
#include "report/firmware_upgrade.h"
#include "state/router_config.h"
#include "state/wifi_analytics.h"
#include "state/wifi_config.h"

ReportBodies default_report_bodies() {
    ReportBodies b;
    b.SatelliteInfo = satellite_info_body;
    b.connectedDeviceDetails = create_connected_device_detail_obj;
    b.firmwareUpgradeAnalytics = create_firmware_upgrade_obj;
    b.avsAnalytic = create_satellite_voice_obj;
    b.routerConfig = create_router_config_obj;
    b.wifiConfig = create_wifi_config_obj;
    b.wifiAnalytics = create_wifi_analytics_event;
    return b;
}
