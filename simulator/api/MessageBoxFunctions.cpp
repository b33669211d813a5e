#include "api/Call.h"
#include "machine/CodePages.h"

// Message boxes: the machine keeps what they say, and somebody presses OK at once.

using namespace winsim;

namespace {

int Show(Thread& thread, std::u16string text, std::u16string caption, UINT type) {
  thread.GetMachine().messageBoxes.push_back({std::move(text), std::move(caption), type});
  return IDOK;
}

}  // namespace

int WINAPI MessageBoxA(HWND, LPCSTR text, LPCSTR caption, UINT type) {
  return ValueCall("MessageBoxA", {text, caption, type}, 0, [&](Thread& thread, DWORD&) {
    const Machine& machine = thread.GetMachine();
    return Show(thread, FromAnsi(machine, text), FromAnsi(machine, caption), type);
  });
}

int WINAPI MessageBoxW(HWND, LPCWSTR text, LPCWSTR caption, UINT type) {
  return ValueCall("MessageBoxW", {text, caption, type}, 0, [&](Thread& thread, DWORD&) {
    return Show(thread, FromWide(text), FromWide(caption), type);
  });
}
