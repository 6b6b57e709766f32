#include "report/bodies.h"

#include "mesh/connected_devices.h"
#include "mesh/satellites.h"
#include "mesh/voice_analytics.h"
#include "report/firmware_upgrade.h"
#include "state/health_alarms.h"
#include "state/router_config.h"
#include "state/router_info.h"
#include "state/wifi_analytics.h"
#include "state/wifi_config.h"
#include "report/login_install.h"
#include "state/usb_reboot.h"

ReportBodies default_report_bodies() {
    ReportBodies b;
    b.routerInfo = create_router_info_obj;
    b.wifiConfig = create_wifi_config_obj;
    b.SatelliteInfo = satellite_info_body;
    b.routerConfig = create_router_config_obj;
    b.connectedDeviceDetails = create_connected_device_detail_obj;
    b.avsAnalytic = create_satellite_voice_obj;
    b.cpuUtilizations = create_cpu_alarm_obj;
    b.memoryUsage = create_memory_alarm_obj;
    b.firmwareUpgradeAnalytics = create_firmware_upgrade_obj;
    b.wifiAnalytics = create_wifi_analytics_event;
    b.kernelReboot = build_kernel_reboot_body;
    b.hubShare = create_usb_storage_obj;
    b.ssorapLoginEvent = create_sso_login_event_obj;
    b.installEvent = fill_install_event;
    return b;
}
