#pragma once

#include "system/WindowsApi.h"

namespace LCommon::System {

/// Starts the system layer: detects the version of Windows, gives the foundation its memory manager and its
/// text conversion, sets up the wrappers over the platform (PlatformState.h) and creates the `Manager`.
/// Called on the main thread before anything else of the program; the memory of all objects comes from here.
///
/// With `flag` 1 the version is asked of the native functions first, see `DetectVersion`. Throws an
/// `LBaseException` without text when the version cannot be detected, and whatever creating the `Manager`
/// throws; then nothing is left behind. Asserts "g_instance == 0": the layer is not started yet.
void InitializeSystem(unsigned int flag);

/// Ends what `InitializeSystem` started, in the opposite order. No object of the foundation may outlive it.
/// Does nothing when the layer is not started; it may be started again afterwards.
void UninitializeSystem();

/// The version of Windows that the process really runs on, with its size field set and its service-pack text
/// empty. The first success is kept until the layer is shut down and answers every later call.
///
/// With `tryNative` and ntdll.dll in the process the answer comes from its `RtlGetNtVersionNumbers` (the
/// build number with the flags in its top bits; the platform is NT), without that from its `RtlGetVersion`;
/// without either, or without `tryNative`, from `GetVersionExA`. False when the function asked fails.
bool DetectVersion(bool tryNative, OSVERSIONINFOW& version);

}  // namespace LCommon::System
