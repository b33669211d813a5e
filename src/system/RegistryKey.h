#pragma once

#include <cstdint>

#include "foundation/Buffer.h"
#include "foundation/Object.h"
#include "foundation/PtrRef.h"
#include "foundation/UnicodeString.h"
#include "foundation/UnicodeStringArray.h"
#include "system/WindowsApi.h"

namespace LCommon::System {

/// An open registry key, the system's only way into the registry.
///
/// Every operation goes to the registry; nothing is cached. A failing operation throws
/// `AccessDeniedException` for error 5, the class stated at the operation for error 2, and `Exception` for
/// every other code; the exception carries the code and the key stays usable. An empty name means the key
/// itself (for values, its default value). Several objects may share one handle, which is closed when the
/// last of them goes.
class RegistryKey : public LRefObject {
 public:
  class Exception : public WindowsErrorException {
   public:
    using WindowsErrorException::WindowsErrorException;
  };
  class AccessDeniedException : public Exception {
   public:
    using Exception::Exception;
  };
  class NotFoundException : public Exception {
   public:
    using Exception::Exception;
  };
  class KeyNotFoundException : public NotFoundException {
   public:
    using NotFoundException::NotFoundException;
  };
  class ValueNotFoundException : public NotFoundException {
   public:
    using NotFoundException::NotFoundException;
  };

  /// The registry's access mask: `KEY_READ`, `KEY_WRITE`, `KEY_ALL_ACCESS`.
  using AccessType = unsigned int;

  class Handle;
  class Value;

  explicit RegistryKey(LPtrRef<Handle> handle) : m_handle(handle) {}

  /// The root of the machine's settings; it is never closed.
  static LPtrRef<RegistryKey> LocalMachine();

  /// The subkey, made when it does not exist. Its missing ancestors are made too.
  LPtrRef<RegistryKey> Create(LUnicodeString name, AccessType access);
  /// An existing subkey; error 2 throws `KeyNotFoundException`.
  LPtrRef<RegistryKey> Open(LUnicodeString name, AccessType access);
  /// This key once more with another access.
  LPtrRef<RegistryKey> Open(AccessType access);
  /// Whether the subkey opens for reading; only `KeyNotFoundException` means that it does not exist.
  bool IsChildExist(LUnicodeString name);
  /// Deletes a subkey that has no subkeys; error 2 throws `KeyNotFoundException`.
  void Delete(LUnicodeString name);
  /// Deletes a subkey with everything below it. A key below it that vanishes meanwhile is no failure; any
  /// other failure ends the operation with what is deleted by then deleted. Throws what `Open`, `GetChilds`
  /// and `Delete` throw: `AccessDeniedException` when a key is left that has no name (see `GetChilds`).
  /// `Exception` with 206 for more levels of keys than the registry has.
  void DeleteTree(LUnicodeString name) { DeleteTree(name, MaximalLevels); }
  /// The names of the direct subkeys in the registry's order, each up to its first zero. One that begins with
  /// a zero is empty: it names no key here, and only the kernel's own interface gets at that key.
  LUnicodeStringArray GetChilds();

  /// The value as it is stored; error 2 throws `ValueNotFoundException`.
  LPtrRef<Value> GetValue(LUnicodeString name);
  /// The same with `fallback` in place of a value that does not exist.
  LPtrRef<Value> GetValue(LUnicodeString name, LPtrRef<Value> fallback);
  void SetValue(LUnicodeString name, LPtrRef<Value> value);
  void SetInt32Value(LUnicodeString name, std::uint32_t number);
  void SetBinaryValue(LUnicodeString name, LBuffer data);
  void SetStringValue(LUnicodeString name, LUnicodeString text);
  void SetExpandStringValue(LUnicodeString name, LUnicodeString text);
  /// Error 2 throws `ValueNotFoundException`.
  void DeleteValue(LUnicodeString name);

 private:
  static constexpr unsigned int MaximalLevels = 512;

  void DeleteTree(LUnicodeString name, unsigned int levels);

  LPtrRef<Handle> m_handle;
};

/// One registry key handle, closed with the object unless it is null or a predefined root.
class RegistryKey::Handle : public LRefObject {
 public:
  explicit Handle(HKEY key = nullptr) : m_key(key) {}
  ~Handle() override;

  HKEY Get() const { return m_key; }
  /// Where a registry function puts the key that it opens; only while the object holds none.
  PHKEY Receive() { return &m_key; }

 private:
  HKEY m_key;
};

/// A registry value: the type and the bytes exactly as stored. A value keeps whatever type number the
/// registry reports; the typed accessors assert that it is theirs.
class RegistryKey::Value : public LRefObject {
 public:
  /// The registry's own type codes.
  enum Type : unsigned int { typeString = 1, typeExpandString = 2, typeBinary = 3, typeInt32 = 4 };

  Value(unsigned int type, LBuffer data) : m_type(type), m_data(data) {}
  /// `typeInt32`: four bytes, the least significant first.
  explicit Value(std::uint32_t number);
  /// `typeBinary`.
  explicit Value(LBuffer data) : Value(typeBinary, data) {}
  /// One of the two string types: the units with their terminating zero.
  Value(LUnicodeString text, Type type);

  unsigned int GetType() const { return m_type; }
  /// The bytes of a value of any type.
  LBuffer GetData() const { return m_data; }

  /// The first four bytes; asserts `typeInt32` and that there are four.
  std::uint32_t GetInt32Data() const;
  /// Asserts `typeBinary`.
  LBuffer GetBinaryData() const;
  /// The text up to its first zero or the end of its complete units, well-formed whatever is stored. Asserts
  /// `typeString`.
  LUnicodeString GetStringData() const;
  /// The same for `typeExpandString`; environment references are left as they stand.
  LUnicodeString GetExpandStringData() const;

 private:
  unsigned int m_type;
  LBuffer m_data;
};

}  // namespace LCommon::System
