#include "imagesigning/PeStream.h"

#include <string>

#include "imagesigning/Cases.h"
#include "imagesigning/InvalidImageException.h"
#include "imagesigning/PeImage.h"

using namespace DriverManagement::ImageSigning1;

TEST_CASE("bytes are handed out from the image, zeros 512 at most, a relocation's value by itself") {
  const TestHeap heap;
  const LBuffer image = BuildImage(View(BuildImage(SampleDriver(true))));
  PeStream stream(image.Data(), image.Size());
  const void* data = nullptr;
  unsigned int size = 0, offset = 0;
  std::string chunks;
  while (stream.Get(data, size) == 1) {
    const auto* const bytes = static_cast<const unsigned char*>(data);
    const bool ofImage = bytes == image.Data() + offset;
    const bool zeros = FileBytes(bytes, bytes + size) == FileBytes(size);
    if (!zeros) CHECK(std::memcmp(bytes, image.Data() + offset, size) == 0);
    chunks += (ofImage ? "" : zeros ? "zeros " : "value ") + std::to_string(size) + ", ";
    offset += size;
  }
  CHECK(chunks ==
        "zeros 70, 2, zeros 12, 2, zeros 18, 4, zeros 12, 8, zeros 68, 372, zeros 456, "         // headers
        "16, value 8, 8, value 4, 428, value 8, 8, zeros 32, "                                   // .text
        "16, value 8, value 4, 404, zeros 48, 32, zeros 512, zeros 512, zeros 512, zeros 512, "  // to INIT
        "20, zeros 512, zeros 492, ");  // .reloc, .kvsign1
  CHECK(stream.Get(data, size) == 0);
  CHECK(stream.Get(data, size) == 0);

  PeStream refused(image.Data(), image.Size() - 1);
  CHECK_THROWS_AS(refused.Get(data, size), InvalidImageException);
  CHECK_THROWS_AS(refused.Get(data, size), InvalidImageException);
}
