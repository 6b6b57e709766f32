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
# --- Wi-Fi configuration and analytics, satellites, voice analytics, login and install
# events, debug-log events: each body placed in the report that carries it ---


def header(event_type):
    h = copy.deepcopy(report("router_hardware_ra_enabled.json")["routerHardware"])
    h["eventType"] = event_type
    return h


def routine(**bodies):
    return dict(routerHardware=header(1), **copy.deepcopy(bodies))


def wifi_report(**bodies):
    return dict(routerHardware=header(3), **copy.deepcopy(bodies))


def alarm(**bodies):
    return dict(routerHardware=header(2), **copy.deepcopy(bodies))


def install_report(body):
    d = copy.deepcopy(sample("dal_install_event.json"))
    d["installEvent"] = copy.deepcopy(body)
    return d


class WifiConfigBody(unittest.TestCase):
    expect = Violations.expect

    def setUp(self):
        self.four = routine(wifiConfig=report("wifi_config_vre650.json"))
        self.three = routine(wifiConfig=report("wifi_config_vre670.json"))
        self.assertEqual(problems(self.four), [])
        self.assertEqual(problems(self.three), [])

    def test_unknown_member_in_a_setting(self):
        self.four["wifiConfig"]["main-2G"]["main-2G-Config"]["main-2G-Config-Hidden"] = False
        self.expect(self.four, "$.wifiConfig.main-2G.main-2G-Config.main-2G-Config-Hidden", "additionalProperties")

    def test_member_named_for_another_band_is_unknown(self):
        config = self.four["wifiConfig"]["guest-2G"]["guest-2G-Config"]
        config["guest-5G-Config-SSID"] = config.pop("guest-2G-Config-SSID")
        self.expect(self.four, "$.wifiConfig.guest-2G.guest-2G-Config.guest-5G-Config-SSID", "additionalProperties")
        self.expect(self.four, "$.wifiConfig.guest-2G.guest-2G-Config", "required")

    def test_enable_as_text_is_a_wrong_type(self):
        self.four["wifiConfig"]["main-5G"]["main-5G-Config"]["main-5G-Config-Enable"] = "true"
        self.expect(self.four, "$.wifiConfig.main-5G.main-5G-Config.main-5G-Config-Enable", "type")

    def test_radio_status_as_text_is_a_wrong_type(self):
        self.three["wifiConfig"]["radio-6G"]["radio-6G-Status"] = "up"
        self.expect(self.three, "$.wifiConfig.radio-6G.radio-6G-Status", "type")

    def test_channel_as_a_number_is_a_wrong_type(self):
        self.four["wifiConfig"]["main-5G"]["main-5G-Config"]["main-5G-Config-Channel"] = 36
        self.expect(self.four, "$.wifiConfig.main-5G.main-5G-Config.main-5G-Config-Channel", "type")

    def test_missing_interface_member(self):
        del self.three["wifiConfig"]["bhAP-6G"]["bhAP-6G-IfConf"]["bhAP-6G-IfConf-SSID"]
        self.expect(self.three, "$.wifiConfig.bhAP-6G.bhAP-6G-IfConf", "required")

    def test_missing_purpose_of_a_band(self):
        del self.four["wifiConfig"]["customize-5G2"]
        found = self.expect(self.four, "$.wifiConfig", "required")
        self.assertTrue(any("'customize-5G2' is a required property" in p for p in found), found)

    def test_band_without_its_radio(self):
        del self.three["wifiConfig"]["radio-6G"]
        # Without its radio the body reads as a two-band router's, which has no 6G names.
        found = self.expect(self.three, "$.wifiConfig", "not")
        self.assertTrue(any("'main-6G' should not be valid" in p and "/propertyNames/" in p for p in found), found)

    def test_radio_named_for_another_slot(self):
        self.three["wifiConfig"]["radio-6G"]["radio-6G-Name"] = "wifi3"
        self.expect(self.three, "$.wifiConfig.radio-6G.radio-6G-Name", "const")

    def test_automatic_channel_is_reported_as_auto(self):
        self.four["wifiConfig"]["bhAP-5G"]["bhAP-5G-Config"]["bhAP-5G-Config-Channel"] = "0"
        self.expect(self.four, "$.wifiConfig.bhAP-5G.bhAP-5G-Config.bhAP-5G-Config-Channel", "not")

    def test_region_na_is_reported_as_us(self):
        self.four["wifiConfig"]["radio-2G"]["radio-2G-Region"] = "NA"
        self.expect(self.four, "$.wifiConfig.radio-2G.radio-2G-Region", "not")

    def test_six_ghz_rate_wording_has_a_blank(self):
        self.three["wifiConfig"]["main-6G"]["main-6G-Config"]["main-6G-Config-Mode"] = "Up to 2402Mbps"
        self.expect(self.three, "$.wifiConfig.main-6G.main-6G-Config.main-6G-Config-Mode", "enum")

    def test_no_iot_interface_on_six_ghz(self):
        self.three["wifiConfig"]["customize-6G"]["customize-6G-Config"]["customize-6G-Config-SSID"] = "IoT"
        self.expect(self.three, "$.wifiConfig.customize-6G.customize-6G-Config.customize-6G-Config-SSID", "const")

    def test_router_without_bands_sends_no_body(self):
        self.assertIsNone(report("wifi_config_vra420.json"))
        self.expect(routine(wifiConfig=None), "$.wifiConfig", "type")


