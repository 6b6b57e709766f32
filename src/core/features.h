// Which optional firmware features this router carries, probed once at start.
#pragma once

struct Daemon;

void detect_features(Daemon& d);
