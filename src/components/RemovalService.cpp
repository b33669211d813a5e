#include "components/RemovalService.h"

#include "components/DriverCatalogue.h"
#include "foundation/Assert.h"
#include "system/Handle.h"
#include "system/Manager.h"
#include "system/PlatformSystem.h"

namespace DriverManagement::Gen4::WinNT::kvdel01 {

using LCommon::System::AppendBackslash;
using LCommon::System::Handle;
using LCommon::System::WindowsErrorException;

namespace {

/// Runs `commandLine` to its end. Returns false when there is no such program.
bool RunToEnd(LUnicodeString commandLine, DWORD& exitCode, const char* function) {
  STARTUPINFOW startup = {};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION information = {};
  // Declared in this order, the handles close the thread's first.
  const LPtrRef<Handle> process = LMakeRef<Handle>();
  const LPtrRef<Handle> thread = LMakeRef<Handle>();
  // The platform may write to the command line, so the text must be this string's own.
  wchar_t* const writable = &commandLine[0u];
  if (!LCommon::System::CreateProcessU(nullptr, writable, nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                                       &startup, &information)) {
    const DWORD error = GetLastError();
    if (error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND) return false;
    throw WindowsErrorException({function, __LINE__}, error);
  }
  process->Adopt(information.hProcess);
  thread->Adopt(information.hThread);
  WaitForSingleObject(process->Get(), INFINITE);
  if (!GetExitCodeProcess(process->Get(), &exitCode)) {
    throw WindowsErrorException({function, __LINE__}, GetLastError());
  }
  return true;
}

}  // namespace

Module::Module(LPtrRef<BasePeModuleContainer> container) : BaseSystemModule(FileName, container) {}

Registration::Registration()
    : BaseServiceRegistration(ServiceName, DisplayName, Description, SERVICE_WIN32_OWN_PROCESS,
                              SERVICE_AUTO_START, SERVICE_ERROR_NORMAL,
                              L"%SystemRoot%\\system32\\kvdel01.exe svc", {}, {}, L"LocalSystem", {}) {}

LogSource::LogSource()
    : BaseLogSource(L"Application", ServiceName, 0, 7, {}, L"%SystemRoot%\\system32\\kvdel01.exe", {}) {}

Manager::Manager(LPtrRef<BasePeModuleContainer> container)
    : BaseService(ServiceName, LMakeRef<Module>(container), LMakeRef<Registration>()) {
  m_components->Add(LMakeRef<LogSource>());
}

unsigned int Manager::IsActiveMeet() {
  return m_components->IsInstalled();
}

unsigned int Manager::IsInstalledUpToDate() {
  return m_components->IsInstalledUpToDate();
}

BaseObject::UninstallResult Manager::Uninstall(unsigned int flags) {
  return IsExpired() ? BaseService::Uninstall(flags) : uninstallStillNeeded;
}

BaseObject::PurgeResult Manager::Purge(unsigned int flags) {
  return IsExpired() ? BaseService::Purge(flags) : purgeStillNeeded;
}

unsigned int Manager::IsExpired() {
  const LUnicodeString directory = LCommon::System::Manager::Instance().GetSystemDirectoryA();
  const LUnicodeString commandLine =
      LUnicodeString(L"\"") + AppendBackslash(directory) + FileName + L"\"" + L" can-remove-now";
  DWORD exitCode = 0;
  return !RunToEnd(commandLine, exitCode,
                   "unsigned int __cdecl DriverManagement::Gen4::WinNT::kvdel01::Manager::IsExpired(void)") ||
         exitCode == 0;
}

unsigned int Manager::IsActive() {
  return 0;
}

}  // namespace DriverManagement::Gen4::WinNT::kvdel01

namespace DriverManagement::ProjectSpecific {

unsigned int SelfManager::IsExpired() {
  const LPtrRef<BaseIndependedComplexObject> drivers = LMakeRef<BaseIndependedComplexObject>();
  AddDriverManagers(*drivers);
  return drivers->IsExpired();
}

}  // namespace DriverManagement::ProjectSpecific
