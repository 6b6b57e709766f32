// The mesh topology dump (/tmp/net_scan.log, the "QCA IEEE 1905.1 device" text the
// mesh stack writes) turned into the JSON document /tmp/telem_net_scan_json that the
// satellite report reads.
//
// The dump is read the way the router reads it: line by line with a 512-byte buffer,
// so a longer line arrives in pieces, and a line ends at its first NUL byte. Section
// headings are recognised by fixed texts and table rows by splitting on blanks and
// tabs; every other line is ignored. Nothing in the dump is trusted: any line, of any
// length or content, gives at worst a member with an empty value.
#pragma once

#include <string_view>

#include "json/json.h"

inline constexpr const char* kNetScanLog = "/tmp/net_scan.log";
inline constexpr const char* kNetScanBackup = "/tmp/telem_net_scan_bak";
inline constexpr const char* kNetScanJson = "/tmp/telem_net_scan_json";

struct NetScanResult {
    int rc = -1;     // 0: document built; -1: the dump has no database count
    json::Ptr root;  // "Basic" and "Satellite"; null when rc is -1
};

// Parses a whole dump given as text (the entry point of the parser's fuzz target).
NetScanResult parse_net_scan(std::string_view dump);

// Copies the dump to /tmp/telem_net_scan_bak, parses it and writes the document to
// /tmp/telem_net_scan_json. -1 without output when the dump cannot be opened or has no
// database count; 0 otherwise (a failed write is logged).
int netlog_create_json();
