#include <algorithm>

#include "api/Call.h"
#include "machine/CodePages.h"
#include "machine/FileSystem.h"

// Files by name: attributes, searches, deletion and renaming.

using namespace winsim;

namespace {

/// A search. Only its first result is ever asked for.
class FindObject : public Object {
 public:
  std::string Describe() const override { return "search"; }
};

FILETIME ToFileTime(std::uint64_t time) {
  return {static_cast<DWORD>(time), static_cast<DWORD>(time >> 32)};
}

void CopyName(const std::u16string& name, WIN32_FIND_DATAW& data) {
  CopyToWide(name, data.cFileName);
}

/// `name` fits: it is cut where even its 8-bit form would not.
void CopyName(const std::string& name, WIN32_FIND_DATAA& data) {
  std::copy_n(name.begin(), std::min<std::size_t>(name.size(), MAX_PATH - 1), data.cFileName);
}

template <class Data, class Convert>
HANDLE FindFirst(Thread& thread, DWORD& error, const std::u16string& pattern, Data* data, Convert convert) {
  std::shared_ptr<FileNode> node;
  std::u16string name;
  error = data == nullptr ? ERROR_INVALID_PARAMETER
                          : thread.GetMachine().files.FindFirst(PathContext::Of(thread), pattern, node, name);
  if (error != 0) {
    return INVALID_HANDLE_VALUE;
  }
  *data = {};
  data->dwFileAttributes = node->ReportedAttributes();
  data->ftCreationTime = ToFileTime(node->times.creation);
  data->ftLastAccessTime = ToFileTime(node->times.lastAccess);
  data->ftLastWriteTime = ToFileTime(node->times.lastWrite);
  data->nFileSizeHigh = static_cast<DWORD>(node->Size() >> 32);
  data->nFileSizeLow = static_cast<DWORD>(node->Size());
  CopyName(convert(name), *data);
  return thread.process->handles.Add<HANDLE>(std::make_shared<FindObject>());
}

DWORD Attributes(Thread& thread, DWORD& error, const std::u16string& name) {
  std::shared_ptr<FileNode> node;
  error = thread.GetMachine().files.Look(PathContext::Of(thread), name, node);
  return error == 0 ? node->ReportedAttributes() : INVALID_FILE_ATTRIBUTES;
}

}  // namespace

extern "C" {

HANDLE WINAPI FindFirstFileA(LPCSTR name, LPWIN32_FIND_DATAA data) {
  return ValueCall<HANDLE>("FindFirstFileA", {name}, INVALID_HANDLE_VALUE, [&](Thread& thread, DWORD& error) {
    const Machine& machine = thread.GetMachine();
    return FindFirst(thread, error, FromAnsiFileName(machine, name), data,
                     [&](const std::u16string& found) { return ToAnsiFileName(machine, found); });
  });
}

HANDLE WINAPI FindFirstFileW(LPCWSTR name, LPWIN32_FIND_DATAW data) {
  return ValueCall<HANDLE>("FindFirstFileW", {name}, INVALID_HANDLE_VALUE, [&](Thread& thread, DWORD& error) {
    return FindFirst(thread, error, FromWide(name), data, [](const std::u16string& found) { return found; });
  });
}

BOOL WINAPI FindClose(HANDLE find) {
  return BoolCall("FindClose", {Argument::Handle(find)}, [&](Thread& thread) -> DWORD {
    return thread.process->handles.Close<FindObject>(find) ? ERROR_SUCCESS : ERROR_INVALID_HANDLE;
  });
}

DWORD WINAPI GetFileAttributesA(LPCSTR name) {
  return ValueCall<DWORD>("GetFileAttributesA", {name}, INVALID_FILE_ATTRIBUTES,
                          [&](Thread& thread, DWORD& error) {
                            return Attributes(thread, error, FromAnsiFileName(thread.GetMachine(), name));
                          });
}

DWORD WINAPI GetFileAttributesW(LPCWSTR name) {
  return ValueCall<DWORD>(
      "GetFileAttributesW", {name}, INVALID_FILE_ATTRIBUTES,
      [&](Thread& thread, DWORD& error) { return Attributes(thread, error, FromWide(name)); });
}

BOOL WINAPI SetFileAttributesA(LPCSTR name, DWORD attributes) {
  return BoolCall("SetFileAttributesA", {name, attributes}, [&](Thread& thread) {
    Machine& machine = thread.GetMachine();
    return machine.files.SetAttributes(PathContext::Of(thread), FromAnsiFileName(machine, name), attributes);
  });
}

BOOL WINAPI SetFileAttributesW(LPCWSTR name, DWORD attributes) {
  return BoolCall("SetFileAttributesW", {name, attributes}, [&](Thread& thread) {
    return thread.GetMachine().files.SetAttributes(PathContext::Of(thread), FromWide(name), attributes);
  });
}

BOOL WINAPI DeleteFileA(LPCSTR name) {
  return BoolCall("DeleteFileA", {name}, [&](Thread& thread) {
    Machine& machine = thread.GetMachine();
    return machine.files.Delete(PathContext::Of(thread), FromAnsiFileName(machine, name));
  });
}

BOOL WINAPI DeleteFileW(LPCWSTR name) {
  return BoolCall("DeleteFileW", {name}, [&](Thread& thread) {
    return thread.GetMachine().files.Delete(PathContext::Of(thread), FromWide(name));
  });
}

BOOL WINAPI MoveFileExW(LPCWSTR source, LPCWSTR target, DWORD flags) {
  return BoolCall("MoveFileExW", {source, target, flags}, [&](Thread& thread) {
    const auto to = target == nullptr ? std::nullopt : std::optional(FromWide(target));
    return thread.GetMachine().files.Move(PathContext::Of(thread), FromWide(source), to, flags);
  });
}

}  // extern "C"
