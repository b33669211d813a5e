#include <setupapi.h>

#include "api/RunTimeFunctions.h"

namespace winsim {
namespace {

#define EXPORTED(library, function)        \
  ExportedFunction {                       \
    library, #function, Erase(&::function) \
  }

#define EXPORTED_A_AND_W(library, function) EXPORTED(library, function##A), EXPORTED(library, function##W)

std::vector<ExportedFunction> MakeList() {
  std::vector<ExportedFunction> list = {
      EXPORTED("kernel32.dll", GetLastError),
      EXPORTED("kernel32.dll", SetLastError),
      EXPORTED("kernel32.dll", InitializeCriticalSection),
      EXPORTED("kernel32.dll", EnterCriticalSection),
      EXPORTED("kernel32.dll", LeaveCriticalSection),
      EXPORTED("kernel32.dll", DeleteCriticalSection),
      EXPORTED_A_AND_W("kernel32.dll", CreateFile),
      EXPORTED("kernel32.dll", CloseHandle),
      EXPORTED("kernel32.dll", DeviceIoControl),
      EXPORTED("kernel32.dll", GetFileSize),
      EXPORTED("kernel32.dll", WriteFile),
      EXPORTED("kernel32.dll", SetFileTime),
      EXPORTED_A_AND_W("kernel32.dll", FindFirstFile),
      EXPORTED("kernel32.dll", FindClose),
      EXPORTED_A_AND_W("kernel32.dll", GetFileAttributes),
      EXPORTED_A_AND_W("kernel32.dll", SetFileAttributes),
      EXPORTED_A_AND_W("kernel32.dll", DeleteFile),
      EXPORTED("kernel32.dll", MoveFileExW),
      EXPORTED("kernel32.dll", GetFullPathNameW),
      EXPORTED("kernel32.dll", GetVolumePathNameW),
      EXPORTED("kernel32.dll", GetDriveTypeW),
      EXPORTED("kernel32.dll", QueryDosDeviceW),
      EXPORTED("kernel32.dll", AreFileApisANSI),
      EXPORTED_A_AND_W("kernel32.dll", CreateFileMapping),
      EXPORTED("kernel32.dll", MapViewOfFile),
      EXPORTED("kernel32.dll", UnmapViewOfFile),
      EXPORTED_A_AND_W("kernel32.dll", CreateMutex),
      EXPORTED("kernel32.dll", ReleaseMutex),
      EXPORTED("kernel32.dll", WaitForSingleObject),
      EXPORTED("kernel32.dll", WaitForMultipleObjectsEx),
      EXPORTED("kernel32.dll", GetTickCount),
      EXPORTED_A_AND_W("kernel32.dll", CreateProcess),
      EXPORTED("kernel32.dll", GetExitCodeProcess),
      EXPORTED("kernel32.dll", GetCurrentProcess),
      EXPORTED("kernel32.dll", GetCommandLineA),
      EXPORTED_A_AND_W("kernel32.dll", GetEnvironmentVariable),
      EXPORTED_A_AND_W("kernel32.dll", GetVersionEx),
      EXPORTED_A_AND_W("kernel32.dll", GetSystemDirectory),
      EXPORTED_A_AND_W("kernel32.dll", GetWindowsDirectory),
      EXPORTED("kernel32.dll", GetSystemTime),
      EXPORTED("kernel32.dll", SystemTimeToFileTime),
      EXPORTED("kernel32.dll", GetACP),
      EXPORTED("kernel32.dll", GetOEMCP),
      EXPORTED("kernel32.dll", GetCPInfo),
      EXPORTED("kernel32.dll", MultiByteToWideChar),
      EXPORTED("kernel32.dll", WideCharToMultiByte),
      EXPORTED_A_AND_W("kernel32.dll", LoadLibrary),
      EXPORTED_A_AND_W("kernel32.dll", GetModuleHandle),
      EXPORTED("kernel32.dll", GetProcAddress),
      EXPORTED("kernel32.dll", FreeLibrary),
      EXPORTED_A_AND_W("advapi32.dll", RegOpenKeyEx),
      EXPORTED("advapi32.dll", RegCreateKeyExW),
      EXPORTED("advapi32.dll", RegCloseKey),
      EXPORTED("advapi32.dll", RegDeleteKeyW),
      EXPORTED("advapi32.dll", RegDeleteValueW),
      EXPORTED("advapi32.dll", RegEnumKeyExW),
      EXPORTED_A_AND_W("advapi32.dll", RegQueryValueEx),
      EXPORTED_A_AND_W("advapi32.dll", RegSetValueEx),
      EXPORTED("advapi32.dll", OpenSCManagerW),
      EXPORTED("advapi32.dll", OpenServiceW),
      EXPORTED("advapi32.dll", CreateServiceW),
      EXPORTED("advapi32.dll", ChangeServiceConfigW),
      EXPORTED("advapi32.dll", ChangeServiceConfig2W),
      EXPORTED("advapi32.dll", QueryServiceConfigW),
      EXPORTED("advapi32.dll", QueryServiceStatus),
      EXPORTED("advapi32.dll", StartServiceW),
      EXPORTED("advapi32.dll", ControlService),
      EXPORTED("advapi32.dll", DeleteService),
      EXPORTED("advapi32.dll", CloseServiceHandle),
      EXPORTED("advapi32.dll", StartServiceCtrlDispatcherW),
      EXPORTED("advapi32.dll", RegisterServiceCtrlHandlerW),
      EXPORTED("advapi32.dll", SetServiceStatus),
      EXPORTED("advapi32.dll", InitializeSecurityDescriptor),
      EXPORTED("advapi32.dll", SetSecurityDescriptorDacl),
      EXPORTED_A_AND_W("user32.dll", MessageBox),
      EXPORTED("version.dll", GetFileVersionInfoSizeA),
      EXPORTED("version.dll", GetFileVersionInfoA),
      EXPORTED("version.dll", VerQueryValueA),
      EXPORTED("setupapi.dll", SetupDiClassGuidsFromNameW),
      EXPORTED("setupapi.dll", SetupDiGetClassDevsW),
      EXPORTED("setupapi.dll", SetupDiEnumDeviceInfo),
      EXPORTED("setupapi.dll", SetupDiGetDeviceRegistryPropertyW),
      EXPORTED("setupapi.dll", SetupDiCallClassInstaller),
      EXPORTED("setupapi.dll", SetupDiDestroyDeviceInfoList),
  };
  for (const auto& more : {VersionExports(), Wow64Exports(), LibraryExports()}) {
    list.insert(list.end(), more.begin(), more.end());
  }
  return list;
}

#undef EXPORTED_A_AND_W
#undef EXPORTED

}  // namespace

const std::vector<ExportedFunction>& ExportedFunctions() {
  static const std::vector<ExportedFunction> list = MakeList();
  return list;
}

}  // namespace winsim
