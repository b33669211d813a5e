#include "drivermanagement/LogSource.h"

#include "foundation/PtrRef.h"
#include "system/LogSource.h"

namespace DriverManagement {

namespace {

using LCommon::System::Log::Source;

bool IsNumberAsDesired(const Source& source, unsigned int (Source::*query)() const, unsigned int desired) {
  try {
    // A stored 0 is not what a desired 0 means: the value should be absent.
    return (source.*query)() == desired && desired != 0;
  } catch (const Source::ConfigNotSetException&) {
    return desired == 0;
  }
}

bool IsPathAsDesired(const Source& source, LUnicodeString (Source::*query)() const, LUnicodeString desired) {
  try {
    const LUnicodeString stored = (source.*query)();
    return !desired.IsEmpty() && stored == desired.Data();  // exact, as against plain text
  } catch (const Source::ConfigNotSetException&) {
    return desired.IsEmpty();
  }
}

}  // namespace

BaseLogSource::BaseLogSource(LUnicodeString logName, LUnicodeString sourceName, unsigned int categoryCount,
                             unsigned int typesSupported, LUnicodeString categoryMessageFile,
                             LUnicodeString eventMessageFile, LUnicodeString parameterMessageFile)
    : m_logName(logName),
      m_sourceName(sourceName),
      m_categoryCount(categoryCount),
      m_typesSupported(typesSupported),
      m_categoryMessageFile(categoryMessageFile),
      m_eventMessageFile(eventMessageFile),
      m_parameterMessageFile(parameterMessageFile) {}

unsigned int BaseLogSource::IsInstalled() {
  try {
    LMakeRef<Source>(m_logName, m_sourceName);
    return 1;
  } catch (const Source::LogNotFoundException&) {
    return 0;
  }
}

unsigned int BaseLogSource::IsInstalledUpToDate() {
  try {
    const auto source = LMakeRef<Source>(m_logName, m_sourceName);
    return IsNumberAsDesired(*source, &Source::QueryCategoryCount, m_categoryCount) &&
           IsNumberAsDesired(*source, &Source::QueryTypesSupported, m_typesSupported) &&
           IsPathAsDesired(*source, &Source::QueryCategoryMessageFile, m_categoryMessageFile) &&
           IsPathAsDesired(*source, &Source::QueryEventMessageFile, m_eventMessageFile) &&
           IsPathAsDesired(*source, &Source::QueryParameterMessageFile, m_parameterMessageFile);
  } catch (const Source::AccessDeniedException&) {
    return 1;
  } catch (const Source::LogNotFoundException&) {
    return 0;
  } catch (const Source::InvalidConfigException&) {
    return 0;
  }
}

BaseObject::InstallResult BaseLogSource::Install(unsigned int) {
  if (IsInstalledUpToDate()) return installUpToDate;
  if (!IsInstalled()) {
    Source::Create(m_logName, m_sourceName, m_categoryCount, m_typesSupported, m_categoryMessageFile,
                   m_eventMessageFile, m_parameterMessageFile);
    return installDone;
  }
  const auto source = LMakeRef<Source>(m_logName, m_sourceName);
  source->ChangeCategoryCount(m_categoryCount);
  source->ChangeTypesSupported(m_typesSupported);
  source->ChangeCategoryMessageFile(m_categoryMessageFile);
  source->ChangeEventMessageFile(m_eventMessageFile);
  source->ChangeParameterMessageFile(m_parameterMessageFile);
  return installUpdated;
}

BaseObject::RemoveResult BaseLogSource::Remove(unsigned int) {
  try {
    Source::Delete(m_logName, m_sourceName);
    return removeDone;
  } catch (const Source::LogNotFoundException&) {
    return removeNotInstalled;
  }
}

}  // namespace DriverManagement
