#pragma once

#include "foundation/Object.h"
#include "foundation/PtrRef.h"
#include "foundation/UnicodeString.h"
#include "system/RegistryKey.h"

namespace LCommon::System::Log {

/// An existing registration of an event-log source: the key named by the source below the key named by the
/// log. Nothing is ever written to the log itself.
///
/// A number that is 0 and a path that is empty are never stored: writing them deletes the value. Paths are
/// stored with their environment references and read back unexpanded. Missing keys are reported by the
/// not-found classes, denied access while opening, creating, changing or deleting by `AccessDeniedException`,
/// all carrying the registry's code; other failures pass as `RegistryKey` exceptions.
class Source : public LRefObject {
 public:
  class Exception : public WindowsErrorException {
   public:
    using WindowsErrorException::WindowsErrorException;
  };
  class NotFoundException : public Exception {
   public:
    using Exception::Exception;
  };
  /// The machine has no event log.
  class LoggerNotFoundException : public NotFoundException {
   public:
    using NotFoundException::NotFoundException;
  };
  class LogNotFoundException : public NotFoundException {
   public:
    using NotFoundException::NotFoundException;
  };
  /// The log exists, the source does not.
  class SourceNotFoundException : public LogNotFoundException {
   public:
    using LogNotFoundException::LogNotFoundException;
  };
  /// A queried value is not set.
  class ConfigNotSetException : public Exception {
   public:
    using Exception::Exception;
  };
  /// A queried value has another registry type; carries 1629.
  class InvalidConfigException : public Exception {
   public:
    using Exception::Exception;
  };
  class AccessDeniedException : public Exception {
   public:
    using Exception::Exception;
  };

  /// Opens an existing registration for reading.
  Source(LUnicodeString logName, LUnicodeString sourceName);

  /// Creates the registration, with the log's key if need be, or rewrites it. What was written before a
  /// failure stays.
  static LPtrRef<Source> Create(LUnicodeString logName, LUnicodeString sourceName, unsigned int categoryCount,
                                unsigned int typesSupported, LUnicodeString categoryMessageFile,
                                LUnicodeString eventMessageFile, LUnicodeString parameterMessageFile);
  /// Deletes the registration with everything below its key; the log's key stays.
  static void Delete(LUnicodeString logName, LUnicodeString sourceName);

  // Each throws `ConfigNotSetException` or `InvalidConfigException` rather than answer a default.

  unsigned int QueryCategoryCount() const;
  unsigned int QueryTypesSupported() const;
  LUnicodeString QueryCategoryMessageFile() const;
  LUnicodeString QueryEventMessageFile() const;
  LUnicodeString QueryParameterMessageFile() const;

  void ChangeCategoryCount(unsigned int count);
  void ChangeTypesSupported(unsigned int types);
  void ChangeCategoryMessageFile(LUnicodeString path);
  void ChangeEventMessageFile(LUnicodeString path);
  void ChangeParameterMessageFile(LUnicodeString path);

 private:
  explicit Source(LPtrRef<RegistryKey> key) : m_key(key) {}

  LPtrRef<RegistryKey> m_key;
};

}  // namespace LCommon::System::Log
