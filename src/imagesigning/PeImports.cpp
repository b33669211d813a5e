#include "imagesigning/PeImports.h"

#include <algorithm>
#include <cstddef>

namespace DriverManagement::ImageSigning1 {

namespace {

constexpr std::uint32_t PointerSize(const PeHeaders& headers) {
  return headers.plus ? 8 : 4;
}

// Where the thunk arrays begin, ascending.
LVector<std::uint32_t> ReadThunkArrays(ImageBytes image, PeDirectory directory) {
  constexpr std::uint32_t step = sizeof(IMAGE_IMPORT_DESCRIPTOR);
  LVector<std::uint32_t> starts;
  for (std::uint64_t offset = step; offset <= directory.size; offset += step) {
    const auto descriptor =
        image.Read<IMAGE_IMPORT_DESCRIPTOR>(directory.address + offset - step, PeRule::importDirectory);
    if (descriptor.OriginalFirstThunk == 0) {
      std::sort(starts.begin(), starts.end());
      return starts;
    }
    starts.push_back(descriptor.FirstThunk != 0 ? descriptor.FirstThunk : descriptor.OriginalFirstThunk);
  }
  throw PeRefusal{PeRule::importDescriptors, directory.address};
}

// The end of the array, behind its empty entry.
std::uint32_t FindThunkArrayEnd(ImageBytes image, std::uint32_t start, std::uint32_t pointerSize) {
  constexpr unsigned char empty[8] = {};
  std::uint64_t offset = start;
  while (std::memcmp(image.At(offset, pointerSize, PeRule::importThunks), empty, pointerSize) != 0) {
    offset += pointerSize;
  }
  return static_cast<std::uint32_t>(offset) + pointerSize;
}

}  // namespace

void AppendThunkArrays(ImageBytes image, const PeHeaders& headers, LVector<PeRange>& ranges) {
  const PeDirectory directory = ReadDirectory(image, headers, IMAGE_DIRECTORY_ENTRY_IMPORT);
  if (directory.size == 0) return;
  const std::uint32_t pointerSize = PointerSize(headers);
  // An array that begins on an entry of an earlier one ends where that ends, so nothing is walked twice:
  // arrays can share entries only when their beginnings have the same remainder.
  std::uint32_t ends[8] = {};
  for (const std::uint32_t start : ReadThunkArrays(image, directory)) {
    std::uint32_t& end = ends[start % pointerSize];
    if (start < end) continue;
    end = FindThunkArrayEnd(image, start, pointerSize);
    ranges.push_back({start, end});
  }
}

}  // namespace DriverManagement::ImageSigning1
