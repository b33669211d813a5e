#include "system/ServiceControl.h"

#include "foundation/Buffer.h"
#include "system/ErrorTable.h"
#include "system/Growth.h"
#include "system/OptionalText.h"
#include "system/PlatformApi.h"

namespace LCommon::System::ServiceControl {

namespace {

constexpr ErrorRow accessDenied = On<Service::AccessDeniedException>(ERROR_ACCESS_DENIED);
constexpr ErrorRow circularDependency = On<Service::CircularDependencyException>(ERROR_CIRCULAR_DEPENDENCY);
constexpr ErrorRow duplicateName = On<Service::DuplicateNameException>(ERROR_DUPLICATE_SERVICE_NAME);
constexpr ErrorRow markedForDelete = On<Service::MarkedForDeleteException>(ERROR_SERVICE_MARKED_FOR_DELETE);

constexpr auto managerErrors =
    MakeErrorTable<Manager::Exception>(On<Manager::AccessDeniedException>(ERROR_ACCESS_DENIED));
constexpr auto openErrors = MakeErrorTable<Service::Exception>(
    accessDenied, On<Service::NotFoundException>(ERROR_SERVICE_DOES_NOT_EXIST));
constexpr auto createErrors =
    MakeErrorTable<Service::Exception>(accessDenied, circularDependency, duplicateName,
                                       On<Service::AlreadyExistException>(ERROR_SERVICE_EXISTS));
constexpr auto changeConfigErrors =
    MakeErrorTable<Service::Exception>(accessDenied, circularDependency, markedForDelete, duplicateName);
constexpr auto changeDescriptionErrors = MakeErrorTable<Service::Exception>(
    accessDenied, On<Service::NotSupportedException>(ERROR_CALL_NOT_IMPLEMENTED));
constexpr auto queryConfigErrors = MakeErrorTable<Service::Exception>(accessDenied);
constexpr auto startErrors = MakeErrorTable<Service::Exception>(
    accessDenied, markedForDelete, On<Service::AlreadyRunningException>(ERROR_SERVICE_ALREADY_RUNNING));
constexpr auto controlErrors = MakeErrorTable<Service::Exception>(
    accessDenied, markedForDelete, On<Service::InvalidControlException>(ERROR_INVALID_SERVICE_CONTROL),
    On<Service::NotRunningException>(ERROR_SERVICE_NOT_ACTIVE));
constexpr auto deleteErrors = MakeErrorTable<Service::Exception>(accessDenied, markedForDelete);

const wchar_t* MultiString(const LBuffer& strings) {
  return reinterpret_cast<const wchar_t*>(strings.Data());
}

// The platform gives a list of none as an empty text with a single terminator, behind which other data lies.
LUnicodeStringArray FromMultiString(const wchar_t* text) {
  LUnicodeStringArray strings;
  if (text && *text != 0) strings.FromMultiString(text);
  return strings;
}

}  // namespace

Handle::~Handle() {
  if (m_handle != nullptr) CloseServiceHandle(m_handle);
}

Manager::Manager(LUnicodeString machine, LUnicodeString database, AccessType access)
    : m_handle(LMakeRef<Handle>()) {
  if (!m_handle->Adopt(OpenSCManagerU(OptionalText(machine), OptionalText(database), access))) {
    managerErrors.Throw(L_HERE, GetLastError());
  }
}

LPtrRef<Manager> Manager::Open(AccessType access) {
  return LMakeRef<Manager>(LUnicodeString(), LUnicodeString(), access);
}

LPtrRef<Service> Service::Open(LPtrRef<Manager> manager, LUnicodeString name, AccessType access) {
  const LPtrRef<Handle> handle = LMakeRef<Handle>();
  if (!handle->Adopt(OpenServiceU(manager->GetHandle(), OptionalText(name), access))) {
    openErrors.Throw(L_HERE, GetLastError());
  }
  return LPtrRef<Service>(new Service(manager, handle));
}

bool Service::IsExist(LPtrRef<Manager> manager, LUnicodeString name) {
  try {
    Open(manager, name, SERVICE_USER_DEFINED_CONTROL);
    return true;
  } catch (const NotFoundException&) {
    return false;
  }
}

LPtrRef<Service> Service::Create(LPtrRef<Manager> manager, LUnicodeString name, LUnicodeString displayName,
                                 AccessType access, Type type, StartType startType,
                                 ErrorControlType errorControl, LUnicodeString binaryPath,
                                 LUnicodeString loadOrderGroup, unsigned int* tagId,
                                 LUnicodeStringArray dependencies, LUnicodeString serviceStartName,
                                 LUnicodeString password) {
  const LPtrRef<Handle> handle = LMakeRef<Handle>();
  const LBuffer names = dependencies.ToMultiString();
  DWORD tag = 0;
  if (!handle->Adopt(CreateServiceU(manager->GetHandle(), OptionalText(name), OptionalText(displayName),
                                    access, type, startType, errorControl, OptionalText(binaryPath),
                                    OptionalText(loadOrderGroup), tagId ? &tag : nullptr, MultiString(names),
                                    OptionalText(serviceStartName), OptionalText(password)))) {
    createErrors.Throw(L_HERE, GetLastError());
  }
  if (tagId) *tagId = tag;
  return LPtrRef<Service>(new Service(manager, handle));
}

void Service::ChangeConfig(LUnicodeString displayName, Type type, StartType startType,
                           ErrorControlType errorControl, LUnicodeString binaryPath,
                           LUnicodeString loadOrderGroup, unsigned int* tagId,
                           LUnicodeStringArray dependencies, LUnicodeString serviceStartName,
                           LUnicodeString password) {
  const LBuffer names = dependencies.ToMultiString();
  DWORD tag = 0;
  if (!ChangeServiceConfigU(m_handle->Get(), type, startType, errorControl, OptionalText(binaryPath),
                            OptionalText(loadOrderGroup), tagId ? &tag : nullptr, MultiString(names),
                            OptionalText(serviceStartName), OptionalText(password),
                            OptionalText(displayName))) {
    changeConfigErrors.Throw(L_HERE, GetLastError());
  }
  if (tagId) *tagId = tag;
}

void Service::ChangeDescription(LUnicodeString description) {
  SERVICE_DESCRIPTIONW record = {const_cast<wchar_t*>(OptionalText(description))};
  if (!ChangeServiceConfig2U(m_handle->Get(), SERVICE_CONFIG_DESCRIPTION, &record)) {
    changeDescriptionErrors.Throw(L_HERE, GetLastError());
  }
}

LPtrRef<Service::Config> Service::QueryConfig() {
  LBuffer buffer;
  buffer.SetSize(128);
  for (;;) {
    DWORD needed = 0;
    {
      const LBufferLock lock(buffer);
      const auto record = reinterpret_cast<QUERY_SERVICE_CONFIGW*>(lock.Data());
      if (QueryServiceConfigU(m_handle->Get(), record, buffer.Size(), &needed))
        return LMakeRef<Config>(*record);
      const DWORD error = GetLastError();
      if (error != ERROR_INSUFFICIENT_BUFFER) queryConfigErrors.Throw(L_HERE, error);
    }
    buffer.SetSize(needed > buffer.Size() ? needed : Doubled(buffer.Size()));
  }
}

void Service::Start() {
  if (!StartServiceU(m_handle->Get(), 0, nullptr)) startErrors.Throw(L_HERE, GetLastError());
}

LPtrRef<Service::Status> Service::Control(ControlType control) {
  SERVICE_STATUS record = {};
  if (!ControlService(m_handle->Get(), control, &record)) controlErrors.Throw(L_HERE, GetLastError());
  return LMakeRef<Status>(record);
}

LPtrRef<Service::Status> Service::Stop() {
  return Control(controlStop);
}

void Service::Delete() {
  if (!DeleteService(m_handle->Get())) deleteErrors.Throw(L_HERE, GetLastError());
}

Service::Config::Config(const QUERY_SERVICE_CONFIGW& record)
    : serviceType(record.dwServiceType),
      startType(record.dwStartType),
      errorControl(record.dwErrorControl),
      binaryPathName(record.lpBinaryPathName),
      loadOrderGroup(record.lpLoadOrderGroup),
      tagId(record.dwTagId),
      dependencies(FromMultiString(record.lpDependencies)),
      serviceStartName(record.lpServiceStartName),
      displayName(record.lpDisplayName) {}

Service::Status::Status(const SERVICE_STATUS& record)
    : serviceType(record.dwServiceType),
      currentState(record.dwCurrentState),
      controlsAccepted(record.dwControlsAccepted),
      win32ExitCode(record.dwWin32ExitCode),
      serviceSpecificExitCode(record.dwServiceSpecificExitCode),
      checkPoint(record.dwCheckPoint),
      waitHint(record.dwWaitHint) {}

}  // namespace LCommon::System::ServiceControl
