#include "imagesigning/PeContainer.h"

#include <limits>

#include "imagesigning/InvalidImageException.h"
#include "imagesigning/PeHeaders.h"
#include "imagesigning/PeImage.h"

namespace DriverManagement::ImageSigning1 {

namespace {

// What `read` makes of the data; a refusal as the exception of the operation at `location`.
template <class Read>
auto Checked(const void* data, unsigned int size, LLocation location, Read read) {
  try {
    return read(ImageBytes(data, size));
  } catch (const PeRefusal&) {
    throw InvalidImageException(location);
  }
}

template <class Header>
Header* Point(void* data, std::uint32_t offset) {
  return reinterpret_cast<Header*>(static_cast<unsigned char*>(data) + offset);
}

// The optional header's offset.
std::uint32_t FindOptionalHeader(ImageBytes image, bool plus) {
  const std::uint32_t fileHeader = FindFileHeader(image);
  const std::uint32_t optionalHeader = fileHeader + std::uint32_t{sizeof(IMAGE_FILE_HEADER)};
  Demand(ReadPlus(image, fileHeader) == plus, PeRule::optionalMagic, optionalHeader);
  ReadDirectoryCount(image, fileHeader, plus);
  return optionalHeader;
}

}  // namespace

IMAGE_FILE_HEADER* PeContainer::GetFileHeader(void* data, unsigned int size) {
  return Point<IMAGE_FILE_HEADER>(data, Checked(data, size, L_HERE, FindFileHeader));
}

unsigned int PeContainer::IsPePlus(void* data, unsigned int size) {
  return Checked(data, size, L_HERE, [](ImageBytes image) { return ReadPlus(image, FindFileHeader(image)); });
}

IMAGE_OPTIONAL_HEADER32* PeContainer::GetOptionalHeader32(void* data, unsigned int size) {
  return Point<IMAGE_OPTIONAL_HEADER32>(
      data, Checked(data, size, L_HERE, [](ImageBytes image) { return FindOptionalHeader(image, false); }));
}

IMAGE_OPTIONAL_HEADER64* PeContainer::GetOptionalHeader64(void* data, unsigned int size) {
  return Point<IMAGE_OPTIONAL_HEADER64>(
      data, Checked(data, size, L_HERE, [](ImageBytes image) { return FindOptionalHeader(image, true); }));
}

IMAGE_SECTION_HEADER* PeContainer::GetSectionHeaders(void* data, unsigned int size) {
  return Point<IMAGE_SECTION_HEADER>(data, Checked(data, size, L_HERE, [](ImageBytes image) {
                                       return FindSectionTable(image, FindFileHeader(image));
                                     }));
}

LBuffer PeContainer::Load(void* data, unsigned int size) {
  return Checked(data, size, L_HERE, BuildImage);
}

PeContainer::PeContainer(LPtrRef<LCommon::System::FileMappingView> view) {
  Initialize(view);
}

void PeContainer::Initialize(LPtrRef<LCommon::System::FileMappingView> view) {
  void* const base = view->GetBase();
  const std::uint64_t size = view->GetMapping()->GetFile()->GetSize();
  if (size > std::numeric_limits<std::uint32_t>::max()) throw InvalidImageException(L_HERE);
  m_image.Assign(Load(base, static_cast<unsigned int>(size)));
}

}  // namespace DriverManagement::ImageSigning1
