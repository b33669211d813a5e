#include "system/LogSource.h"

#include "system/WindowsApi.h"

namespace LCommon::System::Log {

namespace {

constexpr wchar_t eventLogKey[] = L"System\\CurrentControlSet\\Services\\Eventlog";
constexpr wchar_t categoryCountName[] = L"CategoryCount";
constexpr wchar_t typesSupportedName[] = L"TypesSupported";
constexpr wchar_t categoryMessageFileName[] = L"CategoryMessageFile";
constexpr wchar_t eventMessageFileName[] = L"EventMessageFile";
constexpr wchar_t parameterMessageFileName[] = L"ParameterMessageFile";

// Runs `operation`, in which access denied by the registry is access denied to the source.
template <class Operation>
auto WithAccess(Operation operation) {
  try {
    return operation();
  } catch (const RegistryKey::AccessDeniedException& denied) {
    throw Source::AccessDeniedException(L_HERE, denied.GetWindowsErrorCode());
  }
}

// Opens a subkey whose absence is a `Missing`.
template <class Missing>
LPtrRef<RegistryKey> OpenKey(LPtrRef<RegistryKey> parent, LUnicodeString name,
                             RegistryKey::AccessType access) {
  try {
    return parent->Open(name, access);
  } catch (const RegistryKey::KeyNotFoundException& missing) {
    throw Missing(L_HERE, missing.GetWindowsErrorCode());
  }
}

LPtrRef<RegistryKey> OpenLogger(RegistryKey::AccessType access) {
  return OpenKey<Source::LoggerNotFoundException>(RegistryKey::LocalMachine(), eventLogKey, access);
}

LPtrRef<RegistryKey> OpenLog(LUnicodeString logName, RegistryKey::AccessType access) {
  return OpenKey<Source::LogNotFoundException>(OpenLogger(access), logName, access);
}

LPtrRef<RegistryKey> OpenSource(LUnicodeString logName, LUnicodeString sourceName) {
  return WithAccess([&] {
    return OpenKey<Source::SourceNotFoundException>(OpenLog(logName, KEY_READ), sourceName, KEY_READ);
  });
}

void DeleteIfSet(LPtrRef<RegistryKey> key, LUnicodeString name) {
  try {
    key->DeleteValue(name);
  } catch (const RegistryKey::ValueNotFoundException&) {
    // Unset already.
  }
}

void WriteNumber(LPtrRef<RegistryKey> key, LUnicodeString name, unsigned int number) {
  if (number == 0) {
    DeleteIfSet(key, name);
  } else {
    key->SetInt32Value(name, number);
  }
}

void WritePath(LPtrRef<RegistryKey> key, LUnicodeString name, LUnicodeString path) {
  if (path.IsEmpty()) {
    DeleteIfSet(key, name);
  } else {
    key->SetExpandStringValue(name, path);
  }
}

LPtrRef<RegistryKey::Value> Query(LPtrRef<RegistryKey> key, LUnicodeString name,
                                  RegistryKey::Value::Type type) {
  LPtrRef<RegistryKey::Value> value;
  try {
    value = key->GetValue(name);
  } catch (const RegistryKey::ValueNotFoundException& missing) {
    throw Source::ConfigNotSetException(L_HERE, missing.GetWindowsErrorCode());
  }
  if (value->GetType() != type) throw Source::InvalidConfigException(L_HERE, ERROR_DATATYPE_MISMATCH);
  return value;
}

unsigned int QueryNumber(LPtrRef<RegistryKey> key, LUnicodeString name) {
  return Query(key, name, RegistryKey::Value::typeInt32)->GetInt32Data();
}

LUnicodeString QueryPath(LPtrRef<RegistryKey> key, LUnicodeString name) {
  return Query(key, name, RegistryKey::Value::typeExpandString)->GetExpandStringData();
}

void ChangeNumber(LPtrRef<RegistryKey> key, LUnicodeString name, unsigned int number) {
  WithAccess([&] { WriteNumber(key->Open(KEY_WRITE), name, number); });
}

void ChangePath(LPtrRef<RegistryKey> key, LUnicodeString name, LUnicodeString path) {
  WithAccess([&] { WritePath(key->Open(KEY_WRITE), name, path); });
}

}  // namespace

Source::Source(LUnicodeString logName, LUnicodeString sourceName) : m_key(OpenSource(logName, sourceName)) {}

LPtrRef<Source> Source::Create(LUnicodeString logName, LUnicodeString sourceName, unsigned int categoryCount,
                               unsigned int typesSupported, LUnicodeString categoryMessageFile,
                               LUnicodeString eventMessageFile, LUnicodeString parameterMessageFile) {
  return WithAccess([&] {
    const LPtrRef<RegistryKey> key =
        OpenLogger(KEY_WRITE)->Create(logName, KEY_WRITE)->Create(sourceName, KEY_WRITE);
    WriteNumber(key, categoryCountName, categoryCount);
    WriteNumber(key, typesSupportedName, typesSupported);
    WritePath(key, categoryMessageFileName, categoryMessageFile);
    WritePath(key, eventMessageFileName, eventMessageFile);
    WritePath(key, parameterMessageFileName, parameterMessageFile);
    return LPtrRef<Source>(new Source(key->Open(KEY_READ)));
  });
}

void Source::Delete(LUnicodeString logName, LUnicodeString sourceName) {
  WithAccess([&] {
    const LPtrRef<RegistryKey> log = OpenLog(logName, KEY_WRITE);
    try {
      log->DeleteTree(sourceName);
    } catch (const RegistryKey::KeyNotFoundException& missing) {
      throw SourceNotFoundException(L_HERE, missing.GetWindowsErrorCode());
    }
  });
}

unsigned int Source::QueryCategoryCount() const {
  return QueryNumber(m_key, categoryCountName);
}
unsigned int Source::QueryTypesSupported() const {
  return QueryNumber(m_key, typesSupportedName);
}
LUnicodeString Source::QueryCategoryMessageFile() const {
  return QueryPath(m_key, categoryMessageFileName);
}
LUnicodeString Source::QueryEventMessageFile() const {
  return QueryPath(m_key, eventMessageFileName);
}
LUnicodeString Source::QueryParameterMessageFile() const {
  return QueryPath(m_key, parameterMessageFileName);
}

void Source::ChangeCategoryCount(unsigned int count) {
  ChangeNumber(m_key, categoryCountName, count);
}
void Source::ChangeTypesSupported(unsigned int types) {
  ChangeNumber(m_key, typesSupportedName, types);
}

void Source::ChangeCategoryMessageFile(LUnicodeString path) {
  ChangePath(m_key, categoryMessageFileName, path);
}

void Source::ChangeEventMessageFile(LUnicodeString path) {
  ChangePath(m_key, eventMessageFileName, path);
}

void Source::ChangeParameterMessageFile(LUnicodeString path) {
  ChangePath(m_key, parameterMessageFileName, path);
}

}  // namespace LCommon::System::Log
