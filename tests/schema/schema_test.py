#!/usr/bin/env python3
"""Checks of the published format in schemas/: the schemas themselves, every golden
document against the schema it is mapped to (goldens.txt), the hand-written sample
reports, and documents that break the format, which must fail with the member's path
and the rule broken.

    schema_test.py SOURCE_DIR
"""
import copy
import importlib.util
import json
import os
import subprocess
import sys
import tempfile
import unittest

SRC = os.path.abspath(sys.argv.pop(1) if len(sys.argv) > 1 else os.path.join(os.path.dirname(__file__), "..", ".."))
SCHEMAS = os.path.join(SRC, "schemas")
GOLDEN = os.path.join(SRC, "tests", "golden")
HERE = os.path.join(SRC, "tests", "schema")
TOOL = os.path.join(SRC, "tools", "validate_report.py")

loader_entry = importlib.util.spec_from_file_location("validate_report", TOOL)
vr = importlib.util.module_from_spec(loader_entry)
loader_entry.loader.exec_module(vr)
BY_NAME, BY_ID = vr.load_schemas(SCHEMAS, check=True)


def problems(document, schema="report.schema.json"):
    validator = vr.make_validator(BY_NAME[schema], BY_ID)
    return vr.violations(validator, document)


def load(path):
    with open(path, encoding="utf-8") as f:
        return json.load(f)


def golden_map():
    entries = {}
    with open(os.path.join(HERE, "goldens.txt"), encoding="utf-8") as f:
        for line in f:
            line = line.split("#", 1)[0].split()
            if not line:
                continue
            golden, schema = line[0], line[1]
            pointer = line[2] if len(line) > 2 else ""
            entries[golden] = (schema, pointer)
    return entries


def at_pointer(document, pointer):
    for part in [p for p in pointer.split("/") if p]:
        document = document[int(part)] if isinstance(document, list) else document[part]
    return document


class Schemas(unittest.TestCase):
    def test_every_schema_is_valid_and_says_what_it_is_for(self):
        self.assertGreaterEqual(len(BY_NAME), 9)
        for name, schema in BY_NAME.items():
            with self.subTest(schema=name):
                self.assertEqual(schema.get("$schema"), "https://json-schema.org/draft/2020-12/schema")
                self.assertGreater(len(schema.get("description", "")), 40, "no description")

    def test_every_event_type_has_its_schema(self):
        for name in ["kernel-reboot", "routine-report", "alarm-report", "wifi-events", "user-option-report", "dal-event"]:
            self.assertIn(name + ".schema.json", BY_NAME)


class Goldens(unittest.TestCase):
    def test_every_golden_validates_against_its_schema(self):
        mapping = golden_map()
        checked = 0
        for name in sorted(os.listdir(GOLDEN)):
            if not name.endswith(".json"):
                continue
            document = load(os.path.join(GOLDEN, name))
            if name in mapping:
                schema, pointer = mapping[name]
            elif isinstance(document, dict) and next(iter(document), None) == "routerHardware":
                schema, pointer = "report.schema.json", ""
            else:
                print("golden %s: not a report and not mapped to a schema in goldens.txt: not checked" % name)
                continue
            with self.subTest(golden=name, schema=schema):
                self.assertIn(schema, BY_NAME)
                self.assertEqual(problems(at_pointer(document, pointer), schema), [])
                checked += 1
        self.assertGreaterEqual(checked, 5)

    def test_every_mapped_golden_exists(self):
        for name in golden_map():
            self.assertTrue(os.path.exists(os.path.join(GOLDEN, name)), name)

    def test_hand_written_sample_reports_validate(self):
        names = sorted(os.listdir(os.path.join(HERE, "samples")))
        self.assertGreaterEqual(len(names), 5)
        for name in names:
            with self.subTest(sample=name):
                self.assertEqual(problems(load(os.path.join(HERE, "samples", name))), [])


def report(name):
    return load(os.path.join(GOLDEN, name))


def sample(name):
    return load(os.path.join(HERE, "samples", name))


