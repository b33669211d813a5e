#pragma once

#include "foundation/Exception.h"
#include "foundation/UnicodeString.h"

namespace DriverManagement {

// Starting and stopping what the service control manager runs, drivers as well as processes. Nothing is
// waited for and nothing is asked twice. Failures not named pass as exceptions of
// `LCommon::System::ServiceControl`.

/// Starts the service `name`; one that runs already is left running.
void StartByName(LUnicodeString name);

/// Stops the service `name`; one that does not run is left so. A service that accepts the request but is
/// still stopping is in use: `BaseObject::UsageConflictException` from `location`.
void StopByName(LUnicodeString name, LLocation location);

}  // namespace DriverManagement
