#pragma once

#include <cstdint>
#include <optional>

#include "foundation/PtrRef.h"
#include "foundation/UnicodeString.h"
#include "system/RegistryKey.h"

namespace DriverManagement {

/// One client's entry in a lifetime record: a registry key with the number "Mode", and the text "File" (mode
/// 0, bound to a file: alive as long as the file exists) or the 8 bytes "Time" (mode 1, bound to time: alive
/// for 30 days after the moment it carries, in 100 ns since 1601). A value that is missing or of the wrong
/// type or size makes the entry lapsed; failures of the registry pass.
class LifeTimeEntry {
 public:
  static constexpr std::uint32_t ModeFile = 0;
  static constexpr std::uint32_t ModeTime = 1;
  /// 30 days in units of 100 ns.
  static constexpr std::uint64_t TimeToLive = 30ull * 24 * 60 * 60 * 10'000'000;

  /// `key` is open for what the operations called need.
  explicit LifeTimeEntry(LPtrRef<LCommon::System::RegistryKey> key) : m_key(key) {}

  /// Has the entry `name` below `lifeTimeKey` lapsed? One that does not exist has, one without a name, which
  /// nobody can look at, has not.
  static bool HasLapsed(LPtrRef<LCommon::System::RegistryKey> lifeTimeKey, LUnicodeString name);

  /// Is the entry bound to this file, whatever the letter case? The file need not exist.
  bool IsBoundToFile(LUnicodeString filePathName) const;
  /// Is the entry bound to time and alive now?
  bool IsBoundToTimeAndAlive() const;

  void BindToFile(LUnicodeString filePathName);
  /// From now on.
  void BindToTime();

 private:
  bool IsAlive() const;
  bool IsTimeAlive() const;
  void DeleteValueIfAny(LUnicodeString name);

  LPtrRef<LCommon::System::RegistryKey> m_key;
};

/// The number of a `REG_DWORD` value of `key`; none when the value is missing, of another type or too short.
std::optional<std::uint32_t> ReadNumber(LPtrRef<LCommon::System::RegistryKey> key, LUnicodeString name);

}  // namespace DriverManagement
