// The install event identifier: nvram RAE_installEventId, advanced after every upload
// that AWS IoT accepted, so that each install event carries a fresh "id".
#pragma once

// Sets RAE_installEventId to 1 when it is empty, otherwise to its decimal value plus 1,
// and returns the new value.
int advance_install_event_id();
