#include "system/PlatformFiles.h"

#include <memory>

#include "system/AnsiText.h"
#include "system/PlatformCall.h"

namespace LCommon::System {

namespace {

struct FindCloser {
  void operator()(HANDLE find) const { FindClose(find); }
};

}  // namespace

DWORD GetFullPathNameU(LPCWSTR name, DWORD room, LPWSTR buffer, LPWSTR* filePart) {
  return WideOnly(L_HERE, GetFullPathNameW, name, room, buffer, filePart);
}

DWORD QueryDosDeviceU(LPCWSTR device, LPWSTR buffer, DWORD room) {
  return WideOnly(L_HERE, QueryDosDeviceW, device, buffer, room);
}

UINT GetDriveTypeU(LPCWSTR root) {
  return WideOnly(L_HERE, GetDriveTypeW, root);
}

BOOL MoveFileExU(LPCWSTR source, LPCWSTR target, DWORD flags) {
  const auto function = Platform().functions.moveFileEx;
  return CallIf(Platform().unicode && function, FALSE, function, source, target, flags);
}

BOOL GetVolumePathNameU(LPCWSTR name, LPWSTR buffer, DWORD room) {
  return LoadedOrFailure(FALSE, Platform().functions.getVolumePathName, name, buffer, room);
}

HANDLE CreateFileU(LPCWSTR name, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES security, DWORD disposition,
                   DWORD flagsAndAttributes, HANDLE templateFile) {
  if (Platform().unicode) {
    return CreateFileW(name, access, share, security, disposition, flagsAndAttributes, templateFile);
  }
  return CreateFileA(AnsiText(name, AnsiText::Kind::FileName).Get(), access, share, security, disposition,
                     flagsAndAttributes, templateFile);
}

HANDLE FindFirstFileU(LPCWSTR name, LPWIN32_FIND_DATAW data) {
  if (Platform().unicode) return FindFirstFileW(name, data);
  WIN32_FIND_DATAA found;
  const HANDLE handle = FindFirstFileA(AnsiText(name).Get(), &found);
  if (handle == INVALID_HANDLE_VALUE) return handle;
  std::unique_ptr<void, FindCloser> find(handle);
  data->dwFileAttributes = found.dwFileAttributes;
  data->ftCreationTime = found.ftCreationTime;
  data->ftLastAccessTime = found.ftLastAccessTime;
  data->ftLastWriteTime = found.ftLastWriteTime;
  data->nFileSizeHigh = found.nFileSizeHigh;
  data->nFileSizeLow = found.nFileSizeLow;
  data->dwReserved0 = found.dwReserved0;
  data->dwReserved1 = found.dwReserved1;
  AnsiFieldToWide(data->cFileName, found.cFileName);
  AnsiFieldToWide(data->cAlternateFileName, found.cAlternateFileName);
  return find.release();
}

DWORD GetFileAttributesU(LPCWSTR name) {
  if (Platform().unicode) return GetFileAttributesW(name);
  return GetFileAttributesA(AnsiText(name, AnsiText::Kind::FileName).Get());
}

BOOL SetFileAttributesU(LPCWSTR name, DWORD attributes) {
  if (Platform().unicode) return SetFileAttributesW(name, attributes);
  return SetFileAttributesA(AnsiText(name, AnsiText::Kind::FileName).Get(), attributes);
}

BOOL DeleteFileU(LPCWSTR name) {
  if (Platform().unicode) return DeleteFileW(name);
  return DeleteFileA(AnsiText(name, AnsiText::Kind::FileName).Get());
}

HANDLE CreateFileMappingU(HANDLE file, LPSECURITY_ATTRIBUTES security, DWORD protection, DWORD sizeHigh,
                          DWORD sizeLow, LPCWSTR name) {
  if (Platform().unicode) return CreateFileMappingW(file, security, protection, sizeHigh, sizeLow, name);
  return CreateFileMappingA(file, security, protection, sizeHigh, sizeLow, AnsiText(name).Get());
}

}  // namespace LCommon::System
