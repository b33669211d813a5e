#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "machine/Registry.h"

namespace winsim {

class Machine;

/// The 16 bytes of an identifier, in the order in which they lie in memory.
struct Guid {
  std::uint8_t bytes[16] = {};
  bool operator==(const Guid&) const = default;

  /// From "{8ECC055D-047F-11D1-A537-0000F8753ED1}", in any case.
  static std::optional<Guid> Parse(std::u16string_view text);
};

/// The device nodes that the machine knows, kept in the registry: instances are keys
/// System\CurrentControlSet\Enum\<enumerator>\<device>\<instance> with "ClassGUID" and "Service", their
/// classes keys System\CurrentControlSet\Control\Class\{guid} with "Class".
class DeviceNodes {
 public:
  explicit DeviceNodes(Machine& machine) : m_machine(machine) {}
  DeviceNodes(const DeviceNodes&) = delete;
  DeviceNodes& operator=(const DeviceNodes&) = delete;

  /// Identifiers of the classes of that name, in the order of the class keys.
  std::vector<Guid> ClassesNamed(std::u16string_view className);
  /// Instance paths ("ROOT\LEGACY_X\0000") in the order of names: those of `classGuid`, or all, below
  /// `enumerator` ("ROOT", "ROOT\LEGACY_X"), or below all when that is empty.
  std::vector<std::u16string> Instances(const std::optional<Guid>& classGuid,
                                        std::u16string_view enumerator = {});
  /// The class of an instance; none when the instance or its class is missing.
  std::optional<Guid> ClassOf(std::u16string_view instance);
  /// A value of an instance's key, or null.
  const RegistryValue* Property(std::u16string_view instance, std::u16string_view name);
  /// Deletes the instance, and its device when it was the last one. Returns 0; 5 when the instance's key
  /// refuses to be deleted; 0xE000020B (ERROR_NO_SUCH_DEVINST) when there is no such instance.
  std::uint32_t Remove(std::u16string_view instance);

  /// For set-up: the node ROOT\LEGACY_<SERVICE>\<instance> that Windows keeps for a driver that is not
  /// Plug and Play, and the class "LegacyDriver" when it is missing.
  void AddLegacy(std::u16string_view service, std::u16string_view instance = u"0000");

 private:
  Machine& m_machine;
};

}  // namespace winsim
