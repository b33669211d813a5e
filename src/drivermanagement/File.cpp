#include "drivermanagement/File.h"

#include "system/File.h"
#include "system/WindowsApi.h"

namespace DriverManagement {

using LCommon::System::File;

BaseFile::BaseFile(LUnicodeString path, LPtrRef<BaseFileContainer> container)
    : m_path(path), m_container(container) {}

unsigned int BaseFile::IsInstalled() {
  return File::IsExist(m_path);
}

BaseObject::InstallResult BaseFile::Install(unsigned int) {
  if (IsInstalledUpToDate()) return installUpToDate;
  const bool existed = IsInstalled() != 0;
  Deploy();
  return existed ? installUpdated : installDone;
}

BaseObject::RemoveResult BaseFile::Remove(unsigned int) {
  try {
    const unsigned int attributes = File::GetAttributes(m_path);
    if (attributes & FILE_ATTRIBUTE_READONLY) {
      File::SetAttributes(m_path, attributes & ~FILE_ATTRIBUTE_READONLY);
    }
    try {
      File::Delete(m_path);
    } catch (const File::AccessDeniedException&) {
      File::DeleteAfterReboot(m_path);
      return removeDoneReboot;
    }
    return removeDone;
  } catch (const File::NotFoundException&) {
    return removeNotInstalled;
  }
}

void BaseFile::Deploy() {
  const LBuffer body = m_container->GetBody();
  const std::uint64_t time = m_container->GetTime();
  try {
    File::SetAttributes(m_path, FILE_ATTRIBUTE_NORMAL);
  } catch (const File::NotFoundException&) {
    // Nothing to replace.
  }
  File file(m_path, File::accessReadWrite, 0, FILE_ATTRIBUTE_NORMAL, CREATE_ALWAYS);
  file.Write(body);
  file.SetTime(time, time, time);
}

}  // namespace DriverManagement
