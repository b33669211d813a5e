#pragma once

#include <string>
#include <vector>

#include "imagesigning/InvalidImageException.h"
#include "imagesigning/PeValidator.h"
#include "support/TestFile.h"

/// A file of the test's own with that content. Needs a session.
struct ImageFile : TestFile {
  explicit ImageFile(const std::vector<unsigned char>& content) { Write(content); }
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
