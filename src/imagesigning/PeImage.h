#pragma once

#include "foundation/Buffer.h"
#include "imagesigning/ImageBytes.h"

namespace DriverManagement::ImageSigning1 {

/// The image of a PE file as the system loads it: the headers, then each section at its address, each padded
/// with zeros to the section alignment. Throws `PeRefusal` (offsets are those in the file) before any memory
/// is taken, and `std::bad_alloc`: what a file declares may be as large as 4 GB.
LBuffer BuildImage(ImageBytes file);

}  // namespace DriverManagement::ImageSigning1
