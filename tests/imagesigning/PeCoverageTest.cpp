#include "imagesigning/PeCoverage.h"

#include "imagesigning/Cases.h"
#include "imagesigning/PeImage.h"

namespace {

using namespace DriverManagement::ImageSigning1;

// The sample's image in PE32+: directories 1 and 5, the sections' headers, and from 0x400 on their contents.
constexpr std::size_t Import = 208, Reloc = 240, Text = 328, Data = 408, RelocSection = 488, Signature = 528;
constexpr std::size_t Descriptors = 0x680, Thunks = Descriptors + 16, Block = 0x1000, Entries = 0x1008,
                      ImageEnd = 0x1400;

FileBytes SampleImage(bool plus) {
  const FileBytes file = BuildImage(SampleDriver(plus));
  const LBuffer image = BuildImage(View(file));
  return {image.Data(), image.Data() + image.Size()};
}

}  // namespace

TEST_CASE("an image that keeps the rules is covered, and the first broken rule refuses any other") {
  const TestHeap heap;
  REQUIRE(SampleImage(true).size() == ImageEnd);
  const std::vector<RuleCase> cases = {
      {PeRule::sectionCount, {{{70, 2, 0}}}},
      {PeRule::alignment, {{{120, 4, 0x300}}}},
      {PeRule::directoryCount, {{{84, 2, 248}, {196, 4, 17}}}},
      // in the section table, unaligned, behind a gap
      {PeRule::virtualAddress, {{{Text + 12, 4, 0x200}}, {{Text + 12, 4, 0x410}}, {{Data + 12, 4, 0xC00}}}},
      {PeRule::imageSize, {{{Signature + 8, 4, 0x201}}, {{Signature + 8, 4, 0xFFFFFFFF}}}},
      {PeRule::rawAlignment, {{{Text + 16, 4, 0x1FF}}}},
      {PeRule::virtualSize, {{{Text + 16, 4, 0x400}}}},
      {PeRule::importDirectory, {{{Import + 4, 4, 0xD81}}, {{Import, 4, 0xFFFFFFFF}}}},
      // all across the discardable section, into it, from it
      {PeRule::importDiscardable, {{{Import + 4, 4, 0xD80}}, {{Import + 4, 4, 0x781}}, {{Import, 4, 0xFFF}}}},
      {PeRule::importDescriptors, {{{Import + 4, 4, 59}}, {{Import, 8, 0x13'0000'1000}}}},
      // beyond the end, without end; a lookup table in place of a thunk array
      {PeRule::importThunks, {{{Thunks, 4, ImageEnd - 7}}, {{Thunks, 4, ~0u}}}},
      {PeRule::importThunks, {{{Thunks, 4, ImageEnd - 8}, {ImageEnd - 8, 8, 1}}}},
      {PeRule::importThunks, {{{Descriptors, 4, ImageEnd}, {Thunks, 4, 0}}}},
      {PeRule::relocationDirectory, {{{Reloc, 4, ImageEnd - 19}}}},
      {PeRule::relocationDiscardable, {{{RelocSection + 36, 4, DiscardableSection}}}},
      {PeRule::relocationBlock, {{{Reloc + 4, 4, 7}}, {{Reloc + 4, 4, 21}}, {{Block + 4, 4, 6}}}},
      {PeRule::relocationBlock, {{{Block + 4, 4, 19}}, {{Block + 4, 4, 22}}, {{Block + 4, 4, 18}}}},
      {PeRule::relocationType, {{{Entries, 2, 0x1410}}}},
      // the same target again, a lower one, one in the last one
      {PeRule::relocationOrder,
       {{{Entries + 2, 2, 0x3410}}, {{Entries, 2, 0x3424}}, {{Entries + 2, 2, 0x3417}}}},
      {PeRule::relocationOutside, {{{Block, 4, 0x1000}, {Entries, 2, 0x33FD}}, {{Block, 4, 0xFFFFFC00}}}},
      {PeRule::relocationCrossing, {{{Text + 8, 4, 0x200}, {Entries + 4, 2, 0x35FD}}}},
      {PeRule::relocationUnbacked, {{{Entries + 4, 2, 0x35E0}}, {{Entries + 10, 2, 0x3C00}}}},
      {PeRule::relocationUnbacked, {{{Thunks, 4, 0x5E0}, {Entries + 4, 2, 0x35E8}}}},

      // Kept: imports beside the discardable section, unused directories,
      {{},
       {{}, {{Import + 4, 4, 0x780}}, {{Import, 4, 0x1000}}, {{Import, 8, 1ull << 32}}, {{Import, 8, 1}}}},
      {{}, {{{Reloc + 4, 4, 0}, {Entries, 2, 0x1000}}, {{Thunks, 4, ImageEnd - 8}}}},
      // a block without entries, padding with an address, a target behind the last one,
      {{}, {{{Block + 4, 4, 8}, {Entries + 4, 4, 12}, {Entries + 8, 4, 0}}, {{Entries, 2, 0xFFF}}}},
      {{}, {{{Entries + 2, 2, 0x3418}}}},
      // targets up to the next section, at the end of data, into zeros, in the headers.
      {{}, {{{Text + 8, 4, 0x200}, {Entries + 4, 2, 0x35FC}}, {{Entries + 4, 2, 0x35DF}}}},
      {{}, {{{Entries + 10, 2, 0x3BFF}}, {{Entries, 2, 0x33FF}}}},
      // Out of their section or behind its data, but beginning in zeros: in the data of a writable section,
      // in a thunk array.
      {{}, {{{Text + 8, 4, 0x200}, {Text + 36, 4, WritableSection}, {Entries + 4, 2, 0x35FD}}}},
      {{}, {{{Thunks, 4, 0x5E0}, {Entries + 4, 2, 0x35E7}}}},
  };
  const auto rule = [](const FileBytes& image) { return BrokenRule([&] { ReadCoverage(View(image)); }); };
  CheckEdits(SampleImage(true), cases, rule);
  CHECK(rule(Edited(SampleImage(false), {{Entries, 2, 0xA410}})) == PeRule::relocationType);
}

TEST_CASE("200,000 descriptors that share a thunk array of 6 MB are read in one pass") {
  const TestHeap heap;
  constexpr std::uint32_t count = 200'000, thunks = 1'500'000;
  ImageDescription description;
  description.plus = false;
  description.version.reset();
  description.sectionAlignment = 0x200;
  description.sections = {{".rdata", FileBytes(20 * (count + 1) + 4 * (thunks + 1)), ReadOnlySection}};
  FileBytes image = BuildImage(description);  // the file and the image in memory are the same
  const auto offset = static_cast<std::uint32_t>(GetNumber(image, ImageSectionHeader(image, 0) + 20, 4));
  REQUIRE(offset == GetNumber(image, ImageSectionHeader(image, 0) + 12, 4));
  const std::uint32_t start = offset + 20 * (count + 1);
  for (std::uint32_t index = 0; index < count; ++index) {
    PutNumber(image, offset + 20 * index, 4, 1);
    PutNumber(image, offset + 20 * index + 16, 4, start + 4 * (count - index));
  }
  for (std::uint32_t index = 0; index < thunks; ++index) {
    PutNumber(image, start + 4 * index, 4, 0x80000001);
  }
  PutNumber(image, ImageDirectory(image, 1), 8, std::uint64_t{20 * (count + 1)} << 32 | offset);
  const LVector<PeRange> zeros = ReadCoverage(View(image)).zeros;
  CHECK(zeros.back().begin == start + 4);
  CHECK(zeros.back().end == image.size());
}
