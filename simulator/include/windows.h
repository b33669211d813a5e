#pragma once

// What product sources include as the Windows SDK in builds for the simulated machine: the subset of the SDK
// that the program uses, with the SDK's names, numbers and sizes.

#include "winbase.h"
#include "windef.h"
#include "winerror.h"
#include "winnt.h"
#include "winreg.h"
#include "winsvc.h"
#include "winuser.h"
#include "winver.h"

extern "C" int WINAPI WinMain(HINSTANCE instance, HINSTANCE previous, LPSTR commandLine, int show);
