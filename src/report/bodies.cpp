#include "report/bodies.h"

#include "mesh/connected_devices.h"
#include "report/firmware_upgrade.h"
#include "state/health_alarms.h"
#include "state/router_info.h"

ReportBodies default_report_bodies() {
    ReportBodies b;
    b.routerInfo = create_router_info_obj;
    b.cpuUtilizations = create_cpu_alarm_obj;
    b.memoryUsage = create_memory_alarm_obj;
    b.connectedDeviceDetails = create_connected_device_detail_obj;
    b.firmwareUpgradeAnalytics = create_firmware_upgrade_obj;
    return b;
}
