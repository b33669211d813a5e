#include "drivermanagement/Lock.h"

#include <exception>

#include "foundation/Exception.h"
#include "system/SecurityDescriptor.h"
#include "system/WindowsApi.h"

namespace DriverManagement {

namespace {

using LCommon::System::Mutex;
using LCommon::System::SecurityDescriptor;

// Agreed with every other program that installs or removes the managed components.
constexpr const wchar_t* LockName = L"{E06A1434-144A-4C05-B8EA-F3E3F4216C47}";

}  // namespace

Lock::Lock() {
  const auto everybody = LMakeRef<SecurityDescriptor>();
  everybody->SetNullDacl();
  try {
    m_mutex = LMakeRef<Mutex>(LockName, Mutex::nsGlobal, 0u, everybody);
  } catch (const Mutex::AccessDeniedException&) {
    m_mutex = LMakeRef<Mutex>(LockName, Mutex::nsDefault, 0u, everybody);
  }
}

void Lock::Enter() {
  m_mutex->Wait(INFINITE, 0);
}

void Lock::Leave() {
  m_mutex->Leave();
}

Locker::Locker(LPtrRef<Lock> lock) : m_lock(lock), m_exceptionsBefore(std::uncaught_exceptions()) {
  if (m_lock.Valid()) m_lock->Enter();
}

Locker::~Locker() noexcept(false) {
  if (!m_lock.Valid()) return;
  try {
    m_lock->Leave();
  } catch (const LBaseException&) {
    // Two exceptions at once would end the process.
    if (std::uncaught_exceptions() == m_exceptionsBefore) throw;
  }
}

}  // namespace DriverManagement
