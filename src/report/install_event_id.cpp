#include "report/install_event_id.h"

#include <string>

#include "platform/numbers.h"
#include "platform/platform.h"

namespace {
constexpr const char* kInstallEventIdKey = "RAE_installEventId";
}

int advance_install_event_id() {
    const std::string current = ovraNvramConfig_get(kInstallEventIdKey);
    // atoi semantics: a non-number counts as 0. The key has always held an int; a
    // value beyond it reads as INT_MAX, and the identifier stays there rather than wrap.
    const int value =
        current.empty() ? 1 : numbers::increment_saturated(numbers::parse_int(current));
    ovraNvramConfig_set(kInstallEventIdKey, std::to_string(value));
    return value;
}
