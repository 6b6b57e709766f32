// The daemon body: start-up after the command line, then endless passes.
#pragma once

struct Daemon;

// Never returns.
[[noreturn]] void start_telemjson_deamon(Daemon& d);
