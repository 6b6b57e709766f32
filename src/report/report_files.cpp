#include "report/report_files.h"

#include <algorithm>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <vector>

#include "core/daemon.h"
#include "platform/fs.h"
#include "platform/platform.h"
#include "platform/shell.h"
#include "report/publish.h"

namespace {

constexpr size_t kCopyCommandSize = 128;
// Made right after every write of the shared file.
constexpr const char* kCopyAfterWrite =
    "cat /tmp/telem_json_dir/telem_%s.json >/tmp/telem_json_dir/telem_%s_%d.json";
// Made once the report is final (after the size check, or for a retry).
constexpr const char* kCopyWhenFinal =
    "cat /tmp/telem_json_dir/telem_%s.json > /tmp/telem_json_dir/telem_%s_%d.json";
constexpr const char* kDeviceMember = "connectedDeviceDetails";
constexpr int kDevicesDroppedPerPass = 5;
constexpr int kFewestDevicesToReduce = 6;

bool telem_debug() {
    return ovraNvramConfig_match("telem_debug", "1") == 1;
}

__attribute__((format(printf, 1, 2))) void debug_console(const char* format, ...) {
    if (!telem_debug()) return;
    char line[256];
    va_list args;
    va_start(args, format);
    std::vsnprintf(line, sizeof line, format, args);
    va_end(args);
    platform::append_console(line);
}

// The copy command keeps the router's 128-byte buffer. A hardware version long enough
// to cut the line there would land the copy in a wrongly named file, so such a line is
// refused whole and no copy is made.
void copy_to_type_file(const char* format, const std::string& hw, int code) {
    auto line = shell::compose(kCopyCommandSize + hw.size() * 2 + 32, format, shell::word(hw),
                               shell::word(hw), code);
    if (line && line->size() >= kCopyCommandSize) {
        std::printf(
            "[telem_json] hardware version \"%s\" too long for the report file names, "
            "report not copied\n",
            shell::printable(hw).c_str());
        return;
    }
    shell::run(line);
}

// Prints `doc` and writes it as the report of `code`. The printed text is written
// straight from cJSON's buffer: a routine report of a crowded home is over 100 KiB,
// and a second copy of it would only raise the daemon's peak memory.
int write_printed_report(Daemon& d, const cJSON* doc, int code) {
    json::Text text = json::print(doc);
    return write_report_file(d, text ? std::string_view(text.get()) : std::string_view(), code);
}

// Replaces the device part of the routine report with one built from the reduced
// table and rewrites the report file. 0, or -1 when the file cannot be written.
int rebuild_device_details(Daemon& d, json::Ptr& doc) {
    if (doc) {
        cJSON_DeleteItemFromObject(doc.get(), kDeviceMember);
        d.reduction.device_count_override = 1;
        if (d.bodies.connectedDeviceDetails)
            json::add(doc, kDeviceMember, d.bodies.connectedDeviceDetails(d));
    }
    return write_printed_report(d, doc.get(), kRoutineReportCode);
}

// Ends a size check: the next report starts again from the collected device count.
int end_size_check(Daemon& d, int result) {
    d.reduction.reduction_state = 0;
    d.reduction.device_count_override = 0;
    return result;
}

}  // namespace

std::string shared_report_path(const std::string& hw) {
    return std::string(kReportDir) + "/telem_" + hw + ".json";
}

std::string type_report_path(const std::string& hw, int code) {
    return std::string(kReportDir) + "/telem_" + hw + "_" + std::to_string(code) + ".json";
}

bool report_copied_by_event_directory(int code) {
    return code == kWifiEventReportCode;
}

int write_report_file(Daemon& /*d*/, std::string_view text, int code) {
    if (text.empty()) return 0;
    const std::string hw = getHWVersion();
    if (!platform::write_file(shared_report_path(hw), text)) {
        if (telem_debug()) platform::append_console("Can not create JSON file.");
        return -1;
    }
    copy_to_type_file(kCopyAfterWrite, hw, code);
    return 0;
}

void reduction_offline(Daemon& d) {
    debug_console("[%s]Offline:the file size is over 128K[event type1] \n", "reduction_offline");
    auto& table = d.info.attached.entries;
    const int considered = std::clamp(d.reduction.report_device_count, 0, kMaxAttachedDevices);
    // The online entries move up in table order over the places of the dropped ones;
    // no second table is needed, as a kept entry never moves down.
    size_t kept = 0;
    for (size_t i = 0; i < static_cast<size_t>(considered); ++i) {
        if (!(table[i].conn_status == "Online")) continue;
        if (i != kept) table[kept] = std::move(table[i]);
        ++kept;
    }
    // Everything after the kept entries is cleared, to the end of the table.
    for (size_t i = kept; i < table.size(); ++i) table[i] = AttachDevEntry{};
    d.reduction.report_device_count = static_cast<int>(kept);
}

void reduction_size(Daemon& d) {
    debug_console("[%s]Online:the file size is over 128K[event type1] \n", "reduction_size");
    int& count = d.reduction.report_device_count;
    count -= kDevicesDroppedPerPass;
    for (int i = count; i < count + kDevicesDroppedPerPass; ++i)
        if (i >= 0 && i < kMaxAttachedDevices)
            d.info.attached.entries[static_cast<size_t>(i)] = AttachDevEntry{};
}

int checkjson_size(Daemon& d, json::Ptr& doc) {
    ReductionState& r = d.reduction;
    r.report_device_count = d.info.attached.num_entry;
    const std::string routine_file = type_report_path(getHWVersion(), kRoutineReportCode);
    for (;;) {
        // The size comes from the file system; a file that cannot be examined fits.
        const uint64_t size = platform::file_size(routine_file).value_or(0);
        debug_console("[%s] file_size=%d\n", "checkjson_size", static_cast<int>(size));
        if (static_cast<uint32_t>(size) < kReportSizeLimit) return end_size_check(d, 0);

        if (r.report_device_count < kFewestDevicesToReduce) {
            debug_console("[%s] the number of connection devices are less six\n",
                          "create_device_json");
            doc.reset();
            return end_size_check(d, -3);
        }
        if (r.reduction_state == 1) {
            reduction_size(d);
        } else {
            reduction_offline(d);
            r.reduction_state = 1;
        }
        if (rebuild_device_details(d, doc) != 0) {
            doc.reset();
            return end_size_check(d, -3);
        }
    }
}

int write_report(Daemon& d, json::Ptr& doc, int code) {
    if (!retry_pending(d.publish, code)) {
        if (write_printed_report(d, doc.get(), code) != 0) {
            doc.reset();
            return -3;
        }
        if (code == kRoutineReportCode && checkjson_size(d, doc) != 0) return -3;
    }
    // A pending retry republishes the shared file as it stands, whatever event type
    // wrote it last.
    if (!report_copied_by_event_directory(code)) copy_report_to_type_file(code);
    return 0;
}

void copy_report_to_type_file(int code) {
    copy_to_type_file(kCopyWhenFinal, getHWVersion(), code);
}