class WifiAnalyticsBody(unittest.TestCase):
    expect = Violations.expect

    def setUp(self):
        self.body = report("wifi_analytics_vre670.json")
        self.d = wifi_report(wifiAnalytics=self.body)
        self.assertEqual(problems(self.d), [])

    def test_unknown_counter(self):
        self.d["wifiAnalytics"]["wifiIface"][2]["ifaceStat"]["txRetries"] = 0
        self.expect(self.d, "$.wifiAnalytics.wifiIface[2].ifaceStat.txRetries", "additionalProperties")

    def test_interface_enable_as_text_is_a_wrong_type(self):
        self.d["wifiAnalytics"]["wifiIface"][0]["ifaceInfo"]["ifaceEnable"] = "true"
        self.expect(self.d, "$.wifiAnalytics.wifiIface[0].ifaceInfo.ifaceEnable", "type")

    def test_main_channel_as_text_is_a_wrong_type(self):
        self.d["wifiAnalytics"]["5g1BssInfo"]["bssMainChannel"] = "100"
        self.expect(self.d, "$.wifiAnalytics.5g1BssInfo.bssMainChannel", "type")

    def test_live_channel_as_a_number_is_a_wrong_type(self):
        self.d["wifiAnalytics"]["wifiIface"][0]["radioStat"]["radioStatChannel"] = 1
        self.expect(self.d, "$.wifiAnalytics.wifiIface[0].radioStat.radioStatChannel", "type")

    def test_missing_interface_mac(self):
        del self.d["wifiAnalytics"]["wifiIface"][1]["ifaceInfo"]["ifaceMac"]
        self.expect(self.d, "$.wifiAnalytics.wifiIface[1].ifaceInfo", "required")

    def test_missing_band(self):
        del self.d["wifiAnalytics"]["5g2BssInfo"]
        self.expect(self.d, "$.wifiAnalytics", "required")

    def test_interface_mac_with_separators(self):
        self.d["wifiAnalytics"]["wifiIface"][0]["ifaceInfo"]["ifaceMac"] = "D6:6E:0E:70:80:B0"
        self.expect(self.d, "$.wifiAnalytics.wifiIface[0].ifaceInfo.ifaceMac", "pattern")

    def test_drop_percent_is_computed_division_first(self):
        self.d["wifiAnalytics"]["wifiIface"][0]["ifaceStat"]["txDropPercent"] = 1
        self.expect(self.d, "$.wifiAnalytics.wifiIface[0].ifaceStat.txDropPercent", "enum")

    def test_byod_interface_is_not_reported(self):
        self.d["wifiAnalytics"]["wifiIface"][0]["ifaceInfo"]["ifacePurpose"] = "byod"
        self.expect(self.d, "$.wifiAnalytics.wifiIface[0].ifaceInfo.ifacePurpose", "enum")

    def test_misspelt_utilisation_corrected_is_unknown(self):
        stat = self.d["wifiAnalytics"]["wifiIface"][0]["radioStat"]
        stat["radioStatUtilization"] = stat.pop("radioStatUtilitization")
        self.expect(self.d, "$.wifiAnalytics.wifiIface[0].radioStat.radioStatUtilization", "additionalProperties")

    def test_scan_result_is_a_single_placeholder(self):
        self.d["wifiAnalytics"]["wifiScanResult"][0]["bssRssi"] = "-60"
        self.expect(self.d, "$.wifiAnalytics.wifiScanResult[0].bssRssi", "const")
        self.d["wifiAnalytics"]["wifiScanResult"] = []
        self.expect(self.d, "$.wifiAnalytics.wifiScanResult", "minItems")

    def test_beside_a_wifi_event_batch(self):
        d = sample("wifi_events.json")
        d["wifiAnalytics"] = self.body
        self.assertEqual(problems(d), [])
        d["wifiDisconnectEvent"] = []
        self.expect(d, "$", "maxProperties")


