#include "mesh/device_uci.h"

#include "platform/platform.h"

DeviceUci::DeviceUci() {
    ovraUciConfig_w_init();
}

DeviceUci::~DeviceUci() {
    ovraUciConfig_w_exit();
}

bool DeviceUci::use_dir(std::string_view dir) {
    if (ovraUciConfig_w_set_config_dir(dir) != UCI_OK) return false;
    dir_ = std::string(dir);
    return true;
}

bool DeviceUci::ensure_loaded(std::string_view package) {
    for (Loaded& l : loaded_) {
        if (l.package != package) continue;
        if (l.dir == dir_) return l.ok;
        l.dir = dir_;
        l.ok = ovraUciConfig_w_update(package) == UCI_OK;
        return l.ok;
    }
    bool ok = ovraUciConfig_w_update(package) == UCI_OK;
    loaded_.push_back({std::string(package), dir_, ok});
    return ok;
}

bool DeviceUci::read(std::string_view path, std::string& out, size_t size) {
    size_t dot = path.find('.');
    if (dot == std::string_view::npos) return false;
    // A package missing from this directory is not asked again for every option.
    if (!ensure_loaded(path.substr(0, dot))) return false;
    return ovraUciConfig_w_get_value(path, out, size) == UCI_OK;
}

std::string DeviceUci::get(std::string_view path, size_t size) {
    std::string value;
    if (!read(path, value, size)) value.clear();
    return value;
}

std::string DeviceUci::option(std::string_view package, std::string_view section,
                              std::string_view option, size_t size) {
    path_.assign(package).append(".").append(section).append(".").append(option);
    return get(path_, size);
}
