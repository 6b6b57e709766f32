#include "report/report_files.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <regex>
#include <string>
#include <vector>

#include "core/daemon.h"
#include "support/fake_backend.h"

using testing_support::FakeBackend;
using testing_support::FakeRouter;

namespace {

const std::string kShared = "/tmp/telem_json_dir/telem_VRE670.json";

std::string type_file(int code) {
    return "/tmp/telem_json_dir/telem_VRE670_" + std::to_string(code) + ".json";
}
std::string copy_after_write(int code) {
    return "cat /tmp/telem_json_dir/telem_VRE670.json >" + type_file(code);
}
std::string copy_when_final(int code) {
    return "cat /tmp/telem_json_dir/telem_VRE670.json > " + type_file(code);
}

// What the shell does with "cat SRC >DST": DST is created (empty when SRC is missing)
// and holds SRC's content.
void simulate_report_copies(FakeBackend& fake) {
    fake.on_prefix("cat /tmp/telem_json_dir/", [&fake](const std::string& cmd) {
        static const std::regex form(R"(^cat (\S+) ?> ?(\S+)$)");
        std::smatch m;
        FakeBackend::Response r;
        if (!std::regex_match(cmd, m, form) || m[2].str() == "/dev/console") return r;
        if (auto content = fake.read(m[1].str())) r.files[m[2].str()] = *content;
        return r;
    });
}

std::string mac_of(int index) {
    char mac[18];
    std::snprintf(mac, sizeof mac, "AA:BB:CC:00:00:%02X", index);
    return mac;
}

void add_device(Daemon& d, const std::string& name, bool online) {
    AttachedDevices& a = d.info.attached;
    AttachDevEntry& e = a.entries[static_cast<size_t>(a.num_entry)];
    e.name = name;
    e.conn_status = online ? "Online" : "Offline";
    e.macaddr = mac_of(a.num_entry);
    ++a.num_entry;
}

// Extra bytes each device entry carries, so the tests can size the report freely (the
// real builder bounds every text it writes).
size_t entry_padding = 0;

json::Ptr sized_device_list(Daemon& d) {
    json::Ptr list = json::array();
    for (int i = 0; i < d.reduction.report_device_count; ++i) {
        const AttachDevEntry& e = d.info.attached.entries[static_cast<size_t>(i)];
        json::Ptr dev = json::object();
        json::add_string(dev.get(), "deviceName", e.name);
        json::add_string(dev.get(), "macAddress", e.macaddr);
        json::add_string(dev.get(), "connStatus", e.conn_status);
        if (entry_padding) json::add_string(dev.get(), "padding", std::string(entry_padding, 'p'));
        json::add_to_array(list.get(), std::move(dev));
    }
    return list;
}

// A routine report: a header, the device part, and a padding member after it.
json::Ptr routine_report(Daemon& d, const std::string& pad = "") {
    d.bodies.connectedDeviceDetails = sized_device_list;
    json::Ptr doc = json::object();
    json::Ptr header = json::object();
    json::add_number(header.get(), "eventType", 1);
    json::add(doc, "routerHardware", std::move(header));
    d.reduction.report_device_count = d.info.attached.num_entry;
    json::add(doc, "connectedDeviceDetails", d.bodies.connectedDeviceDetails(d));
    json::add_string(doc.get(), "avsAnalytic", pad);
    return doc;
}

size_t printed_size(const json::Ptr& doc) {
    return json::print_string(doc.get()).size();
}

// Padding that makes one device entry of the device part `entry_size` bytes long in the
// printed report.
size_t padding_for_entry_size(size_t entry_size) {
    entry_padding = 1;
    Daemon one, two;
    add_device(one, "", true);
    add_device(two, "", true);
    add_device(two, "", true);
    const size_t overhead = printed_size(routine_report(two)) - printed_size(routine_report(one));
    return entry_size > overhead ? entry_size - overhead + 1 : 1;
}

// Console lines of the size check (the device builder's own debug line is left out).
std::vector<std::string> size_check_lines(const FakeBackend& fake) {
    std::vector<std::string> lines;
    std::string text = fake.console();
    size_t start = 0;
    while (start < text.size()) {
        size_t end = text.find('\n', start);
        end = end == std::string::npos ? text.size() : end + 1;
        std::string line = text.substr(start, end - start);
        if (line.rfind("[create_connected_device_detail_obj]", 0) != 0) lines.push_back(line);
        start = end;
    }
    return lines;
}

std::string size_line(uint64_t size) {
    return "[checkjson_size] file_size=" + std::to_string(size) + "\n";
}
const std::string kOfflineLine =
    "[reduction_offline]Offline:the file size is over 128K[event type1] \n";
const std::string kSizeLine = "[reduction_size]Online:the file size is over 128K[event type1] \n";
const std::string kGiveUpLine =
    "[create_device_json] the number of connection devices are less six\n";

class ReportFiles : public ::testing::Test {
  protected:
    void SetUp() override {
        entry_padding = 0;
        fake->mkdir("/tmp/telem_json_dir");
        simulate_report_copies(*fake);
    }
    void TearDown() override { entry_padding = 0; }
    // Records the report device count at every write of the routine report.
    void record_counts_at_each_write() {
        fake->on_prefix(copy_after_write(1), [this](const std::string&) {
            counts_at_write.push_back(d.reduction.report_device_count);
            FakeBackend::Response r;
            r.files[type_file(1)] = fake->read(kShared).value_or("");
            return r;
        });
    }
    uint64_t type_file_size(int code) { return fake->read(type_file(code)).value_or("").size(); }

