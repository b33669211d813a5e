#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "machine/Registry.h"

namespace winsim {

/// A service's entry.
struct ServiceConfig {
  static constexpr std::uint32_t KernelDriver = 1;
  static constexpr std::uint32_t FileSystemDriver = 2;
  static constexpr std::uint32_t OwnProcess = 0x10;
  static constexpr std::uint32_t ShareProcess = 0x20;
  static constexpr std::uint32_t Interactive = 0x100;

  static constexpr std::uint32_t AutoStart = 2;
  static constexpr std::uint32_t DemandStart = 3;
  static constexpr std::uint32_t Disabled = 4;

  std::uint32_t type = OwnProcess;
  std::uint32_t start = DemandStart;
  std::uint32_t errorControl = 1;
  std::u16string imagePath;
  std::u16string group;
  std::uint32_t tag = 0;
  /// Names of services, and names of groups with a '+' in front.
  std::vector<std::u16string> dependencies;
  std::u16string account;
  /// Empty when the service has its name only.
  std::u16string displayName;
  std::u16string description;

  bool IsDriver() const { return (type & (KernelDriver | FileSystemDriver)) != 0; }
};

/// The service entries in the registry: each key below System\CurrentControlSet\Services with a value "Type".
/// What the registry says holds at once.
class ServiceDatabase {
 public:
  explicit ServiceDatabase(Registry& registry) : m_registry(registry) {}

  /// Path of a service's key below HKEY_LOCAL_MACHINE.
  static std::u16string KeyPath(std::u16string_view service);

  bool Exists(std::u16string_view service) const;
  /// Names of all services in the order of names.
  std::vector<std::u16string> Names() const;
  /// The entry of an existing service.
  ServiceConfig Config(std::u16string_view service) const;
  /// Writes the entry, which is made when there is none; what is empty has no value. The image path keeps its
  /// registry type, REG_EXPAND_SZ at first.
  void Write(std::u16string_view service, const ServiceConfig& config);
  void SetDescription(std::u16string_view service, std::u16string_view description);
  /// Deletes the service's key with everything below it.
  void Remove(std::u16string_view service);

  /// Whether the entry has the mark "WOW64" of a 32-bit process on 64-bit Windows that made it: its program
  /// is looked for where such a process would find it.
  bool HasWow64Mark(std::u16string_view service) const;
  void SetWow64Mark(std::u16string_view service);

  bool IsMarked(std::u16string_view service) const;
  /// Marks the service for deletion and disables it.
  void Mark(std::u16string_view service);

  /// Whether another service than `service` has `displayName` as its name or, unless those `mayRepeat`, as
  /// its display name.
  bool IsTaken(std::u16string_view displayName, std::u16string_view service, bool mayRepeat) const;
  /// Whether `service`, with these dependencies, would need itself, directly or through others.
  bool IsCircular(std::u16string_view service, const std::vector<std::u16string>& dependencies,
                  std::u16string_view group) const;
  /// A tag that no service of `group` has.
  std::uint32_t FreeTag(std::u16string_view group) const;

 private:
  Registry& m_registry;
};

}  // namespace winsim
