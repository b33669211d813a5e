#include <algorithm>

#include "api/Call.h"
#include "machine/CodePages.h"
#include "machine/FileSystem.h"

// Open files and devices.

using namespace winsim;

namespace {

HANDLE CreateFileNamed(Thread& thread, DWORD& error, const std::u16string& name, const OpenRequest& request) {
  std::shared_ptr<KernelObject> object;
  bool existed = false;
  error = thread.GetMachine().files.Open(PathContext::Of(thread), name, request, object, existed);
  if (error != 0) {
    return INVALID_HANDLE_VALUE;
  }
  const bool tellsExisted = request.disposition == CREATE_ALWAYS || request.disposition == OPEN_ALWAYS;
  thread.lastError = existed && tellsExisted ? ERROR_ALREADY_EXISTS : ERROR_SUCCESS;
  return thread.process->handles.Add<HANDLE>(std::move(object));
}

/// The file behind a handle, or null with the error that a device or anything else gets.
std::shared_ptr<FileObject> FindFile(const Thread& thread, HANDLE handle, DWORD& error) {
  auto file = thread.process->handles.Find<FileObject>(handle);
  if (file == nullptr) {
    const bool isDevice = thread.process->handles.Find<DeviceObject>(handle) != nullptr;
    error = isDevice ? ERROR_INVALID_FUNCTION : ERROR_INVALID_HANDLE;
  }
  return file;
}

/// Sets `time` from what the caller gave: unchanged for null, 0, or all ones, which only stop later changes.
/// False for a time that cannot be.
bool TakeTime(const FILETIME* given, std::uint64_t& time) {
  if (given == nullptr) {
    return true;
  }
  const std::uint64_t value = given->dwLowDateTime | static_cast<std::uint64_t>(given->dwHighDateTime) << 32;
  if (value != 0 && value <= INT64_MAX) {
    time = value;
  }
  return value <= INT64_MAX || value == UINT64_MAX;
}

}  // namespace

extern "C" {

HANDLE WINAPI CreateFileA(LPCSTR name, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES, DWORD disposition,
                          DWORD flagsAndAttributes, HANDLE) {
  return ValueCall<HANDLE>("CreateFileA", {name, access, share, disposition, flagsAndAttributes},
                           INVALID_HANDLE_VALUE, [&](Thread& thread, DWORD& error) {
                             return CreateFileNamed(thread, error,
                                                    FromAnsiFileName(thread.GetMachine(), name),
                                                    {access, share, disposition, flagsAndAttributes});
                           });
}

HANDLE WINAPI CreateFileW(LPCWSTR name, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES, DWORD disposition,
                          DWORD flagsAndAttributes, HANDLE) {
  return ValueCall<HANDLE>("CreateFileW", {name, access, share, disposition, flagsAndAttributes},
                           INVALID_HANDLE_VALUE, [&](Thread& thread, DWORD& error) {
                             return CreateFileNamed(thread, error, FromWide(name),
                                                    {access, share, disposition, flagsAndAttributes});
                           });
}

BOOL WINAPI DeviceIoControl(HANDLE device, DWORD code, LPVOID input, DWORD inputSize, LPVOID output,
                            DWORD outputSize, LPDWORD returned, LPOVERLAPPED) {
  return BoolCall(
      "DeviceIoControl", {Argument::Handle(device), code, inputSize, outputSize}, [&](Thread& thread) {
        const auto object = thread.process->handles.Find<DeviceObject>(device);
        if (object == nullptr) {
          const bool isFile = thread.process->handles.Find<FileObject>(device) != nullptr;
          return static_cast<DWORD>(isFile ? ERROR_INVALID_PARAMETER : ERROR_INVALID_HANDLE);
        }
        if ((input == nullptr && inputSize != 0) || (output == nullptr && outputSize != 0)) {
          return static_cast<DWORD>(ERROR_NOACCESS);
        }
        const auto* const inputBytes = static_cast<const BYTE*>(input);
        Bytes reply(outputSize);
        DWORD size = 0;
        const DWORD error = object->Control(code, Bytes(inputBytes, inputBytes + inputSize), reply, size);
        std::copy_n(reply.begin(), size, static_cast<BYTE*>(output));
        if (returned != nullptr) {
          *returned = size;
        }
        return error;
      });
}

DWORD WINAPI GetFileSize(HANDLE handle, LPDWORD high) {
  return ValueCall<DWORD>("GetFileSize", {Argument::Handle(handle)}, INVALID_FILE_SIZE,
                          [&](Thread& thread, DWORD& error) -> DWORD {
                            const auto file = FindFile(thread, handle, error);
                            if (file == nullptr) {
                              return INVALID_FILE_SIZE;
                            }
                            const std::uint64_t size = file->Node()->Size();
                            if (high != nullptr) {
                              *high = static_cast<DWORD>(size >> 32);
                            }
                            const auto low = static_cast<DWORD>(size);
                            if (low == INVALID_FILE_SIZE) {
                              thread.lastError = ERROR_SUCCESS;
                            }
                            return low;
                          });
}

BOOL WINAPI WriteFile(HANDLE handle, LPCVOID data, DWORD size, LPDWORD written, LPOVERLAPPED overlapped) {
  return BoolCall("WriteFile", {Argument::Handle(handle), size}, [&](Thread& thread) -> DWORD {
    if (written != nullptr) {
      *written = 0;
    }
    DWORD error = 0;
    const auto file = FindFile(thread, handle, error);
    if (file == nullptr) {
      return error;
    }
    if (!file->Access().write || file->Node()->IsFolder()) {
      return ERROR_ACCESS_DENIED;
    }
    if (data == nullptr && size != 0) {
      return ERROR_NOACCESS;
    }
    std::uint64_t position = 0;
    if (overlapped != nullptr) {
      position = overlapped->Offset | static_cast<std::uint64_t>(overlapped->OffsetHigh) << 32;
    }
    if (!file->Write(data, size, overlapped == nullptr ? nullptr : &position)) {
      return ERROR_DISK_FULL;
    }
    if (written != nullptr) {
      *written = size;
    }
    return 0;
  });
}

BOOL WINAPI SetFileTime(HANDLE handle, const FILETIME* creation, const FILETIME* lastAccess,
                        const FILETIME* lastWrite) {
  return BoolCall("SetFileTime", {Argument::Handle(handle)}, [&](Thread& thread) -> DWORD {
    DWORD error = 0;
    const auto file = FindFile(thread, handle, error);
    if (file == nullptr) {
      return error;
    }
    if (!file->Access().writeAttributes) {
      return ERROR_ACCESS_DENIED;
    }
    FileTimes times = file->Node()->times;
    if (!TakeTime(creation, times.creation) || !TakeTime(lastAccess, times.lastAccess) ||
        !TakeTime(lastWrite, times.lastWrite)) {
      return ERROR_INVALID_PARAMETER;
    }
    file->Node()->times = times;
    return 0;
  });
}

}  // extern "C"
