#pragma once

// The one door to Windows: every source of the program that calls the platform includes this header and no
// other header of the platform. The functions are called by their exact names, so the renaming macros are set
// the same way everywhere.

#ifdef _WIN32
#ifndef UNICODE
#define UNICODE
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
// After windows.h, on which they build.
#include <malloc.h>
#include <setupapi.h>
#else
#include <crtheap.h>
#include <setupapi.h>
#include <windows.h>
#endif
