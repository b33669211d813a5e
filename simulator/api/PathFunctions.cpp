#include "api/Call.h"
#include "api/TextResults.h"
#include "machine/FileSystem.h"
#include "machine/Paths.h"

// What paths mean: full paths, volumes, drives and DOS devices.

using namespace winsim;

namespace {

/// The root of the volume that `name` is on; the path need not exist, its drive or share must.
DWORD FindVolumeRoot(Thread& thread, const std::u16string& name, std::u16string& root) {
  const PathContext context = PathContext::Of(thread);
  root = RootOfPath(FullPath(name, context.currentDirectory));
  const auto names = SplitAtBackslashes(root);
  const bool isDevice = root.starts_with(u"\\\\?\\") || root.starts_with(u"\\\\.\\");
  const bool isShare = root.starts_with(u"\\\\") && !isDevice;
  if (root.empty() || (isShare && !IsValidFileName(names[3]))) {
    return ERROR_INVALID_NAME;
  }
  if (!isDevice && !isShare && thread.GetMachine().settings.version.major >= 6) {
    root[0] = FoldCase(root[0]);
  }
  switch (const std::uint32_t error = thread.GetMachine().files.Resolve(context, root).error) {
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
      return isDevice && !IsDrive(names[3]) ? ERROR_INVALID_NAME : ERROR_FILE_NOT_FOUND;
    case ERROR_NOT_READY:
      return ERROR_SUCCESS;
    default:
      return error;
  }
}

}  // namespace

extern "C" {

DWORD WINAPI GetFullPathNameW(LPCWSTR name, DWORD room, LPWSTR buffer, LPWSTR* filePart) {
  return ValueCall<DWORD>("GetFullPathNameW", {name, room}, 0, [&](Thread& thread, DWORD& error) -> DWORD {
    const std::u16string path = FullPath(FromWide(name), thread.process->currentDirectory);
    if (path.empty()) {
      error = ERROR_INVALID_NAME;
      return 0;
    }
    const DWORD length = GiveText(path, buffer, room);
    if (filePart != nullptr) {
      const std::size_t offset = FilePartOffset(path);
      *filePart = length > path.size() || offset == path.size() ? nullptr : buffer + offset;
    }
    return length;
  });
}

BOOL WINAPI GetVolumePathNameW(LPCWSTR name, LPWSTR buffer, DWORD room) {
  return BoolCall("GetVolumePathNameW", {name, room}, [&](Thread& thread) -> DWORD {
    if (name == nullptr || *name == 0 || buffer == nullptr || room == 0) {
      return ERROR_INVALID_PARAMETER;
    }
    std::u16string root;
    if (const DWORD error = FindVolumeRoot(thread, FromWide(name), root); error != 0) {
      return error;
    }
    if (room == root.size()) {
      root.pop_back();  // the backslash is left out before the call fails
    }
    if (room <= root.size()) {
      return ERROR_FILENAME_EXCED_RANGE;
    }
    CopyToWide(root, buffer);
    return ERROR_SUCCESS;
  });
}

UINT WINAPI GetDriveTypeW(LPCWSTR root) {
  return ValueCall<UINT>("GetDriveTypeW", {root}, DRIVE_UNKNOWN, [&](Thread& thread, DWORD&) {
    const PathContext context = PathContext::Of(thread);
    const std::u16string text = root == nullptr ? RootOfPath(context.currentDirectory) : FromWide(root);
    return thread.GetMachine().files.DriveType(context, text);
  });
}

DWORD WINAPI QueryDosDeviceW(LPCWSTR device, LPWSTR buffer, DWORD room) {
  return ValueCall<DWORD>("QueryDosDeviceW", {device, room}, 0, [&](Thread& thread, DWORD& error) -> DWORD {
    const FileSystem& files = thread.GetMachine().files;
    std::u16string list;
    if (device == nullptr) {
      for (const std::u16string& name : files.DosDeviceNames()) {
        list += name + u'\0';
      }
    } else if (const std::u16string target = files.DosDeviceTarget(FromWide(device)); target.empty()) {
      error = ERROR_FILE_NOT_FOUND;
      return 0;
    } else {
      list = target + u'\0';
    }
    // The second zero is the terminator that CopyToWide writes.
    if (room <= list.size()) {
      error = ERROR_INSUFFICIENT_BUFFER;
      return 0;
    }
    CopyToWide(list, buffer);
    return static_cast<DWORD>(list.size() + 1);
  });
}

}  // extern "C"
