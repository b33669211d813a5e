#pragma once

#include <cstdint>

#include "foundation/Vector.h"
#include "imagesigning/ImageBytes.h"
#include "imagesigning/PeRange.h"
#include "imagesigning/PeRelocations.h"

namespace DriverManagement::ImageSigning1 {

/// What a signature covers of an image in memory.
struct PeCoverage {
  /// The bytes covered: from the start of the image to the end of its last section.
  std::uint32_t size;
  /// What counts as zeros whatever the image holds there: header fields that loaders and tools change, import
  /// thunk arrays, the data of writable, discardable and signature sections, and the rest of every section
  /// behind its data. Ascending, apart from each other, none empty, all within `size`.
  LVector<PeRange> zeros;
  /// Before the first relocation. None of them is refused any more.
  PeRelocations relocations;
};

/// Looks through the whole image: headers, import table, relocations. Throws `PeRefusal` with offsets in the
/// image. Takes time in proportion to the image's size, besides sorting its thunk arrays.
PeCoverage ReadCoverage(ImageBytes image);

}  // namespace DriverManagement::ImageSigning1
