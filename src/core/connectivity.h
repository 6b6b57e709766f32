// Internet and gateway reachability after each pass, counted for the router
// information report (one failed test stands for one ten-minute pass).
#pragma once

#include <string>

struct Daemon;

// 0 when `host` answered (or the test is held off), 1 when it failed or could not be
// made, -1 when the result could not be read.
int check_connection(Daemon& d, const std::string& host);
void check_internet_and_gateway(Daemon& d);
