#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

#include "imagesigning/PeRefusal.h"

namespace kvsign {

/// Why an image is refused, and where: at an offset in the file, or in the image as it is in memory.
struct Refusal {
  DriverManagement::ImageSigning1::PeRefusal rule;
  bool inImage;
};

/// "refused: it does not begin with \"MZ\", at file offset 0x0".
std::string RefusalText(const Refusal& refusal);

/// The rule by its name in PeRefusal.h, what is wrong, and the place.
nlohmann::json RefusalJson(const Refusal& refusal);

}  // namespace kvsign
