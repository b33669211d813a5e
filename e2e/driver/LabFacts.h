#pragma once

/// What a driver of the lab replies to the state query, and the installer expects: version, flags (release),
/// target version of Windows, and a number for later use.
inline constexpr unsigned int LabState[] = {4, 2, 0, 10, 0, 0};