    FakeRouter fake;
    Daemon d;
    std::vector<int> counts_at_write;
};

// --- report writer ---------------------------------------------------------------------

TEST_F(ReportFiles, WriterWritesSharedFileAndMakesTypeCopy) {
    EXPECT_EQ(write_report_file(d, "{\"a\":1}", 2), 0);
    EXPECT_EQ(fake->read(kShared), "{\"a\":1}");
    EXPECT_EQ(fake->commands, std::vector<std::string>{copy_after_write(2)});
    EXPECT_EQ(fake->read(type_file(2)), "{\"a\":1}");
}

TEST_F(ReportFiles, WriterTruncatesThePreviousReport) {
    fake->write(kShared, "a much longer earlier report");
    EXPECT_EQ(write_report_file(d, "short", 0), 0);
    EXPECT_EQ(fake->read(kShared), "short");
}

TEST_F(ReportFiles, EmptyTextWritesNoFileAndCountsAsSuccess) {
    EXPECT_EQ(write_report_file(d, "", 1), 0);
    EXPECT_FALSE(fake->exists(kShared));
    EXPECT_TRUE(fake->commands.empty());
}

TEST_F(ReportFiles, UncreatableFileGivesMinusOneAndConsoleLineInDebug) {
    std::filesystem::remove_all(fake->root() + "/tmp/telem_json_dir");
    fake->nvram["telem_debug"] = "1";
    EXPECT_EQ(write_report_file(d, "{}", 2), -1);
    EXPECT_EQ(fake->console(), "Can not create JSON file.");
    EXPECT_TRUE(fake->commands.empty());
}

TEST_F(ReportFiles, UncreatableFileWritesNoConsoleLineWithoutDebug) {
    std::filesystem::remove_all(fake->root() + "/tmp/telem_json_dir");
    EXPECT_EQ(write_report_file(d, "{}", 2), -1);
    EXPECT_EQ(fake->console(), "");
}

TEST_F(ReportFiles, CopyCommandThatWouldNotFit128ByteBufferIsRefused) {
    // 130 characters: cut at 127 the copy would land in "telem_..._2.js".
    fake->hwversion = "ABCDEFGHIJKLMNOPQRSTUVWXYZ0123";  // 30 characters
    testing::internal::CaptureStdout();
    EXPECT_EQ(write_report_file(d, "{}", 2), 0);
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_TRUE(fake->commands.empty());
    EXPECT_EQ(out,
              "[telem_json] hardware version \"ABCDEFGHIJKLMNOPQRSTUVWXYZ0123\" too long for the "
              "report file names, report not copied\n");
}

TEST_F(ReportFiles, HostileHardwareVersionRunsNoCopy) {
    fake->hwversion = "X;reboot";
    testing::internal::CaptureStdout();
    EXPECT_EQ(write_report_file(d, "{}", 2), 0);
    std::string out = testing::internal::GetCapturedStdout();
    EXPECT_TRUE(fake->commands.empty());
    EXPECT_NE(out.find("refused"), std::string::npos);
}

// --- writing one report ----------------------------------------------------------------

TEST_F(ReportFiles, ReportIsPrintedFormattedAndCopiedTwice) {
    json::Ptr doc = json::object();
    json::add_string(doc.get(), "cpuUtilizations", "90");
    const std::string expected = json::print_string(doc.get());
    ASSERT_NE(expected.find('\t'), std::string::npos);  // formatted print
    EXPECT_EQ(write_report(d, doc, 2), 0);
    EXPECT_EQ(fake->read(kShared), expected);
    EXPECT_EQ(fake->read(type_file(2)), expected);
    EXPECT_EQ(fake->commands, (std::vector<std::string>{copy_after_write(2), copy_when_final(2)}));
    EXPECT_TRUE(doc);  // the caller deletes the document
}

TEST_F(ReportFiles, PendingRetryCopiesSharedFileAsItStands) {
    fake->write(kShared, "{\"lastWritten\":\"routine\"}");
    fake->write(type_file(2), "{\"old\":\"alarm\"}");
    d.publish.retry[2].first = 1;
    json::Ptr none;
    EXPECT_EQ(write_report(d, none, 2), 0);
    EXPECT_EQ(fake->commands, std::vector<std::string>{copy_when_final(2)});
    EXPECT_EQ(fake->read(type_file(2)), "{\"lastWritten\":\"routine\"}");
}

TEST_F(ReportFiles, PendingRetryOfRoutineReportSkipsSizeCheck) {
    fake->write(kShared, std::string(200000, 'x'));
    fake->nvram["telem_debug"] = "1";
    d.publish.retry[1].second = 2;
    for (int i = 0; i < 10; ++i) add_device(d, "dev", false);
    json::Ptr none;
    EXPECT_EQ(write_report(d, none, 1), 0);
    EXPECT_EQ(fake->commands, std::vector<std::string>{copy_when_final(1)});
    EXPECT_EQ(fake->console(), "");
    EXPECT_EQ(d.info.attached.entries[0].name, "dev");
}

TEST_F(ReportFiles, WriteFailureEndsReportWithMinusThreeAndDeletesDocument) {
    std::filesystem::remove_all(fake->root() + "/tmp/telem_json_dir");
    json::Ptr doc = json::object();
    json::add_string(doc.get(), "x", "y");
    EXPECT_EQ(write_report(d, doc, 2), -3);
    EXPECT_FALSE(doc);
    EXPECT_TRUE(fake->commands.empty());
}

TEST_F(ReportFiles, WifiEventReportGetsNoSecondCopy) {
    json::Ptr doc = json::object();
    json::add_string(doc.get(), "wifiConnectEvent", "e");
    EXPECT_TRUE(report_copied_by_event_directory(3));
    EXPECT_FALSE(report_copied_by_event_directory(2));
    EXPECT_EQ(write_report(d, doc, 3), 0);
    EXPECT_EQ(fake->commands, std::vector<std::string>{copy_after_write(3)});
}

TEST_F(ReportFiles, OtherEventTypesAreNeverHeldToSizeLimit) {
    fake->nvram["telem_debug"] = "1";
    for (int i = 0; i < 40; ++i) add_device(d, "dev" + std::to_string(i), i % 2 == 0);
    for (int code : {0, 2, 4, 6}) {
        fake->commands.clear();
        json::Ptr doc = json::object();
        json::add_string(doc.get(), "body", std::string(300000, 'b'));
        EXPECT_EQ(write_report(d, doc, code), 0);
        EXPECT_GE(type_file_size(code), 300000u);
        EXPECT_EQ(fake->commands,
                  (std::vector<std::string>{copy_after_write(code), copy_when_final(code)}));
    }
    EXPECT_EQ(fake->console(), "");
    EXPECT_EQ(d.info.attached.entries[1].name, "dev1");
    EXPECT_EQ(d.reduction.reduction_state, 0);
}

// --- the size check ----------------------------------------------------------------------

TEST_F(ReportFiles, RoutineReportOfExactly131072BytesIsReduced) {
    for (int i = 0; i < 10; ++i) add_device(d, "device" + std::to_string(i), i != 3 && i != 7);
    const size_t base = printed_size(routine_report(d));
    json::Ptr doc = routine_report(d, std::string(131072 - base, 'p'));
    ASSERT_EQ(printed_size(doc), 131072u);
    fake->nvram["telem_debug"] = "1";
    record_counts_at_each_write();

    EXPECT_EQ(write_report(d, doc, 1), 0);
    EXPECT_EQ(counts_at_write, (std::vector<int>{10, 8}));
    const uint64_t reduced = type_file_size(1);
    EXPECT_LT(reduced, 131072u);
    EXPECT_EQ(size_check_lines(*fake),
              (std::vector<std::string>{size_line(131072), kOfflineLine, size_line(reduced)}));
    EXPECT_EQ(d.reduction.report_device_count, 8);
    EXPECT_EQ(d.reduction.reduction_state, 0);
    EXPECT_EQ(fake->commands.back(), copy_when_final(1));
}

TEST_F(ReportFiles, RoutineReportOf131071BytesIsNotReduced) {
    for (int i = 0; i < 10; ++i) add_device(d, "device" + std::to_string(i), i != 3 && i != 7);
    const size_t base = printed_size(routine_report(d));
    json::Ptr doc = routine_report(d, std::string(131071 - base, 'p'));
    ASSERT_EQ(printed_size(doc), 131071u);
    const std::string original = json::print_string(doc.get());
    fake->nvram["telem_debug"] = "1";
    record_counts_at_each_write();

    EXPECT_EQ(write_report(d, doc, 1), 0);
    EXPECT_EQ(counts_at_write, std::vector<int>{10});
    EXPECT_EQ(fake->read(type_file(1)), original);
    EXPECT_EQ(size_check_lines(*fake), std::vector<std::string>{size_line(131071)});
    EXPECT_EQ(d.reduction.report_device_count, 10);
    EXPECT_EQ(d.info.attached.entries[3].name, "device3");
}

TEST_F(ReportFiles, FortyDevicesTenOfflineShrinkTo30Then25Then20) {
    entry_padding = padding_for_entry_size(5800);
    for (int i = 0; i < 40; ++i) add_device(d, "dev" + std::to_string(i % 10), i % 4 != 1);
    json::Ptr doc = routine_report(d);
    ASSERT_GE(printed_size(doc), 131072u);
    fake->nvram["telem_debug"] = "1";
    std::vector<uint64_t> sizes;
    fake->on_prefix(copy_after_write(1), [this, &sizes](const std::string&) {
        counts_at_write.push_back(d.reduction.report_device_count);
        FakeBackend::Response r;
        r.files[type_file(1)] = fake->read(kShared).value_or("");
        sizes.push_back(r.files[type_file(1)].size());
        return r;
    });

    EXPECT_EQ(write_report(d, doc, 1), 0);
    EXPECT_EQ(counts_at_write, (std::vector<int>{40, 30, 25, 20}));
    ASSERT_EQ(sizes.size(), 4u);
    EXPECT_GE(sizes[1], 131072u);
    EXPECT_GE(sizes[2], 131072u);
    EXPECT_LT(sizes[3], 131072u);
    EXPECT_EQ(
        size_check_lines(*fake),
        (std::vector<std::string>{size_line(sizes[0]), kOfflineLine, size_line(sizes[1]), kSizeLine,
                                  size_line(sizes[2]), kSizeLine, size_line(sizes[3])}));
    // The 20 kept are the first 20 online devices, in table order; the rest is cleared.
    int online_seen = 0;
    for (int i = 0; i < 40 && online_seen < 20; ++i) {
        if (i % 4 == 1) continue;
        EXPECT_EQ(d.info.attached.entries[static_cast<size_t>(online_seen)].macaddr, mac_of(i));
        ++online_seen;
    }
    for (int i = 20; i < kMaxAttachedDevices; ++i)
        EXPECT_TRUE(d.info.attached.entries[static_cast<size_t>(i)].conn_status.empty()) << i;
    EXPECT_EQ(d.reduction.reduction_state, 0);
    EXPECT_EQ(d.reduction.device_count_override, 0);
}

TEST_F(ReportFiles, SixDevicesLeftGoToOneThenTheCheckGivesUp) {
    for (int i = 0; i < 11; ++i) add_device(d, "dev" + std::to_string(i), i % 2 == 0);
    // Too large whatever the devices: the padding alone is over the limit.
    json::Ptr doc = routine_report(d, std::string(131072, 'p'));
    fake->nvram["telem_debug"] = "1";
    record_counts_at_each_write();

    EXPECT_EQ(write_report(d, doc, 1), -3);
    EXPECT_FALSE(doc);
    EXPECT_EQ(counts_at_write, (std::vector<int>{11, 6, 1}));
    const std::vector<std::string> lines = size_check_lines(*fake);
    ASSERT_EQ(lines.size(), 6u);
    EXPECT_EQ(lines[1], kOfflineLine);
    EXPECT_EQ(lines[3], kSizeLine);
    EXPECT_EQ(lines[5], kGiveUpLine);
    EXPECT_EQ(d.reduction.reduction_state, 0);
    EXPECT_EQ(d.reduction.device_count_override, 0);
    // The oversized report is not made final.
    EXPECT_TRUE(fake->commands_containing("> /tmp/telem_json_dir/telem_VRE670_1.json").empty());
}

TEST_F(ReportFiles, FiveDevicesOrFewerGiveUpAtOnce) {
    for (int i = 0; i < 5; ++i) add_device(d, "dev", true);
    json::Ptr doc = routine_report(d, std::string(140000, 'p'));
    fake->nvram["telem_debug"] = "1";
    EXPECT_EQ(write_report(d, doc, 1), -3);
    EXPECT_FALSE(doc);
    EXPECT_EQ(size_check_lines(*fake)[1], kGiveUpLine);
    EXPECT_EQ(d.info.attached.entries[4].name, "dev");
}

TEST_F(ReportFiles, RebuiltDevicePartStandsLastAmongRootMembers) {
    for (int i = 0; i < 8; ++i) add_device(d, "dev", i != 0);
    json::Ptr doc = routine_report(d, "short");
    // The routine file on disk is oversized; the rebuilt report is small and fits.
    fake->write(type_file(1), std::string(131072, 'x'));
    EXPECT_EQ(checkjson_size(d, doc), 0);
    ASSERT_TRUE(doc);
    std::vector<std::string> names;
    for (const cJSON* c = doc->child; c; c = c->next) names.emplace_back(c->string);
    EXPECT_EQ(names, (std::vector<std::string>{"routerHardware", "avsAnalytic",
                                               "connectedDeviceDetails"}));
    json::Ptr written = json::parse(*fake->read(type_file(1)));
    ASSERT_TRUE(written);
    EXPECT_STREQ(cJSON_GetArrayItem(written.get(), 2)->string, "connectedDeviceDetails");
    EXPECT_EQ(d.reduction.report_device_count, 7);
}

TEST_F(ReportFiles, RewriteFailureDuringReductionEndsWithMinusThree) {
    for (int i = 0; i < 10; ++i) add_device(d, "dev", i != 0);
    json::Ptr doc = routine_report(d, std::string(140000, 'p'));
    // After the first write the shared file's place is taken by a directory.
    fake->on_prefix(copy_after_write(1), [this](const std::string&) {
        FakeBackend::Response r;
        r.files[type_file(1)] = fake->read(kShared).value_or("");
        std::filesystem::remove(fake->root() + kShared);
        fake->mkdir(kShared);
        return r;
    });
    EXPECT_EQ(write_report(d, doc, 1), -3);
    EXPECT_FALSE(doc);
    EXPECT_EQ(d.reduction.reduction_state, 0);
    EXPECT_EQ(d.reduction.device_count_override, 0);
    EXPECT_TRUE(fake->commands_containing("> /tmp/telem_json_dir/telem_VRE670_1.json").empty());
}

TEST_F(ReportFiles, MissingRoutineFileCountsAsFitting) {
    fake->nvram["telem_debug"] = "1";
    for (int i = 0; i < 10; ++i) add_device(d, "dev", false);
    json::Ptr doc = routine_report(d);
    EXPECT_EQ(checkjson_size(d, doc), 0);
    EXPECT_TRUE(doc);
    EXPECT_EQ(fake->console(), size_line(0));
    EXPECT_EQ(d.reduction.report_device_count, 10);
}

TEST_F(ReportFiles, SizeCheckStartsFromCollectedCountAndWritesNoConsoleWithoutDebug) {
    for (int i = 0; i < 12; ++i) add_device(d, "dev", true);
    d.reduction.report_device_count = 3;
    d.reduction.reduction_state = 1;  // left over: the check ends by resetting it
    fake->write(type_file(1), "{}");
    json::Ptr doc = routine_report(d);
    d.reduction.report_device_count = 3;
    EXPECT_EQ(checkjson_size(d, doc), 0);
    EXPECT_EQ(d.reduction.report_device_count, 12);
    EXPECT_EQ(d.reduction.reduction_state, 0);
    EXPECT_EQ(fake->console(), "");
}

TEST_F(ReportFiles, SizeIsComparedAsUnsigned32BitNumber) {
    // A file of 4 GiB + 10 bytes reads as 10 in 32 bits and fits; a sparse file keeps
    // the test cheap.
    fake->write(type_file(1), "");
    std::filesystem::resize_file(fake->root() + type_file(1), (uint64_t{1} << 32) + 10);
    json::Ptr doc = routine_report(d);
    EXPECT_EQ(checkjson_size(d, doc), 0);
    EXPECT_TRUE(doc);
}

// --- reduction steps ---------------------------------------------------------------------

TEST_F(ReportFiles, ReductionOfflineKeepsOnlineEntriesAmongCountedOnes) {
    const char* statuses[] = {"Online", "Offline", "Online", "", "Online", "Online", "Online"};
    for (int i = 0; i < 7; ++i) {
        add_device(d, "dev" + std::to_string(i), true);
        d.info.attached.entries[static_cast<size_t>(i)].conn_status = statuses[i];
    }
    d.reduction.report_device_count = 5;
    fake->nvram["telem_debug"] = "1";
    reduction_offline(d);
    EXPECT_EQ(d.reduction.report_device_count, 3);
    EXPECT_EQ(d.info.attached.entries[0].name, "dev0");
    EXPECT_EQ(d.info.attached.entries[1].name, "dev2");
    EXPECT_EQ(d.info.attached.entries[2].name, "dev4");
    // Every entry past the kept ones is cleared, counted or not.
    for (int i = 3; i < kMaxAttachedDevices; ++i) {
        EXPECT_TRUE(d.info.attached.entries[static_cast<size_t>(i)].name.empty()) << i;
        EXPECT_TRUE(d.info.attached.entries[static_cast<size_t>(i)].conn_status.empty()) << i;
    }
    EXPECT_EQ(d.info.attached.num_entry, 7);  // the collected count is not touched
    EXPECT_EQ(fake->console(), kOfflineLine);
}

TEST_F(ReportFiles, ReductionSizeClearsTheFiveEntriesPastTheNewCount) {
    for (int i = 0; i < 14; ++i) add_device(d, "dev" + std::to_string(i), true);
    d.reduction.report_device_count = 12;
    reduction_size(d);
    EXPECT_EQ(d.reduction.report_device_count, 7);
    for (int i = 0; i < 7; ++i)
        EXPECT_EQ(d.info.attached.entries[static_cast<size_t>(i)].name, "dev" + std::to_string(i));
    for (int i = 7; i < 12; ++i)
        EXPECT_TRUE(d.info.attached.entries[static_cast<size_t>(i)].name.empty()) << i;
    EXPECT_EQ(d.info.attached.entries[12].name, "dev12");
    EXPECT_EQ(fake->console(), "");
}

TEST_F(ReportFiles, ReportPathsNameTheHardwareVersion) {
    EXPECT_EQ(shared_report_path("VRE670"), kShared);
    EXPECT_EQ(type_report_path("VRE670", 6), type_file(6));
}

}  // namespace