class Violations(unittest.TestCase):
    def expect(self, document, path, rule, schema="report.schema.json"):
        found = problems(document, schema)
        self.assertTrue(found, "the document was accepted")
        self.assertTrue(
            any(p.startswith(path + ":") and "[rule " + rule in p for p in found),
            "no violation at %s of rule %s in:\n%s" % (path, rule, "\n".join(found)),
        )
        return found

    def test_unknown_member_in_the_header(self):
        d = report("router_hardware_ra_enabled.json")
        d["routerHardware"]["firmwareVersion"] = "1.0"
        found = self.expect(d, "$.routerHardware.firmwareVersion", "unevaluatedProperties")
        self.assertIn("unknown member 'firmwareVersion'", found[0])

    def test_unknown_member_at_the_root_of_a_routine_report(self):
        d = report("router_hardware_ra_enabled.json")
        d["routerInformation"] = {}
        self.expect(d, "$.routerInformation", "additionalProperties")

    def test_unknown_member_in_a_device(self):
        d = {"routerHardware": report("router_hardware_ra_enabled.json")["routerHardware"]}
        d["connectedDeviceDetails"] = report("connected_devices_fing.json")
        d["connectedDeviceDetails"]["connDevices"][1]["deviceColour"] = "red"
        self.assertEqual(problems(report("connected_devices_fing.json"), "body/connectedDeviceDetails.schema.json"), [])
        self.expect(d, "$.connectedDeviceDetails.connDevices[1].deviceColour", "additionalProperties")

    def test_misspelt_name_corrected_is_unknown(self):
        d = sample("alarm_firmware_upgrade.json")
        body = d["firmwareUpgradeAnalytics"]
        body["fwUpgradeMethod"] = body.pop("fwupgrade_Method")
        self.expect(d, "$.firmwareUpgradeAnalytics.fwUpgradeMethod", "additionalProperties")
        self.expect(d, "$.firmwareUpgradeAnalytics", "required")

    def test_wrong_type_boolean_where_a_text_is_published(self):
        d = report("connected_devices_fing.json")
        d["connDevices"][0]["deviceTypeV2UserDefined"] = False
        self.expect(d, "$.connDevices[0].deviceTypeV2UserDefined", "enum", "body/connectedDeviceDetails.schema.json")

    def test_wrong_type_text_where_a_boolean_is_published(self):
        d = report("connected_devices_fing.json")
        d["connDevices"][0]["deviceNameUserDefined"] = "true"
        self.expect(d, "$.connDevices[0].deviceNameUserDefined", "type", "body/connectedDeviceDetails.schema.json")

    def test_wrong_type_number_where_a_numeric_text_is_published(self):
        d = report("connected_devices_fing.json")
        d["connDevices"][0]["deviceTypeV2ID"] = 38
        self.expect(d, "$.connDevices[0].deviceTypeV2ID", "type", "body/connectedDeviceDetails.schema.json")

    def test_wrong_type_kiln_enabled_as_a_json_boolean(self):
        d = report("router_hardware_ra_unset.json")
        d["routerHardware"]["kilnEnabled"] = False
        self.expect(d, "$.routerHardware.kilnEnabled", "enum")

    def test_wrong_type_event_type_as_text(self):
        d = report("router_hardware_ra_unset.json")
        d["routerHardware"]["eventType"] = "4"
        # A header whose eventType is not one of the report kinds is read as a DAL
        # event's header, which still wants a number.
        self.expect(d, "$.routerHardware.eventType", "type")

    def test_missing_required_member(self):
        d = report("router_hardware_ra_unset.json")
        del d["routerHardware"]["tncVersion"]
        found = self.expect(d, "$.routerHardware", "required")
        self.assertTrue(any("'tncVersion' is a required property" in p for p in found), found)

    def test_missing_header(self):
        self.expect({"connectedDeviceDetails": report("connected_devices_plain.json")}, "$", "required")

    def test_missing_kernel_reboot_body(self):
        d = sample("kernel_reboot.json")
        del d["kernelReboot"]
        self.expect(d, "$", "required")

    def test_missing_member_of_a_satellite(self):
        d = sample("alarm_firmware_upgrade.json")
        del d["firmwareUpgradeAnalytics"]["satelliteFwInfo"]["satellite"][0]["newVersion"]
        self.expect(d, "$.firmwareUpgradeAnalytics.satelliteFwInfo.satellite[0]", "required")

    def test_clear_identifiers_without_consent(self):
        d = report("router_hardware_ra_unset.json")
        d["routerHardware"]["deviceInfo"]["macAddress"] = "AABBCC001122"
        self.expect(d, "$.routerHardware.deviceInfo.macAddress", "pattern")

    def test_hardware_revision_without_consent(self):
        d = report("router_hardware_ra_unset.json")
        d["routerHardware"]["hwRevision"] = "H1"
        self.expect(d, "$.routerHardware.hwRevision", "false")

    def test_kiln_versions_without_kiln(self):
        d = report("router_hardware_ra_unset.json")
        d["routerHardware"]["kiln_version"] = "V1"
        self.expect(d, "$.routerHardware.kiln_version", "false")

    def test_bodies_of_a_routine_report_without_consent(self):
        d = report("router_hardware_ra_unset.json")
        d["routerHardware"]["eventType"] = 1
        d["connectedDeviceDetails"] = report("connected_devices_plain.json")
        self.expect(d, "$", "maxProperties")

    def test_alarm_report_without_a_body(self):
        self.expect(report("router_hardware_ra_disabled.json"), "$", "minProperties")

    def test_long_band_name_is_not_published(self):
        d = report("connected_devices_fing.json")
        d["connDevices"][1]["connType"] = "2.4GHz Wireless"
        self.expect(d, "$.connDevices[1].connType", "not", "body/connectedDeviceDetails.schema.json")

    def test_more_than_128_devices(self):
        d = report("connected_devices_plain.json")
        d["connDevices"] = [d["connDevices"][0]] * 129
        self.expect(d, "$.connDevices", "maxItems", "body/connectedDeviceDetails.schema.json")

    def test_time_out_of_range(self):
        d = report("router_hardware_ra_unset.json")
        d["routerHardware"]["timeStamp"]["date"] = [2026, 13, 1]
        self.expect(d, "$.routerHardware.timeStamp.date[1]", "maximum")
        d["routerHardware"]["timeStamp"]["date"] = [2026, 1]
        self.expect(d, "$.routerHardware.timeStamp.date", "minItems")

    def test_dal_event_with_two_bodies(self):
        d = sample("dal_install_event.json")
        d["second"] = {}
        self.expect(d, "$", "maxProperties")

    def test_dal_header_with_a_computed_member_it_cannot_have(self):
        d = copy.deepcopy(sample("dal_type_1_event.json"))
        d["routerHardware"]["reportStamp"] = "x"
        self.expect(d, "$.routerHardware.reportStamp", "unevaluatedProperties")


