#!/bin/sh
# The daemon in the simulated VRE670 router sends its Wi-Fi analytics with the Wi-Fi
# event report (eventType 3): one BSS object per band, the wireless interfaces that
# iwconfig lists with their counters, and the scan placeholder. Its routine report
# carries "routerConfig" and "wifiConfig".
BIN=$1 SRC=$2
. "$SRC/sim/lib/testlib.sh"
t_require_sandbox
t_require mosquitto mosquitto_sub busybox jq
t_mkroot vre670
t_broker_and_collector
SIM_SPEED=${SIM_SPEED:-180}
t_start_daemon

has_wifi_analytics() {
    for f in $(t_reports_of_type 3); do
        [ "$(t_json "$f" '.wifiAnalytics | type')" = object ] && { echo "$f"; return 0; }
    done
    return 1
}
has_config_report() {
    for f in $(t_reports_of_type 1); do
        [ "$(t_json "$f" '.routerConfig | type')" = object ] &&
            [ "$(t_json "$f" '.wifiConfig | type')" = object ] && { echo "$f"; return 0; }
    done
    return 1
}
both_received() { has_wifi_analytics >/dev/null && has_config_report >/dev/null; }
t_wait 90 both_received || t_fail "no wifiAnalytics event (eventType 3) and routine report with routerConfig and wifiConfig within 90 s"
r=$(has_wifi_analytics)
a=.wifiAnalytics
t_expect_eq "BSS objects" "$(t_json "$r" "$a | keys_unsorted | join(\",\")")" \
    "2gBssInfo,5g1BssInfo,6gBssInfo,5g2BssInfo,wifiIface,wifiScanResult"
t_expect_eq "5 GHz main channel" "$(t_json "$r" "$a.\"5g1BssInfo\".bssMainChannel")" "100"
t_expect_eq "5 GHz band width" "$(t_json "$r" "$a.\"5g1BssInfo\".bssBW")" "160"
t_expect_eq "5 GHz channel range" "$(t_json "$r" "$a.\"5g1BssInfo\" | \"\(.bssStartChannel)-\(.bssEndChannel)\"")" "100-112"
t_expect_eq "6 GHz EHT" "$(t_json "$r" "$a.\"6gBssInfo\".bssEHT")" "1"
t_expect_eq "interfaces" "$(t_json "$r" "[$a.wifiIface[].ifaceInfo.ifaceName] | join(\",\")")" \
    "ath02,ath03,ath04,ath0,ath1,ath12,ath13,ath14,ath2,ath22"
t_expect_eq "ath0 MAC" "$(t_json "$r" "$a.wifiIface[3].ifaceInfo.ifaceMac")" "D46E0E7080B0"
t_expect_eq "ath0 VAPs" "$(t_json "$r" "$a.wifiIface[3].radioStat.radioNumOfVaps")" "4"
t_expect_eq "ath1 sent" "$(t_json "$r" "$a.wifiIface[4].ifaceStat.txPacket")" "2426954"
t_expect_eq "scan entries" "$(t_json "$r" "$a.wifiScanResult | length")" "1"

found=$(has_config_report)
t_expect_eq "mode" "$(t_json "$found" '.routerConfig.mode')" "Router"
t_expect_eq "WAN type" "$(t_json "$found" '.routerConfig.wanConfig.type')" "pppoe"
t_expect_eq "shield agent" "$(t_json "$found" '.routerConfig.shieldAgentVersion')" "4.0.1"
t_expect_eq "shield Guster" "$(t_json "$found" '.routerConfig.shieldGusterVersion')" "1.8.3"
t_expect_eq "Circle ID" "$(t_json "$found" '.routerConfig.circleV2CircleID')" "circle-5521"
t_expect_eq "main 6G mode" "$(t_json "$found" '.wifiConfig."main-6G"."main-6G-Config"."main-6G-Config-Mode"')" "Up to 11530 Mbps"
t_expect_eq "bhAP 5G channel" "$(t_json "$found" '.wifiConfig."bhAP-5G"."bhAP-5G-Config"."bhAP-5G-Config-Channel"')" "100"
t_expect_eq "radio region" "$(t_json "$found" '.wifiConfig."radio-2G"."radio-2G-Region"')" "US"
t_pass "wifiAnalytics event and routine configuration bodies received"
