#pragma once

#include "foundation/Vector.h"
#include "imagesigning/PeHeaders.h"
#include "imagesigning/PeRange.h"

namespace DriverManagement::ImageSigning1 {

/// Adds the import thunk arrays of an image in memory to `ranges`, each with its closing empty entry,
/// ascending by their beginnings, in part overlapping. The import directory may be absent. Throws
/// `PeRefusal`. Takes time in proportion to the image, besides sorting, however often its arrays overlap.
void AppendThunkArrays(ImageBytes image, const PeHeaders& headers, LVector<PeRange>& ranges);

}  // namespace DriverManagement::ImageSigning1