class SatelliteInfoBody(unittest.TestCase):
    expect = Violations.expect

    def setUp(self):
        self.d = routine(SatelliteInfo=report("satellite_info.json"))
        self.assertEqual(problems(self.d), [])
        self.sats = self.d["SatelliteInfo"]["Satellite"]

    def test_unknown_backhaul_member(self):
        self.sats[0]["wifiBackhaulInfo"]["bhSnr"] = "30"
        self.expect(self.d, "$.SatelliteInfo.Satellite[0].wifiBackhaulInfo.bhSnr", "additionalProperties")

    def test_unknown_member_of_a_disconnected_satellite(self):
        self.sats[2]["numberOfSensors"] = 0
        self.expect(self.d, "$.SatelliteInfo.Satellite[2].numberOfSensors", "additionalProperties")

    def test_rssi_as_a_number_is_a_wrong_type(self):
        self.sats[0]["wifiBackhaulInfo"]["bhRssi"] = -58
        self.expect(self.d, "$.SatelliteInfo.Satellite[0].wifiBackhaulInfo.bhRssi", "type")

    def test_voice_registration_as_text_is_a_wrong_type(self):
        self.sats[1]["avsRegistration"] = "0"
        self.expect(self.d, "$.SatelliteInfo.Satellite[1].avsRegistration", "type")

    def test_sensor_value_as_a_number_is_a_wrong_type(self):
        self.sats[0]["sensor"][1]["highestTemp"] = 71
        self.expect(self.d, "$.SatelliteInfo.Satellite[0].sensor[1].highestTemp", "type")

    def test_missing_soap_status(self):
        del self.sats[0]["satelliteSOAPStatus"]
        self.expect(self.d, "$.SatelliteInfo.Satellite[0]", "required")

    def test_satellites_counted_but_no_array(self):
        del self.d["SatelliteInfo"]["Satellite"]
        self.expect(self.d, "$.SatelliteInfo", "required")

    def test_no_array_without_satellites(self):
        self.d["SatelliteInfo"]["numberOfSatellite"] = 0
        self.expect(self.d, "$.SatelliteInfo.Satellite", "false")

    def test_sensors_counted_but_no_array(self):
        del self.sats[1]["sensor"]
        self.expect(self.d, "$.SatelliteInfo.Satellite[1]", "required")

    def test_region_without_language(self):
        del self.sats[0]["avsLanguage"]
        self.expect(self.d, "$.SatelliteInfo.Satellite[0]", "dependentRequired")

    def test_language_kept_in_seven_characters(self):
        self.sats[0]["avsLanguage"] = "en-US-x1"
        self.expect(self.d, "$.SatelliteInfo.Satellite[0].avsLanguage", "maxLength")

    def test_unreadable_uptime_is_left_out(self):
        self.sats[0]["upTime"] = "1 day 01:02:03"
        self.expect(self.d, "$.SatelliteInfo.Satellite[0].upTime", "pattern")

    def test_disconnected_satellite_has_fixed_states(self):
        self.sats[2]["satelliteSOAPStatus"] = "sync"
        self.sats[2]["wifiBackhaulInfo"]["bhConnStatus"] = "OK"
        self.expect(self.d, "$.SatelliteInfo.Satellite[2].satelliteSOAPStatus", "const")
        self.expect(self.d, "$.SatelliteInfo.Satellite[2].wifiBackhaulInfo.bhConnStatus", "const")

    def test_connection_strength_words(self):
        self.sats[0]["wifiBackhaulInfo"]["bhConnStatus"] = "Disconnect"
        self.expect(self.d, "$.SatelliteInfo.Satellite[0].wifiBackhaulInfo.bhConnStatus", "enum")

    def test_disconnect_count_is_never_empty(self):
        self.sats[1]["wifiBackhaulInfo"]["bhDisconnectCount"] = ""
        self.expect(self.d, "$.SatelliteInfo.Satellite[1].wifiBackhaulInfo.bhDisconnectCount", "minLength")

    def test_upgrade_method_without_an_upgrade(self):
        self.sats[1]["fwupgrade_Method"] = "AUTO"
        self.expect(self.d, "$.SatelliteInfo.Satellite[1].fwupgrade_Method", "const")