# --- router state bodies: routerInfo, routerConfig, hubShare, kernelReboot and the CPU and
# memory alarms. Each body is checked inside a whole report, so that a failure names the
# member's path from the report's root.

def routine_report(**bodies):
    d = report("router_hardware_ra_enabled.json")
    d["routerHardware"]["eventType"] = 1
    d.update(bodies)
    return d


def alarm_report(**bodies):
    d = report("router_hardware_ra_enabled.json")
    d["routerHardware"]["eventType"] = 2
    d.update(bodies)
    return d


def cpu_alarm():
    # Written from the alarm builder's member list, not taken from a run.
    return {
        "cpuUtilizationsAlarm": {"alarmReason": "Router's CPU utilizations exceeded threshold"},
        "cpuInfo": {
            "cpuUtilizationsCurrent": "93.25%",
            "cpuUtilizationsThresholdHigh": "90%",
            "topLog": "Mem: 402012K used, 110336K free\nCPU:  93% usr   4% sys\n",
        },
    }


def memory_alarm():
    return {
        "memoryUtilizationsAlarm": {"alarmReason": "Router's memory utilizations are too high"},
        "memoryInfo": {
            "memoryTotal": 500,
            "memoryFree": 139,
            "memoryUsed": 361,
            "memoryUtilization": "72.20%",
            "memoryThreshold": "70%",
            "meminfoLog": "MemTotal:         512000 kB\n",
            "slabinfoLog": "slabinfo - version: 2.1\n",
            "psLog": "  PID USER       VSZ STAT COMMAND\n",
        },
    }


