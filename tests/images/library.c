/* A small library of the same kind as driver.c: imports from two modules, exports, base relocations. */

#include <windows.h>

typedef int (*Operation)(int left, int right);

static int Add(int left, int right) {
  return left + right;
}

static int Multiply(int left, int right) {
  return left * right;
}

const Operation Operations[] = {Add, Multiply};
const char* volatile Names[] = {"add", "multiply"};

__declspec(dllexport) int Apply(unsigned int operation, int left, int right) {
  return operation < 2 ? Operations[operation](left, right) : 0;
}

__declspec(dllexport) int ShowName(unsigned int operation) {
  return operation < 2 ? MessageBoxA(NULL, Names[operation], "sample", MB_OK) : 0;
}

BOOL WINAPI DllMainCRTStartup(HINSTANCE instance, DWORD reason, LPVOID reserved) {
  (void)reserved;
  return reason != DLL_PROCESS_ATTACH || DisableThreadLibraryCalls(instance);
}
