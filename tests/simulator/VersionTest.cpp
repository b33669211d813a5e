#include <doctest/doctest.h>

#include <cstring>
#include <memory>

#include "machine/VersionResource.h"
#include "support/ImageBuilder.h"

namespace {

std::size_t ResourceSection(const std::vector<unsigned char>& image) {
  const std::string_view bytes(reinterpret_cast<const char*>(image.data()), image.size());
  const std::size_t header = bytes.find(".rsrc");
  std::uint32_t raw = 0;
  std::memcpy(&raw, image.data() + header + 20, 4);
  return raw;
}

}  // namespace

TEST_CASE("no cut or damage leads beyond the image") {
  const auto image = BuildImage({.plus = false});
  const std::size_t whole = ResourceSection(image);
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
  unsigned int refused = 0;
  for (std::size_t i = 0; i < image.size(); ++i) {
    const bool isRead = i < 0x200 || i >= whole;
    for (const int byte : {0x00, 0x7F, 0x80, 0xFF}) {
      auto damaged = image;
      damaged[i] = static_cast<unsigned char>(byte);
      refused += isRead && examine(damaged) != 0 ? 1 : 0;
    }
  }
  CHECK(refused > 100);
}
