#include "system/File.h"
#include "system/FileErrors.h"
#include "system/OptionalText.h"
#include "system/PlatformApi.h"

// The operations of files that go by name: existence, attributes and deletion.

namespace LCommon::System {

bool File::IsExist(LUnicodeString name) {
  WIN32_FIND_DATAW data;
  const HANDLE search = FindFirstFileU(OptionalText(name), &data);
  if (search != INVALID_HANDLE_VALUE) {
    FindClose(search);
    return true;
  }
  const DWORD error = GetLastError();
  const bool nothingThere =
      error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND || error == ERROR_NO_MORE_FILES;
  if (!nothingThere) accessErrors.Throw(L_HERE, error);
  return false;
}

unsigned int File::GetAttributes(LUnicodeString name) {
  const DWORD attributes = GetFileAttributesU(OptionalText(name));
  if (attributes == INVALID_FILE_ATTRIBUTES) attributeErrors.Throw(L_HERE, GetLastError());
  return attributes;
}

void File::SetAttributes(LUnicodeString name, unsigned int attributes) {
  if (!SetFileAttributesU(OptionalText(name), attributes)) attributeErrors.Throw(L_HERE, GetLastError());
}

void File::Delete(LUnicodeString name) {
  if (!DeleteFileU(OptionalText(name))) openErrors.Throw(L_HERE, GetLastError());
}

void File::MoveAfterReboot(LUnicodeString source, LUnicodeString target) {
  if (!MoveFileExU(OptionalText(source), OptionalText(target), MOVEFILE_DELAY_UNTIL_REBOOT)) {
    accessErrors.Throw(L_HERE, GetLastError());
  }
}

void File::DeleteAfterReboot(LUnicodeString name) {
  MoveAfterReboot(name, LUnicodeString());
}

}  // namespace LCommon::System
