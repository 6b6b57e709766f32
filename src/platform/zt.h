// The daemon's wrappers around the `zt` configuration-database tool. Keys look like
// "qagentcfg[0].q_agent_id"; values are read and written only through /usr/bin/zt.
#pragma once

#include <string>
#include <string_view>

// The value of `key` in `value_out` (always cleared first; at most 511 characters, up
// to the first newline of the tool's output). 1 when the tool ran and its output file
// could be opened, even if it was empty; 0 when /usr/bin/zt is missing, the key is
// empty, or the key is not fit for a command line.
int ovraZTConfig_get(std::string_view key, std::string& value_out);

// Runs "zt -c <key> <value>" after printing the trace line. 1 once the command ran
// (its exit status is not looked at); 0 when /usr/bin/zt is missing, the key is empty,
// or key or value are not fit for a command line.
int ovraZTConfig_set(std::string_view key, std::string_view value);

// Nonzero when the value of `key` could be read and begins with `wanted`; an empty
// `wanted` matches every value that could be read.
int ovraZTConfig_match(std::string_view key, std::string_view wanted);
