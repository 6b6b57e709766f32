#include "core/features.h"

#include <string>

#include "core/config.h"
#include "core/daemon.h"
#include "platform/fs.h"
#include "platform/platform.h"
#include "platform/shell.h"

namespace {

std::string module_dir() {
    return std::string("/lib/modules/") + config::kKernelVersion + "/";
}

bool any_exists(std::initializer_list<std::string> paths) {
    for (const auto& p : paths)
        if (platform::file_exists(p)) return true;
    return false;
}

// A process probe: the first line of the filtered process list, when there is one.
bool process_running(const char* command, const char* outfile) {
    auto line = shell::capture_first_line(std::string(command), outfile, 256);
    return line && !line->empty();
}

}  // namespace

void detect_features(Daemon& d) {
    FeatureFlags& f = d.info.features;
    const std::string mod = module_dir();
    f.traffic_classification =
        any_exists({mod + "IDP.ko", mod + "bw_forward.ko", mod + "tc_cmd.ko", mod + "tdts.ko",
                    mod + "tdts_udb.ko", mod + "tdts_udbfw.ko"});
    f.gaming_qos = platform::file_exists("/usr/sbin/gbsd");
    f.remote_access_cloud = platform::file_exists("/opt/broken/hubcloud_control.cgi");
    f.netusb = any_exists({mod + "NetUSB.ko", mod + "GPL_NetUSB.ko"});
    f.usb = 1;
    f.openvpn = platform::file_exists("/usr/local/sbin/openvpn");
    f.camera_hub = platform::file_exists("/bin/camhub-manager");
    f.not_cable_model = ovraNvramConfig_get("hwver") != "VCA310";
    f.photo_sharing = platform::file_exists("/usr/sbin/check_kwilt");
    f.download_manager = any_exists({"/usr/sbin/amuled", "/usr/sbin/transmission-cli"});
    bool zt = platform::file_exists("/usr/bin/zt");
    if (platform::file_exists("/usr/bin/circlectl") && zt) {
        f.circle = 1;
    } else if (process_running("ps | grep spc-circle | grep -v grep > /tmp/telem_spc_circle.txt",
                               "/tmp/telem_spc_circle.txt")) {
        f.circle = 1;
        f.circle_in_container = 1;
    }
    if (platform::file_exists("/opt/bitdefender/bin/bdagent-manage") && zt) {
        f.security_service = 1;
    } else if (process_running("ps | grep shield-bd | grep -v grep > /tmp/telem_shield_bd.txt",
                               "/tmp/telem_shield_bd.txt")) {
        f.security_service = 1;
        f.security_in_container = 1;
    }
    f.bridge_hijack = platform::file_exists(mod + "ovra/br_hijack.ko");
}