class AvsAnalyticBody(unittest.TestCase):
    expect = Violations.expect

    def setUp(self):
        self.d = routine(avsAnalytic=report("avs_analytic.json"))
        self.assertEqual(problems(self.d), [])
        self.device = self.d["avsAnalytic"]["device"][0]

    def test_misspelt_name_corrected_is_unknown(self):
        record = self.device["record"][0]
        record["triggerCountByButton"] = record.pop("triggerCountbyButton")
        self.expect(self.d, "$.avsAnalytic.device[0].record[0].triggerCountByButton", "additionalProperties")
        self.expect(self.d, "$.avsAnalytic.device[0].record[0]", "required")

    def test_record_count_as_a_number_is_a_wrong_type(self):
        self.device["numberOfRecord"] = 2
        self.expect(self.d, "$.avsAnalytic.device[0].numberOfRecord", "type")

    def test_counter_as_text_is_a_wrong_type(self):
        self.device["record"][1]["recordHour"] = "10"
        self.expect(self.d, "$.avsAnalytic.device[0].record[1].recordHour", "type")

    def test_play_period_as_a_number_is_a_wrong_type(self):
        self.device["record"][0]["mediaRecord"][0]["mediaPlayPeriod"] = 1260
        self.expect(self.d, "$.avsAnalytic.device[0].record[0].mediaRecord[0].mediaPlayPeriod", "type")

    def test_missing_serial_number(self):
        del self.device["serialNumber"]
        self.expect(self.d, "$.avsAnalytic.device[0]", "required")

    def test_records_counted_but_no_array(self):
        del self.device["record"]
        self.expect(self.d, "$.avsAnalytic.device[0]", "required")

    def test_no_records_without_a_count(self):
        self.device["numberOfRecord"] = "0"
        self.expect(self.d, "$.avsAnalytic.device[0].record", "false")

    def test_media_counted_but_no_array(self):
        del self.device["record"][0]["mediaRecord"]
        self.expect(self.d, "$.avsAnalytic.device[0].record[0]", "required")

    def test_satellite_met_after_the_record_bound_has_an_empty_list(self):
        self.device["record"] = []
        self.assertEqual(problems(self.d), [])

    def test_more_records_than_a_week_of_hours(self):
        self.device["record"] = [self.device["record"][0]] * 169
        self.expect(self.d, "$.avsAnalytic.device[0].record", "maxItems")

    def test_more_media_than_a_record_lists(self):
        record = self.device["record"][0]
        record["mediaRecord"] = [record["mediaRecord"][0]] * 65
        self.expect(self.d, "$.avsAnalytic.device[0].record[0].mediaRecord", "maxItems")

    def test_record_date_has_three_numbers(self):
        self.device["record"][0]["recordDate"] = [2023, 7]
        self.expect(self.d, "$.avsAnalytic.device[0].record[0].recordDate", "minItems")

    def test_unregistered_satellite_is_an_empty_element(self):
        self.d["avsAnalytic"]["device"][1] = {"macAddress": "94:A6:7E:20:30:41"}
        self.expect(self.d, "$.avsAnalytic.device[1]", "required")


