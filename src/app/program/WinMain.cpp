#include "app/EntryPoint.h"
#include "foundation/Toolchain.h"
#include "system/WindowsApi.h"

L_CALLED_BY_RUNTIME int WINAPI WinMain(HINSTANCE, HINSTANCE, LPSTR, int) {
  return Main::RunProcess();
}
