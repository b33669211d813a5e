#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Record.h"
#include "machine/Machine.h"

namespace kvsim {

// kvsim's own look at a simulated machine: what is there of the six drivers and of the removal service. It
// reads the machine, not the program under it, so that the program's faults show.

/// What is there of one driver or of the removal service.
struct Component {
  std::string name;
  bool isDriver = true;

  bool key = false;     // the registry key of its entry, with its lifetime record
  bool entry = false;   // in the service database
  bool marked = false;  // that entry is marked for deletion
  std::uint32_t serviceType = 0;
  std::uint32_t startType = 0;
  std::u16string commandLine;  // of the entry

  std::u16string imagePath;
  bool image = false;
  bool imageScheduled = false;  // for deletion at the next start

  bool logSource = false;
  std::size_t deviceNodes = 0;
  bool loaded = false;
  bool stopPending = false;
  std::uint32_t deviceError = 0;  // of opening its interface device

  std::optional<Record> record;  // its lifetime record
  bool wow64Mark = false;        // of the service's entry

  /// Anything of it but a device node, which means nothing without the rest.
  bool IsPresent() const { return entry || image || logSource || loaded; }
  /// What is there goes with the next start.
  bool IsLeaving() const {
    return IsPresent() && (!entry || marked) && (!image || imageScheduled) && !logSource;
  }
  /// The expiry question of the program: nothing claims the driver and it may be removed, or it has no entry.
  bool IsExpired() const { return !key || (record && record->AllowsRemoval() && record->claims.empty()); }
};

/// A file operation that the next start of the machine carries out.
struct FileOperation {
  std::string from;
  std::string to;  // empty: deletion
};

struct View {
  std::uint64_t time = 0;
  /// The six drivers in the order in which the program keeps them, then the service.
  std::vector<Component> components;
  /// Every service of the machine that is marked for deletion.
  std::vector<std::string> markedServices;
  std::vector<FileOperation> fileOperations;

  const Component& Service() const { return components.back(); }
  /// Nothing of the components is left, not even a device node.
  bool IsClean() const;
};

inline constexpr const char* ServiceName = "kvdel01";
inline constexpr const char* ProgramName = "kvdel01.exe";

/// Called while none of the machine's threads runs, or by the one whose turn it is.
View Look(winsim::Machine& machine);

}  // namespace kvsim
