#include "api/Call.h"
#include "api/TextResults.h"
#include "machine/CodePages.h"

// The system's directories; 32-bit programs are told the same ones. Environment variables.

using namespace winsim;

UINT WINAPI GetSystemDirectoryA(LPSTR buffer, UINT room) {
  return ValueCall("GetSystemDirectoryA", {room}, 0u, [&](Thread& thread, DWORD&) {
    return GiveText(ToAnsi(thread.GetMachine(), thread.GetMachine().SystemDirectory()), buffer, room);
  });
}

UINT WINAPI GetSystemDirectoryW(LPWSTR buffer, UINT room) {
  return ValueCall("GetSystemDirectoryW", {room}, 0u, [&](Thread& thread, DWORD&) {
    return GiveText(thread.GetMachine().SystemDirectory(), buffer, room);
  });
}

UINT WINAPI GetWindowsDirectoryA(LPSTR buffer, UINT room) {
  return ValueCall("GetWindowsDirectoryA", {room}, 0u, [&](Thread& thread, DWORD&) {
    return GiveText(ToAnsi(thread.GetMachine(), thread.GetMachine().settings.windowsDirectory), buffer, room);
  });
}

UINT WINAPI GetWindowsDirectoryW(LPWSTR buffer, UINT room) {
  return ValueCall("GetWindowsDirectoryW", {room}, 0u, [&](Thread& thread, DWORD&) {
    return GiveText(thread.GetMachine().settings.windowsDirectory, buffer, room);
  });
}

namespace {

/// The variable's value, or null with the error set.
const std::u16string* FindVariable(const Thread& thread, const std::u16string& name, DWORD& error) {
  const auto found = thread.process->environment.find(name);
  if (found == thread.process->environment.end()) {
    error = ERROR_ENVVAR_NOT_FOUND;
    return nullptr;
  }
  return &found->second;
}

}  // namespace

DWORD WINAPI GetEnvironmentVariableA(LPCSTR name, LPSTR buffer, DWORD room) {
  return ValueCall("GetEnvironmentVariableA", {name, room}, 0u, [&](Thread& thread, DWORD& error) {
    const Machine& machine = thread.GetMachine();
    const std::u16string* const value = FindVariable(thread, FromAnsi(machine, name), error);
    return value == nullptr ? 0 : GiveText(ToAnsi(machine, *value), buffer, room);
  });
}

DWORD WINAPI GetEnvironmentVariableW(LPCWSTR name, LPWSTR buffer, DWORD room) {
  return ValueCall("GetEnvironmentVariableW", {name, room}, 0u, [&](Thread& thread, DWORD& error) {
    const std::u16string* const value = FindVariable(thread, FromWide(name), error);
    return value == nullptr ? 0 : GiveText(*value, buffer, room);
  });
}
