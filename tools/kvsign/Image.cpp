#include "Image.h"

#include <fmt/format.h>

#include <new>

#include "Errors.h"
#include "imagesigning/PeImage.h"
#include "imagesigning/PeStream.h"
#include "imagesigning/Sha512.h"

namespace kvsign {

using DriverManagement::ImageSigning1::BuildImage;
using DriverManagement::ImageSigning1::ImageBytes;
using DriverManagement::ImageSigning1::PeRefusal;
using DriverManagement::ImageSigning1::PeStream;
using DriverManagement::ImageSigning1::ReadCoverage;

LoadedImage LoadImage(const Bytes& file) {
  bool inImage = false;
  try {
    const LBuffer bytes = BuildImage(ImageBytes(file.data(), static_cast<std::uint32_t>(file.size())));
    inImage = true;
    return {bytes, ReadCoverage(ImageBytes(bytes.Data(), bytes.Size()))};
  } catch (const PeRefusal& refusal) {
    throw Refusal{refusal, inImage};
  }
}

Digest DigestOf(const LoadedImage& image) {
  static_assert(LCommon::Crypto::Sha512::DigestSize == Digest().size());
  PeStream stream(image.bytes.Data(), image.bytes.Size());
  LCommon::Crypto::Sha512 hash;
  const void* data = nullptr;
  unsigned int size = 0;
  while (stream.Get(data, size)) {
    hash.Update(data, size);
  }
  Digest digest;
  hash.Finish(digest.data());
  return digest;
}

Digest DigestOf(const std::string& name, const Bytes& file) {
  try {
    return DigestOf(LoadImage(file));
  } catch (const Refusal& refusal) {
    throw FileError(name, RefusalText(refusal));
  } catch (const std::bad_alloc&) {
    throw FileError(name, NoMemory);
  }
}

std::string Hexadecimal(const Digest& digest) {
  std::string text;
  for (const std::uint8_t byte : digest) {
    text += fmt::format("{:02x}", byte);
  }
  return text;
}

}  // namespace kvsign
