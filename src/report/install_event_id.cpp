#include "report/install_event_id.h"

#include <cstdlib>
#include <string>

#include "platform/platform.h"

namespace {
constexpr const char* kInstallEventIdKey = "RAE_installEventId";
}

int advance_install_event_id() {
    const std::string current = ovraNvramConfig_get(kInstallEventIdKey);
    // atoi semantics: a non-number counts as 0. The sum is formed wide and kept to
    // the int the key has always held.
    const long long next = current.empty() ? 1 : std::strtoll(current.c_str(), nullptr, 10) + 1;
    const int value = static_cast<int>(next);
    ovraNvramConfig_set(kInstallEventIdKey, std::to_string(value));
    return value;
}
