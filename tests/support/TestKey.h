#pragma once

#include <string>

#include "foundation/UnicodeString.h"
#include "system/RegistryKey.h"

// The registry as tests set it up and compare it. Paths begin below the machine's settings.

/// The key, made when it is missing.
LPtrRef<LCommon::System::RegistryKey> MakeKey(LUnicodeString path);
/// Deletes the key with everything below it, if it exists.
void DeleteKey(LUnicodeString path);
/// A key's contents on one line: its values as name=number, name="text" (a list's texts with | between them)
/// or name=hexadecimal bytes, those of other types than REG_DWORD, REG_SZ and REG_BINARY with the type's
/// number in front, then its subkeys as name{contents}; "none" without the key.
std::string RegistryText(LUnicodeString path);
/// One value as above, without its name; "none" without the value.
std::string ValueText(LUnicodeString path, LUnicodeString name);

/// A key of the test's own: empty at first, gone with the test. Needs a session.
class TestKey {
 public:
  explicit TestKey(LUnicodeString its) : path(its) {
    DeleteKey(path);
    m_key = MakeKey(path);
  }
  ~TestKey() {
    m_key = nullptr;
    DeleteKey(path);
  }
  TestKey(const TestKey&) = delete;
  TestKey& operator=(const TestKey&) = delete;

  LCommon::System::RegistryKey* operator->() const { return m_key.Get(); }
  LPtrRef<LCommon::System::RegistryKey> Make(LUnicodeString name) const {
    return MakeKey(path + L'\\' + name);
  }

  const LUnicodeString path;

 private:
  LPtrRef<LCommon::System::RegistryKey> m_key;
};
