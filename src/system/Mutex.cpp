#include "system/Mutex.h"

#include "system/ErrorTable.h"
#include "system/Manager.h"
#include "system/OptionalText.h"
#include "system/PlatformSystem.h"

namespace LCommon::System {

namespace {

constexpr auto mutexErrors =
    MakeErrorTable<Mutex::Exception>(On<Mutex::AccessDeniedException>(ERROR_ACCESS_DENIED));

LUnicodeString FullName(LUnicodeString name, Mutex::NsType ns) {
  if (name.IsEmpty() || !Manager::Instance().IsNt5OrLater()) return name;
  switch (ns) {
    case Mutex::nsLocal:
      return LUnicodeString(L"Local\\") + name;
    case Mutex::nsGlobal:
      return LUnicodeString(L"Global\\") + name;
    default:
      return name;
  }
}

}  // namespace

Mutex::Mutex(LUnicodeString name, NsType ns, unsigned int inheritHandle,
             LPtrRef<SecurityDescriptor> descriptor) {
  Initialize(name, ns, inheritHandle, descriptor);
}

void Mutex::Initialize(LUnicodeString name, NsType ns, unsigned int inheritHandle,
                       LPtrRef<SecurityDescriptor> descriptor) {
  const LUnicodeString fullName = FullName(name, ns);
  SECURITY_ATTRIBUTES security{};
  security.nLength = sizeof(security);
  security.lpSecurityDescriptor = descriptor ? descriptor->Get() : nullptr;
  security.bInheritHandle = inheritHandle ? TRUE : FALSE;

  const LPtrRef<Handle> handle = LMakeRef<Handle>();
  if (!handle->Adopt(CreateMutexU(&security, FALSE, OptionalText(fullName)))) {
    mutexErrors.Throw(L_HERE, GetLastError());
  }
  SetHandle(handle);
}

void Mutex::Leave() {
  if (!ReleaseMutex(GetHandle()->Get())) mutexErrors.Throw(L_HERE, GetLastError());
}

}  // namespace LCommon::System
