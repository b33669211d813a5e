#include "system/File.h"
#include "system/FileErrors.h"
#include "system/Growth.h"
#include "system/OptionalText.h"
#include "system/PlatformApi.h"

// Where a path lies: its full form, its volume and what a drive letter stands for.

namespace LCommon::System {

namespace {

// A chain of substitutions longer than this runs in a circle.
constexpr unsigned int driveLetters = 26;

LUnicodeString ResolveSubstDrive(LUnicodeString name, unsigned int substitutionsLeft) {
  const LUnicodeString path = File::NormalizePath(name);
  if (File::IsNetworkPath(path)) return path;
  LUnicodeString drive;
  LUnicodeString rest;
  File::SplitDrive(path, drive, rest);
  if (drive.IsEmpty()) return path;

  const LUnicodeString target = File::GetDeviceMapping(drive);
  if (target.Length() < 2) throw File::InvalidPathNameException(L_HERE, ERROR_INVALID_NAME);
  const bool isDevice = target.Data()[0] == L'\\' && target.Mid(0, 4) != L"\\??\\";
  if (isDevice) return path;

  if (substitutionsLeft == 0) throw File::InvalidPathNameException(L_HERE, ERROR_INVALID_NAME);
  const LUnicodeString resolved = ResolveSubstDrive(target, substitutionsLeft - 1);
  return rest.IsEmpty() ? resolved : resolved + L'\\' + rest;
}

}  // namespace

LUnicodeString File::GetFullPath(LUnicodeString name) {
  return NormalizePath(ReadGrowingText(260, [&](wchar_t* buffer, unsigned int room) {
    wchar_t* filePart = nullptr;
    const DWORD length = GetFullPathNameU(OptionalText(name), room, buffer, &filePart);
    if (length == 0) throw Exception(L_HERE, GetLastError());
    return length < room;
  }));
}

LUnicodeString File::GetVolumePath(LUnicodeString name) {
  try {
    return GetVolumePath_New(name);
  } catch (const NotSupportedException&) {
    return GetVolumePath_Legacy(name);
  }
}

LUnicodeString File::GetVolumePath_New(LUnicodeString name) {
  return NormalizePath(ReadGrowingText(32, [&](wchar_t* buffer, unsigned int room) {
    if (GetVolumePathNameU(OptionalText(name), buffer, room)) return true;
    const DWORD error = GetLastError();
    if (error == ERROR_FILENAME_EXCED_RANGE) return false;
    volumeErrors.Throw(L_HERE, error);
  }));
}

LUnicodeString File::GetVolumePath_Legacy(LUnicodeString name) {
  const LUnicodeString path = GetFullPath(name);
  if (HasDrive(path)) return path.Mid(0, 2);
  if (!IsNetworkPath(path)) throw InvalidPathNameException(L_HERE, ERROR_INVALID_NAME);
  const LUnicodeStringArray components = SplitPathComponents(path);
  if (components.Length() < 2) throw InvalidPathNameException(L_HERE, ERROR_INVALID_NAME);
  return LUnicodeString(L"\\\\") + components[0] + L'\\' + components[1];
}

File::VolumeType File::GetVolumeType(LUnicodeString name) {
  const UINT type = GetDriveTypeU(WithTrailingBackslash(name).Data());
  if (type == DRIVE_NO_ROOT_DIR) throw InvalidPathNameException(L_HERE, ERROR_INVALID_NAME);
  return static_cast<VolumeType>(type);
}

LUnicodeString File::GetDeviceMapping(LUnicodeString name) {
  return ReadGrowingText(260, [&](wchar_t* buffer, unsigned int room) {
    const DWORD length = QueryDosDeviceU(OptionalText(name), buffer, room);
    if (length != 0) return length < room;
    const DWORD error = GetLastError();
    if (error != ERROR_INSUFFICIENT_BUFFER) throw Exception(L_HERE, error);
    return false;
  });
}

LUnicodeString File::ResolveSubstDriveInFullPath(LUnicodeString name) {
  return ResolveSubstDrive(name, driveLetters);
}

}  // namespace LCommon::System
