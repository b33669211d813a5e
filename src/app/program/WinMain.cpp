#include "app/EntryPoint.h"
#include "system/WindowsApi.h"

int WINAPI WinMain(HINSTANCE, HINSTANCE, LPSTR, int) {
  return Main::RunProcess();
}
