// Bounds this daemon keeps on what other programs hand it.
//
// Every file, nvram value, UCI table and tool output the daemon reads is written by
// some other program on the router, and the daemon runs for months on a small memory.
// Where the router's own conventions fix a size (a 128-byte command buffer, a 32-entry
// satellite cache, 128 attached devices) that size holds; the limits below cover what
// those conventions leave open. They are kept here, in one place, so that a reader
// finds every bound the daemon chose for itself.
#pragma once

#include <cstddef>

namespace limits {

// Whole-file reads (policy file, event files) refuse a file larger than this, and
// line-by-line reads of a tool's output stop once the lines kept take this much
// memory (text plus the bookkeeping of each line). The biggest file
// the daemon reads whole is a Wi-Fi event batch, far below it.
inline constexpr size_t kMaxInputFileBytes = 2 * 1024 * 1024;

// Only regular files are read. A FIFO, a device or a socket put where a file is
// expected is refused without opening it for blocking reads (the daemon is single
// threaded: one blocked read stops every report).

// Decimal numbers from nvram, files and tool outputs are parsed with saturation: a
// value beyond the range of the type it is kept in reads as the nearest bound, and a
// counter at its upper bound stays there instead of wrapping (platform/numbers.h).

// Satellite loops driven by nvram soapc_sat_access_count visit at most as many
// satellites as the satellite cache holds.
inline constexpr int kMaxSatellites = 32;

// Satellite voice analytics ("avsAnalytic"). Per satellite: as many satellites as the
// cache holds, a week of hourly records, 64 media entries a record. Those three alone
// would let one body reach 32 x 168 x 64 = 344,064 media entries, tens of megabytes,
// in a routine report that must stay under 128 KiB and that only sheds devices to get
// there. So the body as a whole also stops at a week of hourly records and as many
// media entries, taken in satellite, record and media order. Filled to both with
// values of the sizes satellites write, the body of 32 satellites prints to 85,771
// bytes (84 KiB). A satellite met after the records ran out still reports its identity
// and record count, with an empty "record" list.
inline constexpr int kMaxVoiceSatellites = kMaxSatellites;
inline constexpr int kMaxVoiceRecordsPerSatellite = 168;
inline constexpr int kMaxVoiceMediaPerRecord = 64;
inline constexpr int kMaxVoiceRecordsPerBody = 168;
inline constexpr int kMaxVoiceMediaPerBody = 168;

// Every report file name must reach the copy command whole: a hardware version that
// would not fit the 128-byte copy command is refused with a message and no copy is
// made (never a copy under a cut name).

// UCI sections of 64 options or more index their options by name, so a table with
// tens of thousands of options parses in linear time; smaller sections (the device
// tables hold about 30 a section) are searched in order and take no index memory.

}  // namespace limits
