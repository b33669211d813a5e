// The image in memory of any file: an image that keeps what the headers say of it, or a refusal.

#include <cstring>
#include <new>
#include <vector>

#include "FuzzSession.h"
#include "imagesigning/InvalidImageException.h"
#include "imagesigning/PeContainer.h"

using namespace DriverManagement::ImageSigning1;

namespace {

// Whether the lookup finds its header, wholly inside the data.
template <class Header>
bool Finds(Header* (*lookUp)(void*, unsigned int), std::vector<std::uint8_t>& file) {
  try {
    const auto* const found =
        reinterpret_cast<const std::uint8_t*>(lookUp(file.data(), static_cast<unsigned int>(file.size())));
    Require(found >= file.data() && found < file.data() + file.size(), "a header lies in the data");
    return true;
  } catch (const InvalidImageException&) {
    return false;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  SetUpHeap();
  std::vector<std::uint8_t> file(data, data + size);
  const bool hasFileHeader = Finds(PeContainer::GetFileHeader, file);
  const bool hasPe32 = Finds(PeContainer::GetOptionalHeader32, file);
  const bool hasPePlus = Finds(PeContainer::GetOptionalHeader64, file);
  const bool hasSections = Finds(PeContainer::GetSectionHeaders, file);
  Require(!hasPe32 || !hasPePlus, "an image has one width");
  try {
    const LBuffer image = PeContainer::Load(file.data(), static_cast<unsigned int>(file.size()));
    Require(hasFileHeader && (hasPe32 || hasPePlus) && hasSections, "a loaded image has all headers");
    Require(PeContainer::IsPePlus(file.data(), static_cast<unsigned int>(file.size())) == hasPePlus, "width");
    Require(image.Size() % 0x200 == 0 && std::memcmp(image.Data(), data, 64) == 0, "the headers come first");
  } catch (const InvalidImageException&) {
  } catch (const std::bad_alloc&) {
  }
  return 0;
}
