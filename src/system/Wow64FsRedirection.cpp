#include "system/Wow64FsRedirection.h"

#include <exception>

#include "foundation/Assert.h"
#include "foundation/Exception.h"
#include "system/Manager.h"

namespace LCommon::System {

void* Wow64FsRedirectionState::GetState() const {
  L_ASSERT(m_supported);
  return m_previous;
}

Wow64FsRedirectionDisabler::Wow64FsRedirectionDisabler()
    : m_state(Manager::Instance().DisableWow64FsRedirection()),
      m_exceptionsBefore(std::uncaught_exceptions()) {}

Wow64FsRedirectionDisabler::~Wow64FsRedirectionDisabler() noexcept(false) {
  try {
    Manager::Instance().RestoreWow64FsRedirection(m_state);
  } catch (const LBaseException&) {
    // Two exceptions at once would end the process.
    if (std::uncaught_exceptions() == m_exceptionsBefore) throw;
  }
}

}  // namespace LCommon::System
