#include "imagesigning/PeContainer.h"

#include "imagesigning/Cases.h"
#include "imagesigning/InvalidImageException.h"
#include "imagesigning/PeImage.h"

namespace {

using namespace DriverManagement::ImageSigning1;

// The sample in PE32+: file header 68, optional header 88, directories 200, the sections' headers 328 to 448.
constexpr std::size_t Text = 328, Data = 368, Bss = 408, FileSize = 0x1800;

/// Code, data that takes two units of alignment, and a section without data.
FileBytes Sample(bool plus) {
  ImageDescription description;
  description.plus = plus;
  description.version.reset();
  description.sections = {{".text", FileBytes(0x20, 0xC3)},
                          {".data", FileBytes(0x1400, 0xDA), WritableSection, 0x1234},
                          {".bss", {}, WritableSection, 0x800}};
  return BuildImage(description);
}

FileBytes Load(FileBytes file) {
  const LBuffer image = PeContainer::Load(file.data(), static_cast<unsigned int>(file.size()));
  return {image.Data(), image.Data() + image.Size()};
}

}  // namespace

TEST_CASE("a file of the accepted form is loaded, and the first broken rule refuses any other") {
  const TestHeap heap;
  REQUIRE(Sample(true).size() == FileSize);
  const std::vector<RuleCase> cases = {
      {{}, {{}, {{Bss + 20, 4, FileSize - 0x200}}, {{Text + 16, 4, 0x1000}}}},
      {PeRule::dosHeader, {{{63}}}},
      {PeRule::peOffset, {{{60, 4, FileSize + 1}}, {{60, 4, 0xFFFFFFFE}}}},
      {PeRule::dosSignature, {{{0, 1, 'N'}}, {{1, 1, 'z'}}}},
      {PeRule::peSignature, {{{64, 1, 'p'}}, {{65, 1, 'e'}}, {{66, 1, 1}}, {{67, 1, 1}}, {{67}}}},
      {PeRule::peSignature, {{{60, 4, FileSize}}}},
      {PeRule::fileHeader, {{{87}}}},
      {PeRule::optionalMagic, {{{88, 2, 0x107}}, {{89}}}},
      {PeRule::optionalHeader, {{{199}}, {{327}}}},
      // PE32 in the room of PE32+; other numbers of directories, one of 4 GB and 128 bytes
      {PeRule::optionalHeaderSize,
       {{{88, 2, 0x10B}}, {{84, 2, 248}}, {{196, 4, 15}}, {{196, 4, 0x20000010}}}},
      {PeRule::sectionCount, {{{70, 2, 0}}, {{70, 2, 97}}}},
      {PeRule::sectionTable, {{{447}}}},
      {PeRule::alignment,
       {{{120, 4, 0x20000}}, {{120, 8, 0x1000'0000'0200}}, {{124, 4, 256}}, {{124, 4, 0x600}}}},
      {PeRule::headerSize, {{{Text + 20, 4, 0x100}}, {{Text + 16, 8, 0}, {Data + 20, 4, 0x100}}}},
      {PeRule::rawAlignment, {{{Text + 20, 4, 0x210}}, {{Text + 16, 4, 0x201}}}},
      // no data at the end; data beyond the end, beyond 4 GB, cut
      {PeRule::rawData, {{{Bss + 20, 4, FileSize}}, {{Data + 16, 4, 0x1600}}, {{Data + 16, 4, 0xFFFFFE00}}}},
      {PeRule::rawData, {{{FileSize - 1}}}},
      {PeRule::virtualSize, {{{Text + 8, 4, 0x100}, {Text + 16, 4, 0x1200}}, {{Text + 8, 4, 0}}}},
      // gaps, an overlap, an unaligned place
      {PeRule::virtualAddress, {{{Data + 12, 4, 0x3000}}, {{Text + 12, 4, 0x2000}}, {{Bss + 12, 4, 0x3000}}}},
      {PeRule::virtualAddress, {{{Text + 12, 4, 0x1010}}}},
      {PeRule::imageSize, {{{Bss + 8, 4, 0xFFFFC001}}, {{Bss + 8, 4, 0xFFFFFFFF}}}},
  };
  CheckEdits(Sample(true), cases, [](const FileBytes& file) {
    const auto rule = BrokenRule([&] { BuildImage(View(file)); });
    if (rule) {
      CHECK_THROWS_AS(Load(file), InvalidImageException);
    } else {
      CHECK_NOTHROW(Load(file));
    }
    return rule;
  });

  for (const std::uint32_t directories : {0u, 17u}) {
    ImageDescription description;
    description.version.reset();
    description.directoryCount = directories;
    description.sections.resize(96);
    CHECK_NOTHROW(Load(BuildImage(description)));
  }
}

TEST_CASE("each header is found where it lies, and the optional header under its own form only") {
  FileBytes wide = Sample(true), narrow = Sample(false);
  const auto offset = [](const FileBytes& file, const auto* header) {
    return reinterpret_cast<const unsigned char*>(header) - file.data();
  };
  CHECK(PeContainer::IsPePlus(wide.data(), 90) == 1);
  CHECK(PeContainer::IsPePlus(narrow.data(), 90) == 0);
  CHECK(offset(wide, PeContainer::GetFileHeader(wide.data(), 88)) == 68);
  CHECK(offset(wide, PeContainer::GetOptionalHeader64(wide.data(), 328)) == 88);
  CHECK(offset(narrow, PeContainer::GetOptionalHeader32(narrow.data(), 312)) == 88);
  CHECK(offset(wide, PeContainer::GetSectionHeaders(wide.data(), 448)) == 328);
  CHECK_THROWS_AS(PeContainer::GetOptionalHeader32(wide.data(), FileSize), InvalidImageException);
  CHECK_THROWS_AS(PeContainer::GetOptionalHeader64(narrow.data(), FileSize), InvalidImageException);
}
