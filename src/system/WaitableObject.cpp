#include "system/WaitableObject.h"

#include "system/Waiter.h"

namespace LCommon::System {

bool WaitableObject::Wait(unsigned int timeout, unsigned int alertable) {
  return Waiter(LPtrRef<WaitableObject>::Share(this)).Wait(timeout, 1, alertable).Valid();
}

}  // namespace LCommon::System
