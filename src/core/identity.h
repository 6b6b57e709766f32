// The router's identity: firmware version, MAC address, serial number, SKU.
#pragma once

struct Daemon;

// Acquires the identity into the collection record, with retries, and leaves the
// one-line logs under /tmp/router-analytics.
void acquire_identity(Daemon& d);
