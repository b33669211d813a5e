#include "system/Environment.h"

#include "foundation/Buffer.h"
#include "system/ErrorTable.h"
#include "system/Growth.h"
#include "system/OptionalText.h"
#include "system/PlatformSystem.h"

namespace LCommon::System {

namespace {

constexpr unsigned int FirstRoom = 64;

constexpr auto variableErrors = MakeErrorTable<Environment::Exception>(
    On<Environment::VariableNotFoundException>(ERROR_ENVVAR_NOT_FOUND));

/// What a reference to `name` stands for.
LUnicodeString Replacement(LUnicodeString name) {
  if (name.IsEmpty()) return L"%";
  try {
    return Environment::GetVariable(name);
  } catch (const Environment::VariableNotFoundException&) {
    return {};
  }
}

}  // namespace

LUnicodeString Environment::GetVariable(LUnicodeString name) {
  LBuffer buffer;
  for (DWORD room = FirstRoom;;) {
    buffer.SetSize(LProduct(room, sizeof(wchar_t)));
    DWORD length;
    // Reading an empty value answers 0 as well and leaves the last error as it was.
    SetLastError(NO_ERROR);
    {
      const LBufferLock lock(buffer);
      length = GetEnvironmentVariableU(OptionalText(name), reinterpret_cast<wchar_t*>(lock.Data()), room);
    }
    if (length == 0) variableErrors.Throw(L_HERE, GetLastError());
    if (length < room) return LUnicodeString::FromZeroTerminated(buffer);
    room = length > room ? length : Doubled(room);
  }
}

LUnicodeString Environment::ExpandVariables(LUnicodeString text) {
  LUnicodeString output;
  LUnicodeString name;
  bool inReference = false;
  for (unsigned int index = 0; index < text.Length(); ++index) {
    const wchar_t unit = text.Data()[index];
    if (unit != L'%') {
      (inReference ? name : output).Append(unit);
      continue;
    }
    if (inReference) output.Append(Replacement(name));
    name = LUnicodeString();
    inReference = !inReference;
  }
  return output;
}

}  // namespace LCommon::System