class RouterStateBodies(unittest.TestCase):
    expect = Violations.expect

    def test_goldens_and_hand_written_bodies_are_accepted_in_their_reports(self):
        for name in ["router_info_vra420.json", "router_info_vre650.json", "router_info_vre670.json"]:
            self.assertEqual(problems(routine_report(routerInfo=report(name))), [], name)
        for name in ["router_config_vra420.json", "router_config_vre650.json", "router_config_vre670.json"]:
            self.assertEqual(problems(routine_report(routerConfig=report(name))), [], name)
        self.assertEqual(problems(routine_report(hubShare={"usbStorage": True})), [])
        self.assertEqual(problems(alarm_report(cpuUtilizations=cpu_alarm(), memoryUsage=memory_alarm())), [])
        d = sample("kernel_reboot.json")
        d["kernelReboot"] = report("kernel_reboot_crash.json")
        self.assertEqual(problems(d), [])

    # routerInfo

    def test_router_info_unknown_member(self):
        d = routine_report(routerInfo=report("router_info_vre650.json"))
        d["routerInfo"]["memoryInfo"]["memoryTotal"] = 500
        self.expect(d, "$.routerInfo.memoryInfo.memoryTotal", "additionalProperties")

    def test_router_info_misspelt_name_corrected_is_unknown(self):
        d = routine_report(routerInfo=report("router_info_vre650.json"))
        d["routerInfo"]["checkInternetStatusResponsesCode"] = d["routerInfo"].pop("checkInternetStatusReponsesCode")
        self.expect(d, "$.routerInfo.checkInternetStatusResponsesCode", "additionalProperties")
        self.expect(d, "$.routerInfo", "required")

    def test_router_info_cloud_agent_types_are_not_interchangeable(self):
        d = routine_report(routerInfo=report("router_info_vre650.json"))
        d["routerInfo"]["qCloudRegistered"] = "true"
        self.expect(d, "$.routerInfo.qCloudRegistered", "type")
        d = routine_report(routerInfo=report("router_info_vre650.json"))
        d["routerInfo"]["qCloudIdAcquired"] = True
        self.expect(d, "$.routerInfo.qCloudIdAcquired", "enum")

    def test_router_info_missing_required_member(self):
        d = routine_report(routerInfo=report("router_info_vre650.json"))
        del d["routerInfo"]["satAllSSIDCloneStatus"]
        found = self.expect(d, "$.routerInfo", "required")
        self.assertTrue(any("'satAllSSIDCloneStatus' is a required property" in p for p in found), found)

    def test_router_info_wifi_region_follows_the_country_code(self):
        d = routine_report(routerInfo=report("router_info_vre650.json"))
        d["routerInfo"]["countryCode"] = 28
        self.expect(d, "$.routerInfo.wifiRegion", "const")
        d["routerInfo"]["wifiRegion"] = "Canada"
        self.assertEqual(problems(d), [])
        d["routerInfo"]["countryCode"] = 13
        self.expect(d, "$.routerInfo.wifiRegion", "const")

    def test_router_info_sensor_list_matches_its_count(self):
        d = routine_report(routerInfo=report("router_info_vre650.json"))
        d["routerInfo"]["sensor"].pop()
        self.expect(d, "$.routerInfo.sensor", "minItems")

    def test_router_info_one_temperature_extreme_alone(self):
        d = routine_report(routerInfo=report("router_info_vre650.json"))
        del d["routerInfo"]["sensor"][0]["lowestTemp"]
        self.expect(d, "$.routerInfo.sensor[0]", "dependentRequired")

    def test_router_info_synchronised_time_has_an_empty_fail_reason(self):
        d = routine_report(routerInfo=report("router_info_vre650.json"))
        del d["routerInfo"]["ntpFailReason"]
        self.expect(d, "$.routerInfo", "required")
        d["routerInfo"]["ntpResult"] = "no"
        d["routerInfo"]["ntpFailReason"] = ""
        self.expect(d, "$.routerInfo.ntpFailReason", "not")

    def test_router_info_speed_test_already_reported_is_all_null(self):
        d = routine_report(routerInfo=report("router_info_vre650.json"))
        d["routerInfo"]["internetBandwidth"]["speedtestResults"] = None
        self.expect(d, "$.routerInfo.internetBandwidth.downloadSpeed", "const")
        d = routine_report(routerInfo=report("router_info_vra420.json"))
        d["routerInfo"]["internetBandwidth"]["averagePing"] = 14
        self.expect(d, "$.routerInfo.internetBandwidth.averagePing", "const")

    def test_router_info_fan_comes_with_its_count(self):
        d = routine_report(routerInfo=report("router_info_vre650.json"))
        d["routerInfo"]["numberOfFans"] = 1
        self.expect(d, "$.routerInfo", "dependentRequired")
        d["routerInfo"]["fan"] = [{"Name": "fan1", "fanEnable": True, "fanTriggerStatus": "Not triggered",
                                   "fanTriggerCount": 0, "fanTriggerLongestDuration": 0}]
        self.assertEqual(problems(d), [])

    def test_router_info_ssid_clone_state_set_by_the_satellite_report(self):
        d = routine_report(routerInfo=report("router_info_vre650.json"))
        for value in ["Cloned", "Out of sync"]:
            d["routerInfo"]["satAllSSIDCloneStatus"] = value
            self.assertEqual(problems(d), [])
        d["routerInfo"]["satAllSSIDCloneStatus"] = "Not cloned"
        self.expect(d, "$.routerInfo.satAllSSIDCloneStatus", "enum")

    # routerConfig

    def test_router_config_unknown_member(self):
        d = routine_report(routerConfig=report("router_config_vre650.json"))
        d["routerConfig"]["wanConfig"]["mtu"] = "1500"
        self.expect(d, "$.routerConfig.wanConfig.mtu", "additionalProperties")

    def test_router_config_misspelt_name_corrected_is_unknown(self):
        d = routine_report(routerConfig=report("router_config_vre670.json"))
        d["routerConfig"]["dwnloader"] = False
        self.assertEqual(problems(d), [])
        d["routerConfig"]["downloader"] = d["routerConfig"].pop("dwnloader")
        self.expect(d, "$.routerConfig.downloader", "additionalProperties")

    def test_router_config_text_flags_and_boolean_flags_are_not_interchangeable(self):
        d = routine_report(routerConfig=report("router_config_vre650.json"))
        d["routerConfig"]["11axEnable"] = True
        self.expect(d, "$.routerConfig.11axEnable", "enum")
        d = routine_report(routerConfig=report("router_config_vre650.json"))
        d["routerConfig"]["shieldActivate"] = "false"
        self.expect(d, "$.routerConfig.shieldActivate", "type")
        d = routine_report(routerConfig=report("router_config_vre650.json"))
        d["routerConfig"]["portForwarding"]["ruleCount"] = "8"
        self.expect(d, "$.routerConfig.portForwarding.ruleCount", "type")

    def test_router_config_missing_required_member(self):
        d = routine_report(routerConfig=report("router_config_vre650.json"))
        del d["routerConfig"]["wifiIOT"]["broadcast"]
        self.expect(d, "$.routerConfig.wifiIOT", "required")

    def test_router_config_roaming_keeps_its_spelling(self):
        d = routine_report(routerConfig=report("router_config_vra420.json"))
        d["routerConfig"]["roaming"] = "aggressive"
        self.expect(d, "$.routerConfig.roaming", "enum")

    def test_router_config_access_point(self):
        body = report("router_config_vre650.json")
        for name in ["trafficMeterEnabled", "portForwarding", "portTriggering"]:
            del body[name]
        body.update(mode="AP", ipv6=False, ipv6Type="Disable", shieldEnable=False)
        body["wanConfig"].update(type="static", connectionMode="na", ipSetting="static")
        self.assertEqual(problems(routine_report(routerConfig=body)), [])
        body["portForwarding"] = {"enabled": True, "ruleCount": 0}
        body["ipv6"] = True
        d = routine_report(routerConfig=body)
        self.expect(d, "$.routerConfig.portForwarding", "false")
        self.expect(d, "$.routerConfig.ipv6", "const")

    def test_router_config_router_without_port_forwarding(self):
        d = routine_report(routerConfig=report("router_config_vre650.json"))
        del d["routerConfig"]["portForwarding"]
        self.expect(d, "$.routerConfig", "required")

    def test_router_config_wan_protocol_rules(self):
        d = routine_report(routerConfig=report("router_config_vre650.json"))
        d["routerConfig"]["wanConfig"]["type"] = "pptp"
        d["routerConfig"]["wanConfig"]["connectionMode"] = "dial on demand"
        self.expect(d, "$.routerConfig.wanConfig.ipSetting", "const")
        d["routerConfig"]["wanConfig"]["type"] = "3g"
        self.expect(d, "$.routerConfig.wanConfig.connectionMode", "false")

    def test_router_config_11ax_summary_follows_the_bands(self):
        d = routine_report(routerConfig=report("router_config_vre650.json"))
        d["routerConfig"].update({"11axEnable2G": "false", "11axEnable5G": "false"})
        self.expect(d, "$.routerConfig.11axEnable", "const")

    def test_router_config_disabled_ipv6_type(self):
        d = routine_report(routerConfig=report("router_config_vre650.json"))
        d["routerConfig"]["ipv6"] = False
        self.expect(d, "$.routerConfig.ipv6Type", "const")

    # hubShare

    def test_hub_share_unknown_member(self):
        self.expect(routine_report(hubShare={"usbStorage": True, "usbPrinter": False}), "$.hubShare.usbPrinter",
                    "additionalProperties")

    def test_hub_share_flag_is_a_json_boolean(self):
        self.expect(routine_report(hubShare={"usbStorage": "on"}), "$.hubShare.usbStorage", "type")

    def test_hub_share_missing_flag(self):
        self.expect(routine_report(hubShare={}), "$.hubShare", "required")

    # kernelReboot

    def kernel_report(self):
        d = sample("kernel_reboot.json")
        d["kernelReboot"] = report("kernel_reboot_crash.json")
        return d

    def test_kernel_reboot_unknown_member(self):
        d = self.kernel_report()
        d["kernelReboot"]["crashLog"] = "x"
        self.expect(d, "$.kernelReboot.crashLog", "additionalProperties")

    def test_kernel_reboot_reason_is_a_number(self):
        d = self.kernel_report()
        d["kernelReboot"]["lastRebootReason"] = "1"
        self.expect(d, "$.kernelReboot.lastRebootReason", "type")

    def test_kernel_reboot_missing_time_stamp(self):
        d = self.kernel_report()
        del d["kernelReboot"]["lastRebootTimestamp"]
        self.expect(d, "$.kernelReboot", "required")

    def test_kernel_reboot_crash_log_only_after_a_crash(self):
        d = self.kernel_report()
        d["kernelReboot"]["lastRebootReason"] = 0
        self.expect(d, "$.kernelReboot.kernelCrashLog", "false")
        del d["kernelReboot"]["kernelCrashLog"]
        self.assertEqual(problems(d), [])

    def test_kernel_reboot_time_stamp_form(self):
        d = self.kernel_report()
        d["kernelReboot"]["lastRebootTimestamp"] = "2026-01-01 02:00:00"
        self.expect(d, "$.kernelReboot.lastRebootTimestamp", "pattern")

    # cpuUtilizations and memoryUsage

    def test_cpu_alarm_unknown_member(self):
        body = cpu_alarm()
        body["cpuInfo"]["cpuUtilizationsAverage"] = "50.00%"
        self.expect(alarm_report(cpuUtilizations=body), "$.cpuUtilizations.cpuInfo.cpuUtilizationsAverage",
                    "additionalProperties")

    def test_cpu_alarm_load_is_a_text(self):
        body = cpu_alarm()
        body["cpuInfo"]["cpuUtilizationsCurrent"] = 93.25
        self.expect(alarm_report(cpuUtilizations=body), "$.cpuUtilizations.cpuInfo.cpuUtilizationsCurrent", "type")

    def test_cpu_alarm_missing_top_log(self):
        body = cpu_alarm()
        del body["cpuInfo"]["topLog"]
        self.expect(alarm_report(cpuUtilizations=body), "$.cpuUtilizations.cpuInfo", "required")

    def test_cpu_alarm_top_log_bound(self):
        body = cpu_alarm()
        body["cpuInfo"]["topLog"] = "x" * 8191
        self.assertEqual(problems(alarm_report(cpuUtilizations=body)), [])
        body["cpuInfo"]["topLog"] = "x" * 8192
        self.expect(alarm_report(cpuUtilizations=body), "$.cpuUtilizations.cpuInfo.topLog", "maxLength")

    def test_memory_alarm_unknown_member(self):
        body = memory_alarm()
        body["memoryUtilizationsAlarm"]["alarmLevel"] = "high"
        self.expect(alarm_report(memoryUsage=body), "$.memoryUsage.memoryUtilizationsAlarm.alarmLevel",
                    "additionalProperties")

    def test_memory_alarm_figures_are_numbers_and_utilisation_a_text(self):
        body = memory_alarm()
        body["memoryInfo"]["memoryTotal"] = "500"
        self.expect(alarm_report(memoryUsage=body), "$.memoryUsage.memoryInfo.memoryTotal", "type")
        body = memory_alarm()
        body["memoryInfo"]["memoryUtilization"] = 72.2
        self.expect(alarm_report(memoryUsage=body), "$.memoryUsage.memoryInfo.memoryUtilization", "type")
        body = memory_alarm()
        body["memoryInfo"]["memoryThreshold"] = "70.00%"
        self.expect(alarm_report(memoryUsage=body), "$.memoryUsage.memoryInfo.memoryThreshold", "pattern")

    def test_memory_alarm_missing_member(self):
        body = memory_alarm()
        del body["memoryInfo"]["psLog"]
        self.expect(alarm_report(memoryUsage=body), "$.memoryUsage.memoryInfo", "required")
        body = memory_alarm()
        del body["memoryUtilizationsAlarm"]
        self.expect(alarm_report(memoryUsage=body), "$.memoryUsage", "required")

    def test_memory_alarm_reason_and_log_bound(self):
        body = memory_alarm()
        body["memoryUtilizationsAlarm"]["alarmReason"] = "Memory is low"
        self.expect(alarm_report(memoryUsage=body), "$.memoryUsage.memoryUtilizationsAlarm.alarmReason", "const")
        body = memory_alarm()
        body["memoryInfo"]["slabinfoLog"] = "x" * 10239
        self.assertEqual(problems(alarm_report(memoryUsage=body)), [])
        body["memoryInfo"]["slabinfoLog"] = "x" * 10240
        self.expect(alarm_report(memoryUsage=body), "$.memoryUsage.memoryInfo.slabinfoLog", "maxLength")


