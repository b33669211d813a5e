#include "app/AutoRemoval.h"

#include "components/DriverCatalogue.h"
#include "components/RemovalService.h"
#include "drivermanagement/Lock.h"
#include "system/Wow64FsRedirection.h"

namespace DriverManagement::ProjectSpecific {

using LCommon::System::Wow64FsRedirectionDisabler;

Accumulation::Accumulation() {
  Add(LMakeRef<SelfManager>(LMakeRef<NullPeModuleContainer>()));
  AddDriverManagers(*this);
}

bool CanRemoveNow() {
  const Wow64FsRedirectionDisabler realSystemDirectory;
  return LMakeRef<SelfManager>(LMakeRef<NullPeModuleContainer>())->IsExpired() != 0;
}

void RemoveExpired() {
  try {
    const Locker locker(LMakeRef<Lock>());
    const Wow64FsRedirectionDisabler realSystemDirectory;
    LMakeRef<Accumulation>()->Purge(1);
  } catch (const LBaseException&) {
    // Nobody waits for an answer; the next start of the system tries again.
  }
}

}  // namespace DriverManagement::ProjectSpecific
