#include "platform/uci_session.h"

#include <cstdio>

#include "platform/platform.h"

namespace {
constexpr const char* kUciErrorNames[] = {
    "UCI_OK",        "UCI_ERR_MEM",       "UCI_ERR_INVAL",   "UCI_ERR_NOTFOUND", "UCI_ERR_IO",
    "UCI_ERR_PARSE", "UCI_ERR_DUPLICATE", "UCI_ERR_UNKNOWN", "UCI_ERR_LAST",
};
}  // namespace

const char* uci_error_name(int code) {
    if (code < 0 || code > UCI_ERR_LAST) return "UCI_ERR_UNKNOWN";
    return kUciErrorNames[code];
}

void uci_report(const char* func, int line, const char* operation, int code) {
    std::printf("[%s %d] %s : %s\n", func, line, operation, uci_error_name(code));
}

UciSession::UciSession(std::string_view dir, std::string_view package, const char* func)
    : package_(package), func_(func) {
    int rc = ovraUciConfig_w_init();
    if (rc != UCI_OK) uci_report(func_, __LINE__, "ovraUciConfig_w_init", rc);
    rc = ovraUciConfig_w_set_config_dir(dir);
    if (rc != UCI_OK) uci_report(func_, __LINE__, "ovraUciConfig_w_set_config_dir", rc);
    status_ = ovraUciConfig_w_update(package_);
    if (status_ != UCI_OK) uci_report(func_, __LINE__, "ovraUciConfig_w_update", status_);
}

UciSession::~UciSession() {
    ovraUciConfig_w_exit();
}

std::optional<std::string> UciSession::get(std::string_view path, size_t size, bool quiet) {
    std::string value;
    int rc = ovraUciConfig_w_get_value(path, value, size);
    if (rc != UCI_OK) {
        if (!quiet) uci_report(func_, __LINE__, "ovraUciConfig_w_get_value", rc);
        return std::nullopt;
    }
    return value;
}

int UciSession::get(std::string_view path, std::string& out, size_t size) {
    std::string value;
    int rc = ovraUciConfig_w_get_value(path, value, size);
    if (rc == UCI_OK) out = std::move(value);
    return rc;
}

int UciSession::set(std::string_view path, std::string_view value) {
    int rc = ovraUciConfig_w_set_value(path, value);
    if (rc != UCI_OK) uci_report(func_, __LINE__, "ovraUciConfig_w_set_value", rc);
    return rc;
}

int UciSession::commit() {
    int rc = ovraUciConfig_w_commit(package_);
    if (rc != UCI_OK) uci_report(func_, __LINE__, "ovraUciConfig_w_commit", rc);
    return rc;
}
