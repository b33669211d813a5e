#pragma once

#include <string>
#include <vector>

#include "imagesigning/InvalidImageException.h"
#include "imagesigning/PeValidator.h"
#include "system/FileMapping.h"
#include "system/Manager.h"

/// A file of the test's own, gone with the test, which fails when somebody keeps it open. Needs a session.
class ImageFile {
 public:
  explicit ImageFile(const std::vector<unsigned char>& content)
      : name(LCommon::System::AppendBackslash(LCommon::System::Manager::Instance().GetWindowsDirectoryA()) +
             L"kvdel01 test.sys") {
    File(name, File::accessReadWrite, 0, FILE_ATTRIBUTE_NORMAL, CREATE_ALWAYS)
        .Write(content.data(), static_cast<unsigned int>(content.size()));
  }
  ~ImageFile() { File::Delete(name); }

  LPtrRef<LCommon::System::FileMappingView> View() const {
    using namespace LCommon::System;
    const auto file = LMakeRef<File>(name, File::accessRead, FILE_SHARE_READ, 0u, OPEN_EXISTING);
    const auto mapping = LMakeRef<FileMapping>(file, FileMapping::accessRead, 0u);
    return LMakeRef<FileMappingView>(mapping, FileMappingView::accessRead, 0u, 0u);
  }

  const LUnicodeString name;

 private:
  using File = LCommon::System::File;
};

/// What `read` answers, or which exception of image inspection it throws: "not found", "invalid image".
template <class Read>
std::string Outcome(Read read) {
  try {
    return read();
  } catch (const DriverManagement::ImageSigning1::SignatureNotFoundException&) {
    return "not found";
  } catch (const DriverManagement::ImageSigning1::InvalidImageException&) {
    return "invalid image";
  }
}

/// Of a file with that content: "valid", "not valid" or an outcome as above.
inline std::string Validity(const std::vector<unsigned char>& content) {
  const ImageFile file(content);
  return Outcome([&] {
    return DriverManagement::ImageSigning1::PeValidator(file.name).IsValid() == 1 ? "valid" : "not valid";
  });
}