class CommandLine(unittest.TestCase):
    def run_tool(self, document):
        with tempfile.NamedTemporaryFile("w", suffix=".json", delete=False) as f:
            json.dump(document, f)
        try:
            return subprocess.run([sys.executable, TOOL, f.name], capture_output=True, text=True)
        finally:
            os.unlink(f.name)

    def test_good_report_exit_status_0_and_silent(self):
        r = self.run_tool(report("router_hardware_ra_enabled.json"))
        self.assertEqual((r.returncode, r.stdout), (0, ""))

    def test_bad_report_prints_path_and_rule_and_exits_1(self):
        d = report("router_hardware_ra_enabled.json")
        d["routerHardware"]["autoUpdateOption"] = "1"
        r = self.run_tool(d)
        self.assertEqual(r.returncode, 1)
        self.assertIn("$.routerHardware.autoUpdateOption: '1' is not of type 'integer' [rule type at ", r.stdout)

    def test_unreadable_document_exit_status_2(self):
        r = subprocess.run([sys.executable, TOOL, os.path.join(HERE, "no-such-report.json")], capture_output=True, text=True)
        self.assertEqual(r.returncode, 2)
        self.assertIn("not a readable JSON document", r.stdout)


if __name__ == "__main__":
    unittest.main(verbosity=2)
