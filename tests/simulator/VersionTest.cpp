#include <doctest/doctest.h>

#include <memory>

#include "machine/VersionResource.h"
#include "support/ImageBuilder.h"

TEST_CASE("no cut leads beyond the image") {
  const auto image = BuildImage({.plus = false});
  // The headers and the resources, byte by byte; a heap block of exactly that size shows a read behind it.
  const auto examine = [](const std::vector<unsigned char>& bytes) {
    const auto exact = std::make_unique<unsigned char[]>(bytes.size());
    std::copy(bytes.begin(), bytes.end(), exact.get());
    std::span<const std::uint8_t> resource;
    const std::uint32_t error = winsim::FindVersionResource({exact.get(), bytes.size()}, resource);
    const bool inside = resource.empty() || (resource.data() >= exact.get() &&
                                             resource.data() + resource.size() <= exact.get() + bytes.size());
    CHECK((error == 0) == !resource.empty());
    CHECK(inside);
    return error;
  };
  REQUIRE(examine(image) == 0);
  unsigned int complete = 0;
  for (std::size_t size = 0; size < image.size(); ++size) {
    complete += examine({image.begin(), image.begin() + static_cast<std::ptrdiff_t>(size)}) == 0 ? 1 : 0;
  }
  // What is cut of the file's last block of 512 bytes is padding.
  CHECK(complete < 512);
}
