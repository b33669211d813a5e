#include "api/Call.h"
#include "machine/CodePages.h"

// Message boxes: the machine keeps what they say, and somebody presses OK at once.

using namespace winsim;

namespace {

int Show(Thread& thread, DWORD& error, HWND owner, std::u16string text, std::u16string caption, UINT type) {
  if (owner != nullptr) {
    error = ERROR_INVALID_WINDOW_HANDLE;
    return 0;
  }
  thread.GetMachine().messageBoxes.push_back({std::move(text), std::move(caption), type});
  return IDOK;
}

}  // namespace

int WINAPI MessageBoxA(HWND owner, LPCSTR text, LPCSTR caption, UINT type) {
  return ValueCall("MessageBoxA", {text, caption, type}, 0, [&](Thread& thread, DWORD& error) {
    const Machine& machine = thread.GetMachine();
    return Show(thread, error, owner, FromAnsi(machine, text), FromAnsi(machine, caption), type);
  });
}

int WINAPI MessageBoxW(HWND owner, LPCWSTR text, LPCWSTR caption, UINT type) {
  return ValueCall("MessageBoxW", {text, caption, type}, 0, [&](Thread& thread, DWORD& error) {
    return Show(thread, error, owner, FromWide(text), FromWide(caption), type);
  });
}
