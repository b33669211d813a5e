#pragma once

#include "drivermanagement/ComplexObject.h"

namespace DriverManagement::ProjectSpecific {

/// Every managed component: the removal service and, behind it, the six drivers in the catalogue's order, so
/// that a removal, which goes from the last to the first, comes to the service when all drivers have been
/// dealt with.
class Accumulation : public BaseIndependedComplexObject {
 public:
  Accumulation();
};

/// The removal check: has every managed driver expired? Takes no lock, changes nothing, and throws what the
/// layers below throw.
bool CanRemoveNow();

/// The removal pass: removes, under the installation lock, every managed component that no claim keeps. What
/// cannot be done now is left to the next pass: a failure ends this one quietly, and no `LBaseException`
/// leaves it.
void RemoveExpired();

}  // namespace DriverManagement::ProjectSpecific
