#pragma once

#include "drivermanagement/BaseObject.h"
#include "foundation/UnicodeString.h"

namespace DriverManagement {

/// The managed object for one registration of an event-log source. `flags` plays no part and no result asks
/// for a restart. Failures that an operation does not turn into a result pass to the caller as exceptions of
/// `LCommon::System::Log::Source` and `LCommon::System::RegistryKey`; a machine without an event log
/// (`LoggerNotFoundException`) is always such a failure.
class BaseLogSource : public BaseObject {
 public:
  /// The registration as it should be; a number 0 and an empty path mean that the value should be absent.
  BaseLogSource(LUnicodeString logName, LUnicodeString sourceName, unsigned int categoryCount,
                unsigned int typesSupported, LUnicodeString categoryMessageFile,
                LUnicodeString eventMessageFile, LUnicodeString parameterMessageFile);

  unsigned int IsInstalled() override;
  /// Are all five values as they should be, paths to the letter case? A registration that may not be read
  /// counts as up to date.
  unsigned int IsInstalledUpToDate() override;
  InstallResult Install(unsigned int flags) override;
  RemoveResult Remove(unsigned int flags) override;

 private:
  const LUnicodeString m_logName;
  const LUnicodeString m_sourceName;
  const unsigned int m_categoryCount;
  const unsigned int m_typesSupported;
  const LUnicodeString m_categoryMessageFile;
  const LUnicodeString m_eventMessageFile;
  const LUnicodeString m_parameterMessageFile;
};

}  // namespace DriverManagement
