#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "machine/Devices.h"
#include "machine/FileSystem.h"
#include "machine/Settings.h"

namespace winsim {

class Machine;

/// What machine.json says: all of a machine that is neither registry nor file.
struct MachineDescription {
  struct DriveKind {
    std::uint32_t type = 3;
    bool hasMedium = true;
  };
  /// A mutex that another program holds for some time after every start.
  struct HeldLock {
    std::u16string name;
    std::uint64_t units;
  };

  Settings settings;
  /// The file names the Windows directory; otherwise its spelling is that on the disk.
  bool namesWindowsDirectory = false;
  bool namesAnsiCodePage = false;
  std::map<std::u16string, std::u16string> environment;

  std::map<char16_t, DriveKind> drives;
  std::map<char16_t, std::u16string> substitutedDrives;
  /// "\\server\share" and its folder inside the machine folder.
  std::map<std::u16string, std::filesystem::path> shares;
  std::map<std::u16string, std::uint32_t> attributes;

  std::map<std::u16string, std::uint32_t> refusedKeys;
  std::vector<std::u16string> refusedFiles;
  std::map<std::u16string, std::uint32_t> refusedServices;
  bool refusesServiceManager = false;
  std::vector<std::u16string> refusedMutexes;

  std::map<std::u16string, DriverBehaviour> drivers;
  std::vector<HeldLock> heldLocks;

  /// The file as it stood; empty without one.
  std::string document;
};

/// Reads machine.json; an ordinary Windows 10 machine for an empty name. Unknown members, members of
/// a wrong type and members given twice are refused. Throws MachineFolderError.
MachineDescription ReadMachineJson(const std::filesystem::path& file);

/// The text of machine.json for the machine as it is now: what was read, the attributes of the files as they
/// are, and nothing about keys and services that are gone. Empty when there is nothing to say.
std::string FormatMachineJson(const MachineDescription& description, Machine& machine);

}  // namespace winsim
