#pragma once

#include <cstdint>

namespace DriverManagement::ImageSigning1 {

/// The rules that an image can break.
enum class PeRule : unsigned char {
  dosHeader,            // a whole DOS header
  dosSignature,         // "MZ"
  peOffset,             // the PE header begins inside the data
  peSignature,          // "PE", two zeros
  fileHeader,           // a whole file header
  optionalMagic,        // PE32 or PE32+, where the one is not asked for
  optionalHeader,       // a whole optional header
  optionalHeaderSize,   // is that of the fixed part and the data directories
  directoryCount,       // at most 16 data directories
  sectionCount,         // 1 to 96 sections
  sectionTable,         // a whole section table
  alignment,            // powers of two from 0x200 to 0x10000, the section's not below the file's
  headerSize,           // the first section's data lies behind the section table
  rawAlignment,         // a section's place and size in the file are aligned
  rawData,              // a section's data lies inside the file
  virtualSize,          // a section has room for its data
  virtualAddress,       // a section begins, aligned, where the one before it ends
  imageSize,            // the image in memory ends inside the data and below 4 GB
  importDirectory,      // lies inside the image
  importDiscardable,    // lies outside discardable sections
  importDescriptors,    // end with an empty descriptor
  importThunks,         // end with an empty entry
  relocationDirectory,  // lies inside the image
  relocationDiscardable,
  relocationBlock,    // blocks of even size fill the directory
  relocationType,     // padding, 4 bytes, or 8 bytes in PE32+
  relocationOrder,    // targets ascend and do not overlap
  relocationOutside,  // targets lie inside the image
  // Of targets that begin in a section and not in zeros:
  relocationCrossing,     // they end in that section
  relocationUnbacked,     // they begin in its data
  signatureSectionTable,  // headers that lead to a section table
  signatureData,          // the signature section's data lies inside the file
};

/// The first broken rule that was met, and the offset in bytes of what breaks it. The readers of this folder
/// throw it to each other; the public classes throw `InvalidImageException` in its place.
struct PeRefusal {
  PeRule rule;
  std::uint64_t offset;
};

/// Throws `PeRefusal` unless the rule is kept.
inline void Demand(bool kept, PeRule rule, std::uint64_t offset) {
  if (!kept) throw PeRefusal{rule, offset};
}

}  // namespace DriverManagement::ImageSigning1
