#include "api/Call.h"
#include "machine/FileMapping.h"
#include "machine/FileObject.h"

using namespace winsim;

namespace {

HANDLE CreateMapping(Thread& thread, DWORD& error, HANDLE handle, DWORD protection, std::uint64_t size,
                     bool isNamed) {
  const auto file = thread.process->handles.Find<FileObject>(handle);
  if (isNamed) {
    error = ERROR_NOT_SUPPORTED;
  } else if (file == nullptr && handle != INVALID_HANDLE_VALUE && handle != nullptr) {
    const bool isDevice = thread.process->handles.Find<DeviceObject>(handle) != nullptr;
    error = isDevice ? ERROR_BAD_EXE_FORMAT : ERROR_INVALID_HANDLE;
  } else {
    std::shared_ptr<FileMapping> mapping;
    error = FileMapping::Create(thread.GetMachine(), file.get(), protection, size, mapping);
    if (error == 0) {
      thread.lastError = ERROR_SUCCESS;
      return thread.process->handles.Add<HANDLE>(std::move(mapping));
    }
  }
  return nullptr;
}

std::uint64_t Join(DWORD high, DWORD low) {
  return static_cast<std::uint64_t>(high) << 32 | low;
}

}  // namespace

extern "C" {

HANDLE WINAPI CreateFileMappingA(HANDLE file, LPSECURITY_ATTRIBUTES, DWORD protection, DWORD sizeHigh,
                                 DWORD sizeLow, LPCSTR name) {
  return ValueCall<HANDLE>(
      "CreateFileMappingA", {Argument::Handle(file), protection, sizeHigh, sizeLow, name}, nullptr,
      [&](Thread& thread, DWORD& error) {
        return CreateMapping(thread, error, file, protection, Join(sizeHigh, sizeLow), name != nullptr);
      });
}

HANDLE WINAPI CreateFileMappingW(HANDLE file, LPSECURITY_ATTRIBUTES, DWORD protection, DWORD sizeHigh,
                                 DWORD sizeLow, LPCWSTR name) {
  return ValueCall<HANDLE>(
      "CreateFileMappingW", {Argument::Handle(file), protection, sizeHigh, sizeLow, name}, nullptr,
      [&](Thread& thread, DWORD& error) {
        return CreateMapping(thread, error, file, protection, Join(sizeHigh, sizeLow), name != nullptr);
      });
}

LPVOID WINAPI MapViewOfFile(HANDLE handle, DWORD access, DWORD offsetHigh, DWORD offsetLow, SIZE_T size) {
  return ValueCall<LPVOID>(
      "MapViewOfFile", {Argument::Handle(handle), access, offsetHigh, offsetLow, static_cast<DWORD>(size)},
      nullptr, [&](Thread& thread, DWORD& error) -> LPVOID {
        HandleTable& handles = thread.process->handles;
        auto mapping = handles.Find<FileMapping>(handle);
        if (mapping == nullptr) {
          error = ERROR_INVALID_HANDLE;
          return nullptr;
        }
        std::shared_ptr<FileView> view;
        error = FileView::Create(std::move(mapping), access, Join(offsetHigh, offsetLow), size, view);
        if (error != 0) {
          return nullptr;
        }
        handles.Add<HANDLE>(view);
        return view->Base();
      });
}

BOOL WINAPI UnmapViewOfFile(LPCVOID base) {
  return BoolCall("UnmapViewOfFile", {}, [&](Thread& thread) -> DWORD {
    const bool unmapped = thread.process->handles.CloseFirst<FileView>(
        [&](const FileView& view) { return view.Contains(base); });
    return unmapped ? ERROR_SUCCESS : ERROR_INVALID_ADDRESS;
  });
}

}  // extern "C"
