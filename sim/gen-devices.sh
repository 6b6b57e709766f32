#!/bin/sh
# gen-devices.sh ROOT ONLINE OFFLINE
#
# Writes the device-tracking tables of a crowded home into the router root ROOT:
#
#   /tmp/devices                                       the ONLINE attached clients
#   /opt/cache/system/device-info-table/devices        every known MAC with its conndevice
#   /opt/cache/system/device-info-table/knowndevices   ONLINE + OFFLINE clients, with
#                                                      customisation flags and defaults
#   /.sim/answers/swconfig/switch0.arl                 the switch's address table, with
#                                                      every wired client on a LAN port
#
# The two satellites of the VRE650 scenarios (94A67E203040, attached; 94A67E304050,
# backhaul down) are kept in the tables so that the satellite report stays the same.
#
# Devices are drawn, in turn, from the profile catalogue below (one line per kind of
# device: the name the household gives it, its model, types, brand, vendor, OS, band,
# DHCP fingerprint and HTTP user agent) and owned, in turn, by the people listed in
# OWNERS. Everything follows from the device number, so the same arguments always give
# the same files. Client i (from 0) gets a MAC made of its profile's OUI, a byte naming
# its band and i*37+11 in two bytes (see mac_of()), the address 192.168.1.(20+i), and a
# signal and link rate that depend on its band and number. Clients 0 .. ONLINE-1 are
# online; the OFFLINE ones after them exist only in knowndevices, with devConnStat "0".
set -eu

[ $# -eq 3 ] || {
    echo "usage: gen-devices.sh ROOT ONLINE OFFLINE" >&2
    exit 1
}
root=$1 online=$2 offline=$3
[ -d "$root" ] || {
    echo "gen-devices: no router root $root" >&2
    exit 1
}
case "$online$offline" in *[!0-9]*)
    echo "gen-devices: ONLINE and OFFLINE are device counts" >&2
    exit 1
    ;;
esac
[ $((online + offline)) -le 230 ] || {
    echo "gen-devices: at most 230 clients fit the 192.168.1.0/24 plan" >&2
    exit 1
}

mkdir -p "$root/tmp" "$root/opt/cache/system/device-info-table" "$root/.sim/answers/swconfig"

