#include "state/health_alarms.h"

#include <gtest/gtest.h>

#include <string>

#include "core/daemon.h"
#include "json/json.h"
#include "support/fake_backend.h"

using testing_support::FakeBackend;
using testing_support::FakeRouter;

namespace {

std::string radio_answer(int enable, int temperature, int level) {
    return "Thermal config of radio:\n  enable: " + std::to_string(enable) +
           ", dc: 100, dc_per_event: 0\n  sensor temperature: " + std::to_string(temperature) +
           ", current level: " + std::to_string(level) + "\n  level 0: low 0, high 105\n";
}

class Thermal : public ::testing::Test {
  protected:
    void model(const std::string& hwver) {
        fake->nvram["hwver"] = hwver;
        fake->hwversion = hwver;
    }
    void radio_says(const std::string& ifname, const std::string& text) {
        fake->on_exact(
            "/usr/sbin/thermaltool -i " + ifname + " -get > /tmp/telem_thermaltool_get_wifi",
            FakeBackend::outputs(text));
    }
    std::vector<std::string> names() {
        ensure_thermal_table(d);
        std::vector<std::string> out;
        for (const auto& s : d.info.health.thermal.sensors) out.push_back(s.name);
        return out;
    }
    ThermalReading read(int index, bool* ok = nullptr) {
        ThermalReading r;
        testing::internal::CaptureStderr();
        bool got = read_thermalStatusFromCmd(d, r, index);
        err = testing::internal::GetCapturedStderr();
        if (ok) *ok = got;
        return r;
    }
    void step(int index) {
        testing::internal::CaptureStderr();
        update_thermal_sensor(d, index);
        err = testing::internal::GetCapturedStderr();
    }
    FakeRouter fake;
    Daemon d;
    std::string err;
};

TEST_F(Thermal, SensorCountsAndLayoutByModel) {
    struct Case {
        const char* hwver;
        std::vector<std::string> names;
    };
    const Case cases[] = {
        {"VRE650", {"alder-wifi0", "waikiki-wifi1", "waikiki-wifi2", "waikiki-wifi3"}},
        {"VRE660",
         {"onboard-flash1", "unknown-wifi0", "unknown-wifi1", "unknown-wifi2", "unknown-wifi3"}},
        {"VRE670", {"miami-wifi0", "waikiki-wifi1", "waikiki-wifi2"}},
        {"VRE640", {"miami-wifi0", "pebble-wifi1", "pebble-wifi2"}},
        {"VRE630", {"miami-wifi0", "pebble-wifi1"}},
        {"VRB540", {"hev2-wifi0", "hev2-wifi1"}},
        {"VRB530", {"hev2-wifi0", "hev2-wifi1"}},
        {"VRA420", {"onboard-flash1"}},
        {"VRA310", {"onboard-flash1"}},
        {"XYZ999", {"onboard-flash1"}},
    };
    for (const auto& c : cases) {
        Daemon fresh;
        fake->nvram["hwver"] = c.hwver;
        ensure_thermal_table(fresh);
        std::vector<std::string> got;
        for (const auto& s : fresh.info.health.thermal.sensors) got.push_back(s.name);
        EXPECT_EQ(got, c.names) << c.hwver;
    }
    EXPECT_EQ(thermal_sensor_count("VRE660", -1), 5);
    EXPECT_EQ(thermal_sensor_count("VRA460", 2), 1);
    EXPECT_STREQ(thermal_name_prefix(0, "wifi0"), "oak-");
    EXPECT_STREQ(thermal_name_prefix(2, "wifi0"), "alder-");
    EXPECT_STREQ(thermal_name_prefix(-1, "wifi1"), "unknown-");
}

TEST_F(Thermal, TableIsMadeOnce) {
    model("VRE650");
    ensure_thermal_table(d);
    d.info.health.thermal.sensors[0].trigger_count = 7;
    model("VRA420");
    ensure_thermal_table(d);
    ASSERT_EQ(d.info.health.thermal.sensors.size(), 4u);
    EXPECT_EQ(d.info.health.thermal.sensors[0].trigger_count, 7u);
}

TEST_F(Thermal, RadioSensorOnIndexOneCapsNewHighestAt102) {
    model("VRB540");
    fake->nvram["ra_otp_hev2-wifi0_highestTemp"] = "90";
    fake->nvram["ra_otp_hev2-wifi0_lowestTemp"] = "40";
    radio_says("wifi0", radio_answer(1, 105, 0));
    ThermalReading r = read(0);
    EXPECT_EQ(r.temperature, 102);
    EXPECT_EQ(r.enable, 1);
    EXPECT_EQ(fake->nvram["ra_otp_hev2-wifi0_highestTemp"], "102");
    EXPECT_EQ(fake->nvram["ra_otp_hev2-wifi0_lowestTemp"], "40");
    EXPECT_FALSE(fake->exists("/tmp/telem_thermaltool_get_wifi"));
}

TEST_F(Thermal, Vra310CapsAt98AndOtherModelsAreNotCapped) {
    model("VRA310");
    fake->write("/tmp/OTP_result.log", "otp off\n");
    fake->on_exact("/sbin/thermalctrl get temp > /tmp/telem_thermalctrl_get_temp",
                   FakeBackend::outputs("temp = 101\n"));
    fake->nvram["ra_otp_onboard-flash1_highestTemp"] = "60";
    fake->nvram["ra_otp_onboard-flash1_lowestTemp"] = "50";
    EXPECT_EQ(read(0).temperature, 98);
    EXPECT_EQ(fake->nvram["ra_otp_onboard-flash1_highestTemp"], "98");

    Daemon other;
    fake->nvram["hwver"] = "VRE650";
    fake->nvram["ra_otp_alder-wifi0_highestTemp"] = "90";
    fake->nvram["ra_otp_alder-wifi0_lowestTemp"] = "40";
    radio_says("wifi0", radio_answer(1, 105, 0));
    ThermalReading r;
    read_thermalStatusFromCmd(other, r, 0);
    EXPECT_EQ(r.temperature, 105);
    EXPECT_EQ(fake->nvram["ra_otp_alder-wifi0_highestTemp"], "105");
}

TEST_F(Thermal, FreshSensorSetsBothExtremesToTheReading) {
    model("VRE670");
    radio_says("wifi1", radio_answer(1, 45, 0));
    EXPECT_EQ(read(1).temperature, 45);
    EXPECT_EQ(fake->nvram["ra_otp_waikiki-wifi1_highestTemp"], "45");
    EXPECT_EQ(fake->nvram["ra_otp_waikiki-wifi1_lowestTemp"], "45");
}

TEST_F(Thermal, ZeroStoredExtremeCountsAsFresh) {
    model("VRE670");
    fake->nvram["ra_otp_miami-wifi0_highestTemp"] = "70";
    fake->nvram["ra_otp_miami-wifi0_lowestTemp"] = "0";
    radio_says("wifi0", radio_answer(1, 50, 0));
    read(0);
    EXPECT_EQ(fake->nvram["ra_otp_miami-wifi0_highestTemp"], "50");
    EXPECT_EQ(fake->nvram["ra_otp_miami-wifi0_lowestTemp"], "50");
}

TEST_F(Thermal, ReadingBelowTheLowestBecomesTheLowest) {
    model("VRE670");
    fake->nvram["ra_otp_miami-wifi0_highestTemp"] = "70";
    fake->nvram["ra_otp_miami-wifi0_lowestTemp"] = "50";
    radio_says("wifi0", radio_answer(1, 44, 0));
    read(0);
    EXPECT_EQ(fake->nvram["ra_otp_miami-wifi0_highestTemp"], "70");
    EXPECT_EQ(fake->nvram["ra_otp_miami-wifi0_lowestTemp"], "44");
}

TEST_F(Thermal, ReadingBelowOneKeepsTheExtremes) {
    model("VRE670");
    radio_says("wifi0", radio_answer(1, 0, 0));
    read(0);
    EXPECT_FALSE(fake->nvram.count("ra_otp_miami-wifi0_highestTemp"));
}

TEST_F(Thermal, ThermalToolGarbageReadsNothing) {
    model("VRE670");
    radio_says("wifi0", "enable: what\x01\xff\nsensor temperature: , current level: x\n" +
                            std::string(4000, 'z') + "\n");
    bool ok = false;
    ThermalReading r = read(0, &ok);
    EXPECT_TRUE(ok);
    EXPECT_EQ(r.enable, 0);
    EXPECT_EQ(r.temperature, 0);
    step(0);
    EXPECT_EQ(d.info.health.thermal.sensors[0].enable, 0);
    EXPECT_EQ(d.info.health.thermal.sensors[0].highest, 999);
}

TEST_F(Thermal, MissingToolOutputKeepsPreviousStatistics) {
    model("VRE670");
    ensure_thermal_table(d);
    auto& s = d.info.health.thermal.sensors[0];
    s.enable = 1;
    s.trigger_status = 1;
    s.trigger_count = 3;
    FakeBackend::Response nothing;
    nothing.remove = {"/tmp/telem_thermaltool_get_wifi"};
    fake->on_prefix("/usr/sbin/thermaltool", nothing);
    step(0);
    EXPECT_EQ(err,
              "read_thermalStatusFromCmd(171) fopen failed command=[/usr/sbin/thermaltool -i wifi0 "
              "-get > /tmp/telem_thermaltool_get_wifi]\n");
    EXPECT_EQ(s.enable, 1);
    EXPECT_EQ(s.trigger_status, 1);
    EXPECT_EQ(s.trigger_count, 3u);
}

TEST_F(Thermal, OnboardSensorReadsThermalctrlAndTheOtpLog) {
    model("VRA420");
    fake->on_exact("/sbin/thermalctrl get temp > /tmp/telem_thermalctrl_get_temp",
                   FakeBackend::outputs("cpu\ntemp = 61\n"));
    fake->write("/tmp/OTP_result.log", "level 1\nOTP on\n");
    ThermalReading r = read(0);
    EXPECT_EQ(r.temperature, 61);
    EXPECT_EQ(r.triggered, 1);
    EXPECT_EQ(r.enable, 1);
    EXPECT_FALSE(fake->exists("/tmp/telem_thermalctrl_get_temp"));
    EXPECT_TRUE(fake->exists("/tmp/OTP_result.log"));
    fake->write("/tmp/OTP_result.log", "idle\n");
    EXPECT_EQ(read(0).triggered, 0);
}

TEST_F(Thermal, OnboardSensorWithoutOtpLogIsAFailedReading) {
    model("VRA420");
    fake->on_exact("/sbin/thermalctrl get temp > /tmp/telem_thermalctrl_get_temp",
                   FakeBackend::outputs("temp = 61\n"));
    bool ok = true;
    ThermalReading r = read(0, &ok);
    EXPECT_FALSE(ok);
    EXPECT_EQ(r.enable, 0);
    EXPECT_EQ(err, "read_thermalStatusFromCmd(210) fopen failed command=[/tmp/OTP_result.log]\n");
    EXPECT_FALSE(fake->nvram.count("ra_otp_onboard-flash1_highestTemp"));
}

TEST_F(Thermal, EpisodeOf150SecondsCountsOneTriggerAndTwoMinutes) {
    model("VRE670");
    radio_says("wifi0", radio_answer(1, 80, 1));
    for (int t = 0; t <= 150; t += 5) {
        step(0);
        fake->now_uptime += 5;
    }
    const auto& s = d.info.health.thermal.sensors[0];
    EXPECT_EQ(s.trigger_status, 1);
    EXPECT_EQ(s.trigger_count, 1u);
    EXPECT_EQ(s.longest_duration, 2u);
    EXPECT_EQ(s.current_duration, 2u);
    EXPECT_EQ(s.highest, 80);
    EXPECT_EQ(s.lowest, 80);

    radio_says("wifi0", radio_answer(1, 60, 0));
    step(0);
    EXPECT_EQ(s.trigger_status, 0);
    EXPECT_EQ(s.current_duration, 0u);
    EXPECT_EQ(s.episode_start, 0u);
    EXPECT_EQ(s.longest_duration, 2u);

    // A second episode counts a second trigger.
    radio_says("wifi0", radio_answer(1, 90, 1));
    step(0);
    EXPECT_EQ(s.trigger_count, 2u);
    EXPECT_EQ(s.highest, 90);
}

TEST_F(Thermal, TriggeredExtremesTrackTheTemperature) {
    model("VRE670");
    for (int t : {80, 85, 78, 82}) {
        radio_says("wifi0", radio_answer(1, t, 1));
        step(0);
    }
    const auto& s = d.info.health.thermal.sensors[0];
    EXPECT_EQ(s.highest, 85);
    EXPECT_EQ(s.lowest, 78);
}

TEST_F(Thermal, DisabledSensorResetsItsExtremes) {
    model("VRE670");
    radio_says("wifi0", radio_answer(1, 80, 1));
    step(0);
    radio_says("wifi0", radio_answer(0, 80, 1));
    step(0);
    const auto& s = d.info.health.thermal.sensors[0];
    EXPECT_EQ(s.enable, 0);
    EXPECT_EQ(s.highest, 999);
    EXPECT_EQ(s.lowest, 999);
    EXPECT_EQ(s.trigger_status, 0);
    EXPECT_EQ(s.episode_start, 0u);
    EXPECT_EQ(s.trigger_count, 1u);
}

TEST_F(Thermal, PollReadsEverySensorOnce) {
    model("VRE650");
    fake->on_prefix("/usr/sbin/thermaltool", FakeBackend::outputs(radio_answer(1, 50, 0)));
    testing::internal::CaptureStderr();
    poll_thermal_sensors(d);
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(fake->commands,
              (std::vector<std::string>{
                  "/usr/sbin/thermaltool -i wifi0 -get > /tmp/telem_thermaltool_get_wifi",
                  "/usr/sbin/thermaltool -i wifi1 -get > /tmp/telem_thermaltool_get_wifi",
                  "/usr/sbin/thermaltool -i wifi2 -get > /tmp/telem_thermaltool_get_wifi",
                  "/usr/sbin/thermaltool -i wifi3 -get > /tmp/telem_thermaltool_get_wifi"}));
}

TEST_F(Thermal, ClearingARadioResetsItsTemperatureStatistics) {
    model("VRE670");
    radio_says("wifi1", radio_answer(1, 80, 1));
    step(1);
    clear_radio_temperature_statistics(d, 1);
    const auto& s = d.info.health.thermal.sensors[1];
    EXPECT_EQ(s.highest, 999);
    EXPECT_EQ(s.lowest, 999);
    EXPECT_EQ(s.trigger_count, 1u);
}

class Alarms : public ::testing::Test {
  protected:
    void SetUp() override {
        d.info.health.mem_total_kb = "512000";
        d.info.health.mem_free_kb = "100000";
        d.info.health.mem_used_kb = "412000";
        d.info.mem_used_percent = 80.4666;
        d.policy.memory_utilization_high = 75;
        d.info.cpu_load = 93.456;
        d.policy.cpu_threshold_high = 90;
    }
    FakeRouter fake;
    Daemon d;
};

TEST_F(Alarms, MemoryAlarmBodyMembersInOrder) {
    fake->write("/tmp/ra_meminfo.txt", "MemTotal: 512000 kB\n");
    fake->write("/tmp/ra_slabinfo.txt", "slabinfo - version: 2.1\n");
    json::Ptr o = create_memory_alarm_obj(d);
    ASSERT_TRUE(o);
    EXPECT_EQ(
        json::print_compact(o.get()),
        R"({"memoryUtilizationsAlarm":{"alarmReason":"Router's memory utilizations are too high"},)"
        R"("memoryInfo":{"memoryTotal":512000,"memoryFree":100000,"memoryUsed":412000,)"
        R"("memoryUtilization":"80.47%","memoryThreshold":"75%",)"
        R"("meminfoLog":"MemTotal: 512000 kB\n","slabinfoLog":"slabinfo - version: 2.1\n",)"
        R"("psLog":""}})");
}

TEST_F(Alarms, CpuAlarmBodyMembersInOrder) {
    fake->write("/tmp/cputest.txt", "Mem: 1K used\nCPU: 93% usr\n");
    json::Ptr o = create_cpu_alarm_obj(d);
    ASSERT_TRUE(o);
    EXPECT_EQ(
        json::print_compact(o.get()),
        R"({"cpuUtilizationsAlarm":{"alarmReason":"Router's CPU utilizations exceeded threshold"},)"
        R"("cpuInfo":{"cpuUtilizationsCurrent":"93.46%","cpuUtilizationsThresholdHigh":"90%",)"
        R"("topLog":"Mem: 1K used\nCPU: 93% usr\n"}})");
}

TEST_F(Alarms, MemoryLogLargerThanTheLimitIsCutAtALineBoundary) {
    // 100-byte lines: 102 of them make 10200 bytes, the 103rd would reach 10300.
    std::string line(99, 'm');
    line += '\n';
    std::string text;
    for (int i = 0; i < 150; ++i) text += line;
    fake->write("/tmp/ra_meminfo.txt", text);
    std::string log = read_log_below("/tmp/ra_meminfo.txt", 10240);
    EXPECT_EQ(log.size(), 10200u);
    EXPECT_EQ(log.back(), '\n');
    json::Ptr o = create_memory_alarm_obj(d);
    EXPECT_EQ(std::string(json::get_string(json::get(o.get(), "memoryInfo"), "meminfoLog")), log);
}

TEST_F(Alarms, LongLinesAreReadInPiecesOf127Bytes) {
    // One 300-byte line is three pieces: 127, 127, 46 (newline included).
    fake->write("/tmp/cputest.txt", std::string(299, 'c') + "\n");
    EXPECT_EQ(read_log_below("/tmp/cputest.txt", 8192).size(), 300u);
    EXPECT_EQ(read_log_below("/tmp/cputest.txt", 255).size(), 254u);
    EXPECT_EQ(read_log_below("/tmp/cputest.txt", 254).size(), 127u);
}

TEST_F(Alarms, TopLogIsCutBelow8192Bytes) {
    std::string text;
    for (int i = 0; i < 100; ++i) text += std::string(99, 't') + "\n";
    fake->write("/tmp/cputest.txt", text);
    json::Ptr o = create_cpu_alarm_obj(d);
    std::string log = json::get_string(json::get(o.get(), "cpuInfo"), "topLog");
    EXPECT_EQ(log.size(), 8100u);
}

TEST_F(Alarms, MissingLogsGiveEmptyTexts) {
    json::Ptr o = create_memory_alarm_obj(d);
    cJSON* info = json::get(o.get(), "memoryInfo");
    EXPECT_STREQ(json::get_string(info, "meminfoLog"), "");
    EXPECT_STREQ(json::get_string(info, "slabinfoLog"), "");
    EXPECT_STREQ(json::get_string(info, "psLog"), "");
}

}  // namespace
