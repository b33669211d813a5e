#include "system/Wow64FsRedirection.h"

#include "foundation/Assert.h"
#include "foundation/Exception.h"
#include "system/Manager.h"

namespace LCommon::System {

void* Wow64FsRedirectionState::GetState() const {
  L_ASSERT(m_supported);
  return m_previous;
}

Wow64FsRedirectionDisabler::Wow64FsRedirectionDisabler()
    : m_state(Manager::Instance().DisableWow64FsRedirection()) {}

Wow64FsRedirectionDisabler::~Wow64FsRedirectionDisabler() {
  try {
    Manager::Instance().RestoreWow64FsRedirection(m_state);
  } catch (const LBaseException&) {
    // The scope may be left by another exception, and two of them would end the process.
  }
}

}  // namespace LCommon::System
