#include <windows.h>

// A program for the tests of program images: it says how often its WinMain ran in this copy of the module,
// how long its arguments are, and may wait in between.

namespace {

int g_runs = 0;

}  // namespace

int WINAPI WinMain(HINSTANCE, HINSTANCE, LPSTR arguments, int) {
  ++g_runs;
  int length = 0;
  while (arguments[length] != 0) {
    ++length;
  }
  if (arguments[0] == 'w') {
    WaitForSingleObject(GetCurrentProcess(), 1000);
  }
  return g_runs * 100 + length;
}
