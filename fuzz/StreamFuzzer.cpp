// The stream of any image in memory: the image with zeros where it is not covered, or a refusal.

#include <cstring>
#include <vector>

#include "FuzzSession.h"
#include "imagesigning/InvalidImageException.h"
#include "imagesigning/PeStream.h"

using namespace DriverManagement::ImageSigning1;

namespace {

std::vector<std::uint8_t> ReadAll(PeStream& stream) {
  std::vector<std::uint8_t> content;
  const void* chunk = nullptr;
  unsigned int size = 0;
  while (stream.Get(chunk, size)) {
    Require(size != 0, "a chunk has bytes");
    const auto* const bytes = static_cast<const std::uint8_t*>(chunk);
    content.insert(content.end(), bytes, bytes + size);
  }
  Require(stream.Get(chunk, size) == 0, "the end stays the end");
  return content;
}

std::vector<std::uint8_t> Covered(const std::uint8_t* data, const PeCoverage& coverage) {
  std::vector<std::uint8_t> content(data, data + coverage.size);
  for (const PeRange range : coverage.zeros) {
    Require(range.begin < range.end && range.end <= coverage.size, "a range of zeros lies in the stream");
    std::memset(content.data() + range.begin, 0, range.end - range.begin);
  }
  return content;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  SetUpHeap();
  const auto imageSize = static_cast<unsigned int>(size);
  PeStream stream(data, imageSize);
  try {
    const std::vector<std::uint8_t> content = ReadAll(stream);
    Require(content == Covered(data, ReadCoverage(ImageBytes(data, imageSize))),
            "the stream is the coverage");
  } catch (const InvalidImageException&) {
    const void* chunk = nullptr;
    unsigned int chunkSize = 0;
    try {
      stream.Get(chunk, chunkSize);
      Require(false, "a refused image stays refused");
    } catch (const InvalidImageException&) {
    }
  }
  return 0;
}
