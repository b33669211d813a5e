#include "machine/Settings.h"

namespace winsim {
namespace {

/// A machine whose version functions agree, without what came with Windows XP or later and `more`.
Settings Older(WindowsVersion version, std::set<std::string> more) {
  Settings settings;
  settings.version = version;
  settings.reportedVersion = version;
  settings.missingFunctions = std::move(more);
  settings.missingFunctions.insert({"RtlGetNtVersionNumbers", "IsWow64Process",
                                    "Wow64DisableWow64FsRedirection", "Wow64RevertWow64FsRedirection",
                                    "GetSystemWow64DirectoryW", "SetDefaultDllDirectories"});
  return settings;
}

}  // namespace

Settings Settings::Windows10() {
  Settings settings;
  settings.reportedVersion = {6, 2, 9200, 2, u""};
  return settings;
}

Settings Settings::Windows10Wow64() {
  Settings settings = Windows10();
  settings.wow64 = true;
  return settings;
}

Settings Settings::Windows2000() {
  return Older({5, 0, 2195, 2, u"Service Pack 4"}, {});
}

Settings Settings::WindowsNt4() {
  Settings settings = Older({4, 0, 1381, 2, u"Service Pack 6"},
                            {"RtlGetVersion", "GetVolumePathNameW", "ChangeServiceConfig2W"});
  settings.missingModules = {u"setupapi.dll"};
  settings.windowsDirectory = u"C:\\WINNT";
  return settings;
}

Settings Settings::Windows98() {
  Settings settings = Older({4, 10, 67766446, 1, u" A "},
                            {"RtlGetVersion", "GetVolumePathNameW", "ChangeServiceConfig2W", "MoveFileExW"});
  settings.extendedVersionRecord = false;
  settings.windowsDirectory = u"C:\\WINDOWS";
  return settings;
}

}  // namespace winsim
