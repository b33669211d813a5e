#include <algorithm>

#include "api/Call.h"
#include "machine/CodePages.h"
#include "machine/FileSystem.h"
#include "machine/VersionResource.h"

// Version resources.

using namespace winsim;

namespace {

/// Reads the file's version resource as a program that opens it for reading does.
DWORD ReadVersion(Thread& thread, LPCSTR name, Bytes& resource) {
  Machine& machine = thread.GetMachine();
  if (name == nullptr) {
    return ERROR_INVALID_PARAMETER;
  }
  const OpenRequest request = {GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_DELETE, OPEN_EXISTING, 0};
  std::shared_ptr<KernelObject> object;
  bool existed = false;
  DWORD error =
      machine.files.Open(PathContext::Of(thread), FromAnsiFileName(machine, name), request, object, existed);
  if (error != 0) {
    return error == ERROR_PATH_NOT_FOUND ? ERROR_FILE_NOT_FOUND : error;
  }
  const auto file = std::dynamic_pointer_cast<FileObject>(object);
  if (file == nullptr) {
    return ERROR_INVALID_FUNCTION;
  }
  std::span<const std::uint8_t> found;
  error = FindVersionResource(file->Node()->Contents(), found);
  resource.assign(found.begin(), found.end());
  return error;
}

}  // namespace

extern "C" {

DWORD WINAPI GetFileVersionInfoSizeA(LPCSTR file, LPDWORD handle) {
  return ValueCall<DWORD>("GetFileVersionInfoSizeA", {file}, 0, [&](Thread& thread, DWORD& error) -> DWORD {
    if (handle != nullptr) {
      *handle = 0;
    }
    Bytes resource;
    error = ReadVersion(thread, file, resource);
    // Windows asks for room for the texts in the ANSI code page too, and for a mark behind the resource.
    return error == 0 ? static_cast<DWORD>(resource.size() * 2 + 4) : 0;
  });
}

BOOL WINAPI GetFileVersionInfoA(LPCSTR file, DWORD, DWORD size, LPVOID data) {
  return BoolCall("GetFileVersionInfoA", {file, size}, [&](Thread& thread) -> DWORD {
    Bytes resource;
    if (const DWORD error = ReadVersion(thread, file, resource); error != 0) {
      return error;
    }
    if (data == nullptr) {
      return ERROR_INVALID_DATA;
    }
    if (size < sizeof(WORD) || resource.size() < sizeof(WORD)) {
      return ERROR_INSUFFICIENT_BUFFER;
    }
    const auto copied = static_cast<DWORD>(std::min<std::size_t>(size, resource.size()));
    auto* const block = static_cast<BYTE*>(data);
    std::copy_n(resource.begin(), copied, block);
    // The block's length field is all that later queries go by; what was not copied does not count.
    const DWORD length = std::min(static_cast<DWORD>(block[0] | block[1] << 8), copied);
    block[0] = static_cast<BYTE>(length & 0xFF);
    block[1] = static_cast<BYTE>(length >> 8);
    return ERROR_SUCCESS;
  });
}

BOOL WINAPI VerQueryValueA(LPCVOID block, LPCSTR subBlock, LPVOID* value, PUINT length) {
  return BoolCall("VerQueryValueA", {subBlock}, [&](Thread&) -> DWORD {
    if (block == nullptr || value == nullptr || length == nullptr) {
      return ERROR_INVALID_PARAMETER;
    }
    const auto* const bytes = static_cast<const BYTE*>(block);
    const std::string_view path = subBlock == nullptr ? "" : subBlock;
    const auto fixed = path.empty() || path == "\\" ? FindFixedVersion(bytes) : std::nullopt;
    if (!fixed.has_value()) {
      return ERROR_RESOURCE_TYPE_NOT_FOUND;
    }
    *value = const_cast<BYTE*>(bytes + fixed->offset);
    *length = fixed->length;
    return ERROR_SUCCESS;
  });
}

}  // extern "C"
