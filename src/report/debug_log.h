// Debug-log events: small JSON documents this agent drops into the DAL analytics
// folder, from where telem_heartbeat forwards them. Two collectors produce them: the
// satellite setup notifications kept in the zt database (satNotify) and the SOAP API
// results the router's SOAP service leaves in /tmp/soap/ra.
#pragma once

#include <string>
#include <string_view>

#include "json/json.h"

inline constexpr const char* kDbgLogStagingFile = "/tmp/telem_dbglog_file";
inline constexpr const char* kDalRaFolderKey = "DalRaFolderPath.dalRaMemoryPath";
inline constexpr const char* kDefaultDalRaFolder = "/tmp/event_ra";
inline constexpr const char* kSatelliteSetupFile =
    "/opt/cache/system/ztd/ztd/SatelliteSetupInfo.000.json";
inline constexpr const char* kSoapResultDir = "/tmp/soap/ra";
inline constexpr int kDbgLogEventType = 10;
// Satellite setup statuses are kept to this many characters.
inline constexpr size_t kSatStatusMax = 31;
// Longest detectWANType_dbgarg2 text taken as argument 2.
inline constexpr size_t kDetectWanArg2Max = 2047;

// The texts of one debug-log entry.
struct DbgLogFields {
    std::string type;
    std::string level;
    std::string source;
    std::string summary;
    std::string message;
    std::string arg1;
    std::string arg2;
};

// "yes" when nvram ntp_sync_status is "0"; else "Cloud" when time_state is "Cloud";
// else "no".
std::string ntp_result();

// Message-object variant: "dbgMsg" is `message` (left out when null), "dbgArg1" the
// text of `f.arg1`. The object becomes part of the document.
json::Ptr create_dbglog_msg_event(const DbgLogFields& f, json::Ptr message);
// Argument-object variant: "dbgMsg" is the text of `f.message`, "dbgArg1" is `arg1`
// (left out when null).
json::Ptr create_dbglog_arg_event(const DbgLogFields& f, json::Ptr arg1);

// The DAL analytics folder from zt, asked up to three times 10 seconds apart, else
// /tmp/event_ra.
std::string get_dal_ra_folder();

// Hands `doc` to the DAL folder under `file_name` (an empty name keeps the staging
// file's own). A non-empty `source` must be allowed by the policy's dbgLogsPolicy.
// 0 when the move was run, -1 when the event was not handed over.
int move_dbglog_file(const cJSON* doc, std::string_view source, std::string_view file_name);

// "Success" when the result carries a good response code for `api`, else "Fail".
void soap_result_check(const cJSON* result, std::string_view api, std::string& out);

// The satellite setup notification collector.
void satNotify();
// The SOAP API result collector: one event per result file, then the folder emptied.
void soap_api_event();