# Profile fields, "|"-separated:
#  1 household name (the owner's name is put before it when it starts with "~")
#  2 hostname the device sends (DHCP option 12)     3 model (user-facing)
#  4 router type name (QRVX)   5 its index           6 Fing type   7 Fing model
#  8 brand   9 MAC vendor   10 OS   11 OS version   12 OUI (6 hex digits)
# 13 bands it uses, tried in turn per device: W wired, 2 2.4 GHz, 5 5 GHz, 6 6 GHz,
#    G 2.4 GHz guest, H 5 GHz guest
# 14 DHCP fingerprint (option 55 list)   15 HTTP user agent ("-" for none)
awk -v online="$online" -v offline="$offline" -v root="$root" -F'|' '
function q(s) { gsub(/\047/, "\047\\\047\047", s); return "\047" s "\047" }
function opt(f, key, val) { printf "\toption %s %s\n", key, q(val) > f }
function hex2(n) { return sprintf("%02X", n % 256) }
# Device i: the profile OUI, then a byte for the band group and two bytes from the
# number (i*37+11 is unique for every i below 1771).
function mac_of(i, oui, band,   n) {
    n = (i * 37 + 11) % 65536
    return oui hex2(index("W256GH", band) * 16 + 3) hex2(int(n / 256)) hex2(n)
}
function colon(m) {
    return substr(m,1,2) ":" substr(m,3,2) ":" substr(m,5,2) ":" substr(m,7,2) ":" substr(m,9,2) ":" substr(m,11,2)
}
function connection_of(band) {
    if (band == "W") return "wired"
    if (band == "2") return "2.4GHz Wireless"
    if (band == "5") return "5GHz Wireless"
    if (band == "6") return "6GHz Wireless"
    if (band == "G") return "2.4GHz Guest Network"
    return "5GHz Guest Network"
}
# One client section. which: "live" (/tmp/devices) or "known" (knowndevices).
function client(f, which, i, is_online,   p, F, n, band, owner, name, host, m, rssi, rate, sat, userdef) {
    p = (i % nprof) + 1
    split(prof[p], F, "|")
    n = length(F[13]); band = substr(F[13], (int(i / nprof) % n) + 1, 1)
    owner = owners[(i % nowners) + 1]
    name = F[1]; host = F[2]
    if (substr(name, 1, 1) == "~") { name = owner "\047s " substr(name, 2); host = owner "s-" host; gsub(/ /, "", host) }
    if (!is_online) { name = name " (old)"; host = host "-old" }
    m = mac_of(i, F[12], band)
    # the satellite in the living room serves every third wireless client
    sat = (band != "W" && i % 3 == 1) ? "94A67E203040" : "Vyro Router"
    # one client in four has been renamed by the household in the app
    userdef = (i % 4 == 0)
    printf "\nconfig device %s\n", q(m) > f
    opt(f, "mac", colon(m))
    opt(f, "ip", "192.168.1." (20 + i))
    opt(f, "name", host)
    opt(f, "connection", connection_of(band))
    if (band != "W") {
        rssi = (band == "2" || band == "G") ? 28 + (i * 7) % 30 : 40 + (i * 11) % 28
        rate = (band == "6") ? "2401.9" : (band == "5" || band == "H") ? ((i % 2) ? "1200.9" : "866.7") : ((i % 2) ? "144.4" : "72.2")
        opt(f, "fronthaulRSSI", rssi)
        opt(f, "linkSpeed", rate)
    }
    opt(f, "type", F[4] "(" F[5] ")")
    opt(f, "model", F[3])
    opt(f, "connectedVyro", sat)
    opt(f, "devConnStat", is_online ? "1" : "0")
    if (userdef) opt(f, "devNameUser", name)
    opt(f, "devNameQrvx", host)
    opt(f, "devDPIName", F[7])
    if (i % 10 == 3) { opt(f, "devTypeNameByUser", F[4]); opt(f, "devTypeIndexByUser", F[5]) }
    opt(f, "devTypeNameByQRVX", F[4])
    opt(f, "devTypeIndexByQRVX", F[5])
    opt(f, "devMByFing", F[7])
    if (i % 10 == 7) opt(f, "devMByUser", F[3] " (" owner ")")
    opt(f, "devBrandByFing", F[8])
    opt(f, "devMacVendor", F[9])
    opt(f, "devOSByFing", F[10])
    opt(f, "devOSVerByFing", F[11])
    opt(f, "detectEngine", "fing")
    opt(f, "devTByFing", F[6])
    opt(f, "devDhcpOpts", F[14])
    opt(f, "devUsragent", F[15] == "-" ? "" : F[15])
    if (which == "known") {
        opt(f, "customizationName", userdef ? "1" : "0")
        opt(f, "customizationType", (i % 10 == 3) ? "1" : "0")
        opt(f, "customizationModel", (i % 10 == 7) ? "1" : "0")
        opt(f, "defaultName", F[7])
        opt(f, "defaultModel", F[7])
        opt(f, "defaultType", F[4])
    }
    macs[i] = m
    if (band == "W" && which == "live") arl = arl sprintf("MAC: %s PORTMAP: 0x%02x VID: 0x1 STATUS: 0x2\n", tolower(colon(m)), (i % 2) ? 4 : 16)
}
function satellite(f, which, m, name, room, bh, count, dur, all, sn, fw) {
    printf "\nconfig device %s\n", q(m) > f
    opt(f, "mac", colon(m)); opt(f, "ip", (m == "94A67E203040") ? "192.168.1.2" : "192.168.1.3")
    opt(f, "name", name); opt(f, "devnamedefault", room); opt(f, "model", "VRS650")
    opt(f, "conndevice", "satellite"); opt(f, "connection", "5GHz Wireless")
    opt(f, "connectedVyro", "Vyro Router"); opt(f, "backhaulStatus", bh)
    opt(f, "bhDisconnectTime", "0"); opt(f, "bhDisconnectCount", count)
    opt(f, "bhDisconnectDuration", dur); opt(f, "bhDisconnectAllTime", all)
    opt(f, "devConnStat", "1"); opt(f, "SN", sn); opt(f, "fwVersion", fw)
    if (which == "known") {
        opt(f, "customizationName", "0"); opt(f, "customizationType", "0"); opt(f, "customizationModel", "0")
        opt(f, "defaultName", name); opt(f, "defaultModel", ""); opt(f, "defaultType", "")
    }
}
function satellites(f, which) {
    satellite(f, which, "94A67E203040", "VRS650-Living", "Living Room", "Good", "2", "0", "95", "6VS650B0004321", "V1.0.4.86_1.0.80")
    satellite(f, which, "94A67E304050", "VRS650-Office", "Office", "Disconnected", "1", "1260", "0", "6VS650B0004777", "V1.0.4.80_1.0.78")
}
function lists(f, count,   i) {
    printf "config lists \047lists\047\n" > f
    for (i = 0; i < count; i++) printf "\tlist mac %s\n", q(macs[i]) > f
    printf "\tlist mac \04794A67E203040\047\n\tlist mac \04794A67E304050\047\n" > f
}
/^#/ || NF == 0 { next }
$1 == "@owners" { section = "owners"; next }
$1 == "@profiles" { section = "profiles"; next }
section == "owners" { owners[++nowners] = $1; next }
section == "profiles" { prof[++nprof] = $0; next }
END {
    live = root "/tmp/devices"
    known = root "/opt/cache/system/device-info-table/knowndevices"
    cache = root "/opt/cache/system/device-info-table/devices"
    total = online + offline
    # Sections first into temporary files (the MAC lists head each package).
    for (i = 0; i < online; i++) client(live ".body", "live", i, 1)
    satellites(live ".body", "live")
    for (i = 0; i < total; i++) client(known ".body", "known", i, i < online)
    satellites(known ".body", "known")
    lists(live, online)
    lists(known, total)
    lists(cache, total)
    for (i = 0; i < total; i++) {
        printf "\nconfig device %s\n", q(macs[i]) > cache
        opt(cache, "mac", colon(macs[i])); opt(cache, "conndevice", "client")
    }
    printf "\nconfig device \04794A67E203040\047\n\toption mac \04794:A6:7E:20:30:40\047\n\toption conndevice \047satellite\047\n" > cache
    printf "\nconfig device \04794A67E304050\047\n\toption mac \04794:A6:7E:30:40:50\047\n\toption conndevice \047satellite\047\n" > cache
    printf "%s", "MAC: 94:a6:7e:20:30:40 PORTMAP: 0x20 VID: 0x1 STATUS: 0x2\n" arl > root "/.sim/answers/swconfig/switch0.arl"
    close(live ".body"); close(known ".body")
}
' <<'CATALOGUE'
@owners
Emma
Liam
Olivia
Noah
Sophia
Lucas
Grandma Rose
Mateo
@profiles
~iPhone 15 Pro Max|iPhone|iPhone 15 Pro Max|iPhone|17|Mobile|iPhone 15 Pro Max|Apple|Apple, Inc.|iOS|17.5.1|A4C3F0|56|1,121,3,6,15,108,114,119,252,95,44,46|Mozilla/5.0 (iPhone; CPU iPhone OS 17_5_1 like Mac OS X) AppleWebKit/605.1.15 (KHTML, like Gecko) Version/17.5 Mobile/15E148 Safari/604.1
~Galaxy S24 Ultra|Galaxy-S24-Ultra|Galaxy S24 Ultra SM-S928U|Android Phone|3|Mobile|Galaxy S24 Ultra|Samsung|Samsung Electronics Co.,Ltd|Android|14|2C15BF|65|1,3,6,15,26,28,51,58,59,43,114,108|Mozilla/5.0 (Linux; Android 14; SM-S928U Build/UP1A.231005.007; wv) AppleWebKit/537.36 (KHTML, like Gecko) Version/4.0 Chrome/125.0.6422.165 Mobile Safari/537.36
~MacBook Pro 16-inch M3 Max|MacBook-Pro|MacBook Pro (16-inch, Nov 2023)|Mac Book|22|Laptop|MacBook Pro 16 M3 Max|Apple|Apple, Inc.|macOS|14.5 Sonoma|F4D488|65|1,121,3,6,15,108,114,119,252,95,44,46|Mozilla/5.0 (Macintosh; Intel Mac OS X 10_15_7) AppleWebKit/605.1.15 (KHTML, like Gecko) Version/17.5 Safari/605.1.15
~Gaming PC (RTX 4090 build)|DESKTOP-7QK2M4R|ROG Strix G16CHR Gaming Desktop|Windows PC|38|Computer|ROG Strix G16CH|ASUS|ASUSTek COMPUTER INC.|Windows|11 Pro 23H2|F0B2B9|W5|1,3,6,15,31,33,43,44,46,47,119,121,249,252|Mozilla/5.0 (Windows NT 10.0; Win64; x64) AppleWebKit/537.36 (KHTML, like Gecko) Chrome/126.0.0.0 Safari/537.36 Edg/126.0.2592.68
Living Room Samsung Neo QLED 8K TV|Samsung-QN900C|Neo QLED 8K QN900C 75-inch|TV|35|Television|QN75QN900CFXZA|Samsung|Samsung Electronics Co.,Ltd|Tizen|7.0|8C7712|5W|1,3,6,12,15,28,42,121|Mozilla/5.0 (SMART-TV; LINUX; Tizen 7.0) AppleWebKit/537.36 (KHTML, like Gecko) 94.0.4606.31/7.0 TV Safari/537.36
Kitchen Echo Show 8 (3rd Gen)|amazon-echo-show|Echo Show 8 (3rd Gen, 2023)|Smart Speaker|58|Smart Speaker|Echo Show 8 3rd Gen|Amazon|Amazon Technologies Inc.|Fire OS|7.3.2.9|44650D|2G|1,3,6,12,15,28,42|Mozilla/5.0 (Linux; Android 9; AEUCH Build/PS7633.3445N; wv) AppleWebKit/537.36 (KHTML, like Gecko) Version/4.0 Chrome/124.0.6367.179 Mobile Safari/537.36 Silk/124.4.3
Nest Learning Thermostat (Hallway)|Nest-Thermostat-4F2A|Nest Learning Thermostat (3rd gen)|Thermostat|61|Thermostat|Nest Learning Thermostat 3|Google|Nest Labs Inc.|Nest OS|6.2-7|18B430|2|1,3,6,12,15,28,42,121|-
Front Door Ring Video Doorbell Pro 2|RingDoorbell-9a|Ring Video Doorbell Pro 2|Camera|9|IP Camera|Ring Video Doorbell Pro 2|Ring|Ring LLC|Ring OS|1.4.27|34B4A3|2G|1,3,6,12,15,28,42|-
~iPad Pro 12.9-inch (6th generation)|iPad|iPad Pro 12.9-inch (6th generation) Wi-Fi|iPad|14|Tablet|iPad Pro 12.9 6th gen|Apple|Apple, Inc.|iPadOS|17.5.1|DC5285|56|1,121,3,6,15,108,114,119,252,95,44,46|Mozilla/5.0 (iPad; CPU OS 17_5_1 like Mac OS X) AppleWebKit/605.1.15 (KHTML, like Gecko) Version/17.5 Mobile/15E148 Safari/604.1
PlayStation 5 Digital Edition (Family Room)|PS5-Family|PlayStation 5 Digital Edition CFI-1215B|Gaming Console|12|Game Console|PlayStation 5|Sony|Sony Interactive Entertainment Inc.|PlayStation OS|24.04-09.40.00|00D9D1|W5|1,3,6,15,28,33,42,121|Mozilla/5.0 (PlayStation; PlayStation 5/2.26) AppleWebKit/605.1.15 (KHTML, like Gecko)
Office HP Color LaserJet Pro MFP 4301fdw|HP4301FDW-8C21E4|Color LaserJet Pro MFP 4301fdw|Printer|27|Printer|Color LaserJet Pro MFP 4301|HP|HP Inc.|HP FutureSmart|5.7.1.2|7C4D8F|W2|1,3,6,12,15,28,44,81,119,252|-
~Pixel 8 Pro|Pixel-8-Pro|Pixel 8 Pro|Android Phone|3|Mobile|Pixel 8 Pro|Google|Google, Inc.|Android|14|605718|56|1,3,6,15,26,28,51,58,59,43,114,108|Mozilla/5.0 (Linux; Android 14; Pixel 8 Pro Build/AP2A.240605.024; wv) AppleWebKit/537.36 (KHTML, like Gecko) Version/4.0 Chrome/126.0.6478.71 Mobile Safari/537.36
Synology DiskStation DS923+ (Backups)|DS923plus|DiskStation DS923+|Storage NAS|33|NAS|DS923+|Synology|Synology Incorporated|DSM|7.2.1-69057 Update 5|001132|W|1,3,6,12,15,28,42,119,121|Mozilla/5.0 (X11; Linux x86_64) Synology/DSM 7.2.1 curl/8.4.0
Bedroom Apple TV 4K (3rd generation)|Apple-TV-Bedroom|Apple TV 4K (3rd generation) Wi-Fi + Ethernet|Apple TV|41|Media Player|Apple TV 4K 3rd gen|Apple|Apple, Inc.|tvOS|17.5|90DD5D|5W|1,121,3,6,15,108,114,119,252,95,44,46|AppleCoreMedia/1.0.0.21L569 (Apple TV; U; CPU OS 17_5 like Mac OS X; en_us)
~Surface Laptop 6 for Business|SURFACE-LT6|Surface Laptop 6 15-inch|Surface|39|Laptop|Surface Laptop 6|Microsoft|Microsoft Corporation|Windows|11 Enterprise 23H2|C49DED|65|1,3,6,15,31,33,43,44,46,47,119,121,249,252|Mozilla/5.0 (Windows NT 10.0; Win64; x64) AppleWebKit/537.36 (KHTML, like Gecko) Chrome/126.0.0.0 Safari/537.36 Edg/126.0.2592.87
Garage Chamberlain myQ Smart Garage Hub|myQ-GDO-7B1|myQ Smart Garage Control MYQ-G0401|Smart Home Hub|63|Smart Home|myQ Smart Garage Hub|Chamberlain|The Chamberlain Group, Inc.|Embedded Linux|5.1.11|64524F|2|1,3,6,12,15,28|-
~Nintendo Switch OLED|Nintendo-Switch|Nintendo Switch OLED Model HEG-001|Gaming Console|12|Game Console|Nintendo Switch OLED|Nintendo|Nintendo Co.,Ltd|Horizon|18.1.0|98B6E9|52|1,3,6,15,28,33|Mozilla/5.0 (Nintendo Switch; WifiWebAuthApplet) AppleWebKit/609.4 (KHTML, like Gecko) NF/6.0.3.25.0 NintendoBrowser/5.1.0.32061
Patio Sonos Era 300 Speaker|Sonos-Era300-Patio|Sonos Era 300|Smart Speaker|58|Speaker|Sonos Era 300|Sonos|Sonos, Inc.|Sonos S2|16.2|5CAAFD|5|1,3,6,12,15,28,42,121|Linux UPnP/1.0 Sonos/80.1-55014 (ZPS41)
Nursery Nanit Pro Baby Monitor Camera|Nanit-Cam-0c|Nanit Pro Camera N301|Camera|9|IP Camera|Nanit Pro|Nanit|Udisense Inc.|Embedded Linux|3.2.14|E0E2E6|2|1,3,6,12,15,28,42|-
~Kindle Paperwhite Signature Edition|kindle|Kindle Paperwhite Signature Edition (11th Gen)|Amazon Kindle|1|E-reader|Kindle Paperwhite 5|Amazon|Amazon Technologies Inc.|Kindle OS|5.16.21.0.1|FC65DE|2|1,3,6,15,28,33,42|Mozilla/5.0 (X11; U; Linux armv7l like Android; en-us) AppleWebKit/531.2+ (KHTML, like Gecko) Version/5.0 Safari/531.2+ Kindle/3.0+
Study Dell OptiPlex 7010 Micro Workstation|OPTIPLEX-7010|OptiPlex 7010 Micro Form Factor|Windows PC|38|Computer|OptiPlex 7010 Micro|Dell|Dell Inc.|Windows|11 Pro 23H2|F01898|W|1,3,6,15,31,33,43,44,46,47,119,121,249,252|Mozilla/5.0 (Windows NT 10.0; Win64; x64) AppleWebKit/537.36 (KHTML, like Gecko) Chrome/126.0.0.0 Safari/537.36
Basement Raspberry Pi 5 Home Assistant|homeassistant|Raspberry Pi 5 Model B Rev 1.0 8GB|Linux PC|19|Single Board Computer|Raspberry Pi 5|Raspberry Pi|Raspberry Pi Trading Ltd|Home Assistant OS|12.4|D83ADD|W5|1,3,6,12,15,26,28,42,51,54,58,59,119,121|HomeAssistant/2024.7.1 aiohttp/3.9.5 Python/3.12
Backyard Arlo Pro 5S 2K Spotlight Camera|Arlo-VMC4060P-3f|Arlo Pro 5S 2K VMC4060P|Camera|9|IP Camera|Arlo Pro 5S|Arlo|Arlo Technologies, Inc.|Arlo OS|1.130.2.5|A41162|2|1,3,6,12,15,28,42|-
~Apple Watch Ultra 2|Apple-Watch|Apple Watch Ultra 2 (GPS + Cellular, 49mm)|Smart Watch|64|Watch|Apple Watch Ultra 2|Apple|Apple, Inc.|watchOS|10.5|BC9FEF|25|1,121,3,6,15,108,114,119,252,95,44,46|atc/1.0 watchOS/10.5 model/Watch7,5 hwp/t8310 build/21T576 (6; dt:291)
Dining Room Philips Hue Bridge v2|Philips-hue|Hue Bridge BSB002|Smart Home Hub|63|Smart Home|Hue Bridge v2|Philips Hue|Signify Netherlands B.V.|Hue OS|1965111030|001788|W|1,3,6,15,28,42|hue-bridge/1.65.1965111030 (BSB002; Signify)
Kitchen LG InstaView Smart Refrigerator|LG_Smart_Refrigerator2_5F|InstaView Door-in-Door LRMVS3006S|Smart Appliance|65|Appliance|LG InstaView ThinQ|LG|LG Electronics (Mobile Communications)|webOS|ThinQ 3.0|A8231F|2|1,3,6,12,15,28,42|-
~ThinkPad X1 Carbon Gen 12 (work)|X1C12-CORP|ThinkPad X1 Carbon Gen 12 21KC|Windows PC|38|Laptop|ThinkPad X1 Carbon Gen 12|Lenovo|LCFC(HeFei) Electronics Technology co., ltd|Windows|11 Enterprise 23H2|8C1645|56H|1,3,6,15,31,33,43,44,46,47,119,121,249,252|Mozilla/5.0 (Windows NT 10.0; Win64; x64) AppleWebKit/537.36 (KHTML, like Gecko) Chrome/126.0.0.0 Safari/537.36
Upstairs Chromecast with Google TV (4K)|Chromecast-GTV|Chromecast with Google TV (4K) GZRNL|Chromcast|43|Media Player|Chromecast with Google TV|Google|Google, Inc.|Google TV|12|F80FF9|5|1,3,6,15,26,28,51,58,59,43|Mozilla/5.0 (Linux; Android 12; Chromecast Build/STTE.230319.008.R3) AppleWebKit/537.36 (KHTML, like Gecko) Chrome/114.0.5735.196 Safari/537.36 CrKey/1.56.500000
Laundry Room TP-Link Kasa Smart Plug HS103|HS103-Laundry|Kasa Smart Wi-Fi Plug Lite HS103|Smart Plug|62|Smart Plug|Kasa HS103|TP-Link|TP-LINK TECHNOLOGIES CO.,LTD.|Embedded|1.0.12 Build 230413|5091E3|2|1,3,6,12,15,28,42|-
~Galaxy Tab S9 FE|Galaxy-Tab-S9-FE|Galaxy Tab S9 FE SM-X510|Android Tablet|4|Tablet|Galaxy Tab S9 FE|Samsung|Samsung Electronics Co.,Ltd|Android|14|286C07|5G|1,3,6,15,26,28,51,58,59,43,114,108|Mozilla/5.0 (Linux; Android 14; SM-X510 Build/UP1A.231005.007; wv) AppleWebKit/537.36 (KHTML, like Gecko) Version/4.0 Chrome/125.0.6422.165 Safari/537.36
Home Office Yealink T54W VoIP Desk Phone|SIP-T54W|Yealink SIP-T54W Prime Business Phone|VoIP|50|VoIP Phone|Yealink SIP-T54W|Yealink|Yealink (Xiamen) Network Technology Co.,Ltd.|Yealink OS|96.86.0.70|805EC0|W|1,2,3,6,12,15,28,42,43,66,120,125,160|Yealink SIP-T54W 96.86.0.70 80:5e:c0:00:00:00
Roborock S8 MaxV Ultra Robot Vacuum|roborock-vacuum-a97|Roborock S8 MaxV Ultra|Robot Vacuum|66|Vacuum|Roborock S8 MaxV Ultra|Roborock|Beijing Roborock Technology Co., Ltd.|Embedded Linux|02.04.82|B04A39|2|1,3,6,12,15,28,42|-
Xbox Series X (Teen Room)|XboxSeriesX-Teen|Xbox Series X 1TB|Gaming Console|12|Game Console|Xbox Series X|Microsoft|Microsoft Corporation|Xbox OS|10.0.25398.4909|7CED8D|5W6|1,3,6,15,31,33,43,44,46,47,119,121,249,252|Mozilla/5.0 (Windows NT 10.0; Win64; x64; Xbox; Xbox Series X) AppleWebKit/537.36 (KHTML, like Gecko) Chrome/126.0.0.0 Safari/537.36 Edge/44.18363.8131
CATALOGUE

for f in "$root/tmp/devices" "$root/opt/cache/system/device-info-table/knowndevices"; do
    cat "$f.body" >>"$f"
    rm -f "$f.body"
done
