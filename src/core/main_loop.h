// The daemon body: start-up after the command line, then endless passes of about ten
// minutes. Each piece is its own function so a test can drive passes on the fake
// clock.
#pragma once

struct Daemon;

// Never returns.
[[noreturn]] void start_telemjson_deamon(Daemon& d);

// Identity, feature flags, first-report time, first-run mark, internet probe, policy.
void prepare_daemon(Daemon& d);
// One pass: first-report time, WAN gate, collection and reports, then one of the three
// waits (retry, watch phase, backing off).
void run_pass(Daemon& d);
// The collection and report steps of a pass with analytics enabled.
void collect_current_info(Daemon& d);
// Up to 120 ticks of 5 seconds watching alarms and trigger files.
void watch_phase(Daemon& d);
// Restarts telem_heartbeat when it is not running.
void supervise_heartbeat();
// Samples /proc/meminfo into the collection record and runs the memory alarm timer;
// true when a memory alarm was counted.
bool sample_memory(Daemon& d);
// Overall CPU load and the CPU alarm timer.
// True when a CPU alarm was counted.
bool check_cpu_alarm(Daemon& d);
// Per-core CPU usage of this pass.
void sample_cpu_cores(Daemon& d);
// True when the WAN counts as up for this pass.
bool wan_is_up(const Daemon& d);
