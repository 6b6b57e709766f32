#include "report/bodies.h"

#include "mesh/connected_devices.h"

ReportBodies default_report_bodies() {
    ReportBodies b;
    b.connectedDeviceDetails = create_connected_device_detail_obj;
    return b;
}
