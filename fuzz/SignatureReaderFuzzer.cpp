// The signature in any file: 128 bytes of the file, none, or a refusal.

#include <algorithm>

#include "FuzzSession.h"
#include "imagesigning/InvalidImageException.h"
#include "imagesigning/PeSignatureRawReader.h"
#include "imagesigning/PeSignatureSection.h"

using namespace DriverManagement::ImageSigning1;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;  // cannot be mapped
  // A view ends with its page; this shows every byte read beyond the file.
  enum { found, none, refused } expected;
  const std::uint8_t* signature = nullptr;
  try {
    const auto offset = FindSignature(ImageBytes(data, static_cast<std::uint32_t>(size)));
    expected = offset ? found : none;
    if (offset) signature = data + *offset;
  } catch (const PeRefusal&) {
    expected = refused;
  }

  WriteInput(data, size);
  try {
    const LBuffer read = PeSignatureRawReader(MapInput()).GetSignature();
    Require(expected == found && read.Size() == PeSignatureSize, "a signature has 128 bytes");
    Require(std::equal(read.Data(), read.Data() + PeSignatureSize, signature), "the signature is the file's");
  } catch (const SignatureNotFoundException&) {
    Require(expected == none, "an image without signature");
  } catch (const InvalidImageException&) {
    Require(expected == refused, "a refused image");
  }
  return 0;
}
