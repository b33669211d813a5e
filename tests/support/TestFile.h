#pragma once

#include <vector>

#include "system/File.h"
#include "system/FileMapping.h"
#include "system/Manager.h"

/// A path in the directory of Windows, wherever that is.
inline LUnicodeString InWindows(LUnicodeString name) {
  return LCommon::System::AppendBackslash(LCommon::System::Manager::Instance().GetWindowsDirectoryA()) + name;
}

/// A file of the test's own: not there at first, gone with the test, which fails when somebody keeps it open.
/// Needs a session.
class TestFile {
 protected:
  using File = LCommon::System::File;

 public:
  explicit TestFile(LUnicodeString path = InWindows(L"kvdel01 test.bin")) : name(path) { Remove(); }
  ~TestFile() { Remove(); }
  TestFile(const TestFile&) = delete;
  TestFile& operator=(const TestFile&) = delete;

  /// Replaces the file.
  template <class Content>
  void Write(const Content& content, unsigned int attributes = FILE_ATTRIBUTE_NORMAL) const {
    Remove();
    File(name, File::accessReadWrite, 0, FILE_ATTRIBUTE_NORMAL, CREATE_ALWAYS)
        .Write(content.data(), static_cast<unsigned int>(content.size()));
    if (attributes != FILE_ATTRIBUTE_NORMAL) File::SetAttributes(name, attributes);
  }
  LPtrRef<File> Open() const {
    return LMakeRef<File>(name, File::accessRead, FILE_SHARE_READ, 0u, OPEN_EXISTING);
  }
  /// Of a file that is not empty.
  LPtrRef<LCommon::System::FileMappingView> View() const {
    using namespace LCommon::System;
    return LMakeRef<FileMappingView>(LMakeRef<FileMapping>(Open(), FileMapping::accessRead, 0u),
                                     FileMappingView::accessRead, 0u, 0u);
  }
  std::vector<unsigned char> Read() const {
    const auto view = View();
    const auto* const bytes = static_cast<const unsigned char*>(view->GetBase());
    return std::vector<unsigned char>(bytes, bytes + Open()->GetSize());
  }
  bool Exists() const { return File::IsExist(name); }
  /// Even if it is read-only.
  void Remove() const {
    if (!Exists()) return;
    File::SetAttributes(name, FILE_ATTRIBUTE_NORMAL);
    File::Delete(name);
  }

  const LUnicodeString name;
};
