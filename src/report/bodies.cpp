#include "report/bodies.h"

#include "mesh/connected_devices.h"
#include "report/firmware_upgrade.h"
#include "report/login_install.h"
#include "state/usb_reboot.h"

ReportBodies default_report_bodies() {
    ReportBodies b;
    b.connectedDeviceDetails = create_connected_device_detail_obj;
    b.firmwareUpgradeAnalytics = create_firmware_upgrade_obj;
    b.kernelReboot = build_kernel_reboot_body;
    b.hubShare = create_usb_storage_obj;
    b.ssorapLoginEvent = create_sso_login_event_obj;
    b.installEvent = fill_install_event;
    return b;
}
