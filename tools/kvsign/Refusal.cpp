#include "Refusal.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <nlohmann/json.hpp>

namespace kvsign {
namespace {

using DriverManagement::ImageSigning1::PeRule;

struct Words {
  PeRule rule;
  const char* name;
  const char* text;
};

constexpr Words Rules[] = {
    {PeRule::dosHeader, "dosHeader", "it is too short for a DOS header"},
    {PeRule::dosSignature, "dosSignature", "it does not begin with \"MZ\""},
    {PeRule::peOffset, "peOffset", "the PE header would begin behind the end"},
    {PeRule::peSignature, "peSignature", "there is no PE signature where the DOS header says"},
    {PeRule::fileHeader, "fileHeader", "the file header is cut off"},
    {PeRule::optionalMagic, "optionalMagic", "the optional header is neither PE32 nor PE32+"},
    {PeRule::optionalHeader, "optionalHeader", "the optional header is cut off"},
    {PeRule::optionalHeaderSize, "optionalHeaderSize",
     "SizeOfOptionalHeader does not fit the number of data directories"},
    {PeRule::directoryCount, "directoryCount", "there are more than 16 data directories"},
    {PeRule::sectionCount, "sectionCount", "there are no sections, or more than 96"},
    {PeRule::sectionTable, "sectionTable", "the section table is cut off"},
    {PeRule::alignment, "alignment",
     "the alignments are not powers of two from 0x200 to 0x10000, or the section's is below the file's"},
    {PeRule::headerSize, "headerSize", "the first section's data overlaps the section table"},
    {PeRule::rawAlignment, "rawAlignment", "a section's place or size in the file is not aligned"},
    {PeRule::rawData, "rawData", "a section's data does not lie inside the file"},
    {PeRule::virtualSize, "virtualSize", "a section's data is larger than its room in memory"},
    {PeRule::virtualAddress, "virtualAddress",
     "a section does not begin in memory where the headers or the section before it end"},
    {PeRule::imageSize, "imageSize", "a section ends outside the image or beyond 4 GB"},
    {PeRule::importDirectory, "importDirectory", "the import directory does not lie inside the image"},
    {PeRule::importDiscardable, "importDiscardable", "the import directory lies in a discardable section"},
    {PeRule::importDescriptors, "importDescriptors", "the import directory has no empty last entry"},
    {PeRule::importThunks, "importThunks", "an import thunk array has no empty last entry"},
    {PeRule::relocationDirectory, "relocationDirectory",
     "the relocation directory does not lie inside the image"},
    {PeRule::relocationDiscardable, "relocationDiscardable",
     "the relocation directory lies in a discardable section"},
    {PeRule::relocationBlock, "relocationBlock", "the relocation blocks do not fill their directory"},
    {PeRule::relocationType, "relocationType", "a relocation is of a type that is not known"},
    {PeRule::relocationOrder, "relocationOrder", "the relocations overlap or do not ascend"},
    {PeRule::relocationOutside, "relocationOutside", "a relocation lies outside the image"},
    {PeRule::relocationCrossing, "relocationCrossing", "a relocation reaches beyond the end of its section"},
    {PeRule::relocationUnbacked, "relocationUnbacked", "a relocation lies behind its section's data"},
    {PeRule::signatureSectionTable, "signatureSectionTable", "the headers lead to no section table"},
    {PeRule::signatureData, "signatureData", "the signature section's data does not lie inside the file"},
};

// Each rule has its line: the lines are in the rules' order, and the last is the last rule's.
constexpr bool IsComplete() {
  std::size_t number = 0;
  return std::all_of(std::begin(Rules), std::end(Rules),
                     [&](const Words& words) { return words.rule == PeRule(number++); }) &&
         Rules[std::size(Rules) - 1].rule == PeRule::signatureData;
}
static_assert(IsComplete());

const Words& Find(PeRule rule) {
  return Rules[static_cast<std::size_t>(rule)];
}

const char* Place(const Refusal& refusal) {
  return refusal.inImage ? "image" : "file";
}

}  // namespace

std::string RefusalText(const Refusal& refusal) {
  return fmt::format("refused: {}, at {} offset {:#x}", Find(refusal.rule.rule).text, Place(refusal),
                     refusal.rule.offset);
}

nlohmann::json RefusalJson(const Refusal& refusal) {
  const Words& words = Find(refusal.rule.rule);
  return {
      {"rule", words.name}, {"text", words.text}, {"in", Place(refusal)}, {"offset", refusal.rule.offset}};
}

}  // namespace kvsign
