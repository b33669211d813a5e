#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "machine/Machine.h"

// Machines with the managed components on them, as the installers of client applications leave them, and the
// comparison of whole machines.

/// The service names of the six managed drivers in the program's order.
inline constexpr std::u16string_view ManagedDrivers[] = {u"kvlnk03", u"kvlnk04", u"kvvol02",
                                                         u"kvaux02", u"kvenv01", u"kvenv01a"};

/// Units of 100 ns in a day.
inline constexpr std::uint64_t Day = 864'000'000'000;

std::u16string ServiceKey(std::u16string_view name);
/// Path of a driver's image.
std::u16string ImagePath(winsim::Machine& machine, std::u16string_view driver);

/// The registry keys that every Windows of the NT family has and removal may come across: the device class
/// "LegacyDriver", the root enumerator and the session manager's.
void InstallWindowsKeys(winsim::Machine& machine);
/// A driver with its image, service entry, event-log source, device node and lifetime record without claims.
/// `automatic` is the record's "Auto".
void InstallDriver(winsim::Machine& machine, std::u16string_view driver, std::uint32_t automatic = 1);
/// Takes away all that `InstallDriver` made.
void UninstallDriver(winsim::Machine& machine, std::u16string_view driver);
/// A claim that lasts as long as the file exists.
void ClaimByFile(winsim::Machine& machine, std::u16string_view driver, std::u16string_view client,
                 std::u16string_view file);
/// A claim made at `time` (100 ns since 1601).
void ClaimByTime(winsim::Machine& machine, std::u16string_view driver, std::u16string_view client,
                 std::uint64_t time);
/// The removal service with its executable, service entry and event-log source.
void InstallRemovalService(winsim::Machine& machine);

/// What is on the machine's disk, one line for each registry key and value, folder and file, in UTF-8.
std::vector<std::string> Snapshot(winsim::Machine& machine);
/// The lines that went ("- ...") and came ("+ ...") between two snapshots.
std::vector<std::string> Changes(const std::vector<std::string>& before,
                                 const std::vector<std::string>& after);