class LoginEventBody(unittest.TestCase):
    expect = Violations.expect

    def event(self, golden):
        d = alarm(ssorapLoginEvent=report(golden))
        self.assertEqual(problems(d), [])
        return d

    def test_unknown_member(self):
        d = self.event("login_event_app_security_qa.json")
        d["ssorapLoginEvent"]["ssorapEventSubType"] = "APPSecurityQALogin"
        self.expect(d, "$.ssorapLoginEvent.ssorapEventSubType", "additionalProperties")

    def test_internet_status_as_a_boolean(self):
        d = self.event("login_event_app_security_qa.json")
        d["ssorapLoginEvent"]["internetStatus"] = True
        self.expect(d, "$.ssorapLoginEvent.internetStatus", "enum")

    def test_missing_address(self):
        d = self.event("login_event_gui_login_redirect.json")
        del d["ssorapLoginEvent"]["fromIP"]
        self.expect(d, "$.ssorapLoginEvent", "required")

    def test_token_query_without_a_reason(self):
        d = self.event("login_event_app_remote_pixie.json")
        del d["ssorapLoginEvent"]["errorReason"]
        self.expect(d, "$.ssorapLoginEvent", "required")

    def test_touch_down_ends_after_the_installation_state(self):
        d = self.event("login_event_app_security_qa.json")
        d["ssorapLoginEvent"]["errorReason"] = "timeout"
        self.expect(d, "$.ssorapLoginEvent", "maxProperties")

    def test_step_of_another_flow(self):
        d = self.event("login_event_app_remote_pixie.json")
        d["ssorapLoginEvent"]["ssorapSubEventType"] = "APPSecurityQALogin"
        self.expect(d, "$.ssorapLoginEvent.ssorapEventType", "const")

    def test_web_security_questions_name_no_step(self):
        d = self.event("login_event_gui_security_qa.json")
        d["ssorapLoginEvent"]["ssorapSubEventType"] = "OffLineSecurityQALogin"
        self.expect(d, "$.ssorapLoginEvent.ssorapSubEventType", "enum")

    def test_sign_in_link_during_installation_is_the_sign_up_page(self):
        d = self.event("login_event_gui_login_redirect.json")
        link = d["ssorapLoginEvent"]["redirectStringENC"]
        d["ssorapLoginEvent"]["redirectStringENC"] = link.replace("/signup?", "/login?")
        self.expect(d, "$.ssorapLoginEvent.redirectStringENC", "pattern")
        d["ssorapLoginEvent"]["duringInstallation"] = "NO"
        self.assertEqual(problems(d), [])

    def test_unknown_event_has_three_members(self):
        d = self.event("login_event_app_security_qa.json")
        body = d["ssorapLoginEvent"]
        del body["ssorapEventType"]
        found = self.expect(d, "$.ssorapLoginEvent", "required")
        self.assertTrue(any("'ssorapEventType' is a required property" in p for p in found), found)
        del body["ssorapSubEventType"]
        self.assertEqual(problems(d), [])
        body["errorReason"] = ""
        self.expect(d, "$.ssorapLoginEvent", "maxProperties")


class InstallEventBody(unittest.TestCase):
    expect = Violations.expect

    def setUp(self):
        self.d = install_report(report("install_event.json"))
        self.assertEqual(problems(self.d), [])

    def test_unknown_member(self):
        self.d["installEvent"]["routerSerial"] = "6LA1234567890"
        self.expect(self.d, "$.installEvent.routerSerial", "additionalProperties")

    def test_identifier_as_a_number_is_a_wrong_type(self):
        self.d["installEvent"]["id"] = 41
        self.expect(self.d, "$.installEvent.id", "type")

    def test_missing_source(self):
        del self.d["installEvent"]["source"]
        self.expect(self.d, "$.installEvent", "required")

    def test_kiln_version_form(self):
        self.d["installEvent"]["kilnVersion"] = "1.2.3"
        self.expect(self.d, "$.installEvent.kilnVersion", "pattern")

    def test_payload_is_optional_and_any_value(self):
        del self.d["installEvent"]["payload"]
        self.assertEqual(problems(self.d), [])
        self.d["installEvent"]["payload"] = "text"
        self.assertEqual(problems(self.d), [])

    def test_other_dal_events_keep_their_own_format(self):
        d = sample("dal_type_1_event.json")
        self.assertEqual(problems(d), [])
        d = copy.deepcopy(self.d)
        d["routerHardware"]["eventType"] = 18
        d["installEvent"] = {"anything": 1}
        self.assertEqual(problems(d), [])


class DebugLogEvent(unittest.TestCase):
    expect = Violations.expect
    SCHEMA = "debug-log-event.schema.json"

    def setUp(self):
        self.soap = report("dbglog_argument_object.json")
        self.sat = report("dbglog_message_object.json")

    def test_unknown_member(self):
        self.soap["dbgLogs"][0]["dbgArg3"] = ""
        self.expect(self.soap, "$.dbgLogs[0].dbgArg3", "additionalProperties", self.SCHEMA)

    def test_epoch_time_as_a_number_is_a_wrong_type(self):
        self.sat["publishEventInfo"]["epochTimeStamp"] = 1767269106
        self.expect(self.sat, "$.publishEventInfo.epochTimeStamp", "type", self.SCHEMA)

    def test_soap_result_as_text(self):
        self.soap["dbgLogs"][0]["dbgArg1"] = "OK"
        self.expect(self.soap, "$.dbgLogs[0].dbgArg1", "not", self.SCHEMA)

    def test_setup_status_as_an_object(self):
        self.sat["dbgLogs"][0]["dbgArg1"] = {"status": "SatReady"}
        self.expect(self.sat, "$.dbgLogs[0].dbgArg1", "type", self.SCHEMA)

    def test_missing_second_argument(self):
        del self.sat["dbgLogs"][0]["dbgArg2"]
        self.expect(self.sat, "$.dbgLogs[0]", "required", self.SCHEMA)

    def test_soap_summary_words(self):
        self.soap["dbgLogs"][0]["dbgSummary"] = "OK"
        self.expect(self.soap, "$.dbgLogs[0].dbgSummary", "enum", self.SCHEMA)

    def test_one_log_per_event(self):
        self.sat["dbgLogs"].append(copy.deepcopy(self.sat["dbgLogs"][0]))
        self.expect(self.sat, "$.dbgLogs", "maxItems", self.SCHEMA)

    def test_only_wan_detection_has_a_second_argument(self):
        self.soap["dbgLogs"][0]["dbgMsg"] = "CheckInternetStatus"
        self.expect(self.soap, "$.dbgLogs[0].dbgArg2", "const", self.SCHEMA)

    def test_not_a_report(self):
        self.expect(self.soap, "$", "required")


class MeshTopology(unittest.TestCase):
    expect = Violations.expect
    SCHEMA = "net-scan.schema.json"

    def setUp(self):
        self.d = report("net_scan_two_satellites.json")

    def test_unknown_header_member(self):
        self.d["Basic"]["Region"] = "US"
        self.expect(self.d, "$.Basic.Region", "additionalProperties", self.SCHEMA)

    def test_entry_count_as_text_is_a_wrong_type(self):
        self.d["Satellite"]["numberOfDB"] = "2"
        self.expect(self.d, "$.Satellite.numberOfDB", "type", self.SCHEMA)

    def test_ssid_index_as_a_number_is_a_wrong_type(self):
        self.d["Satellite"]["DB_1"]["Remote_Connect_NOT_Direct_Self"][0]["ESSID"] = 0
        self.expect(self.d, "$.Satellite.DB_1.Remote_Connect_NOT_Direct_Self[0].ESSID", "type", self.SCHEMA)

    def test_missing_entry_count(self):
        del self.d["Satellite"]["numberOfDB"]
        self.expect(self.d, "$.Satellite", "required", self.SCHEMA)

    def test_phy_capabilities_only_on_an_access_point(self):
        self.d["Basic"]["Local_Interfaces"][1]["Role"] = "STA"
        self.expect(self.d, "$.Basic.Local_Interfaces[1].Role", "pattern", self.SCHEMA)


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
