// What any file is made for, and the whole check of it: an answer or one of the documented exceptions.

#include <new>

#include "FuzzSession.h"
#include "drivermanagement/PeTarget.h"
#include "imagesigning/InvalidImageException.h"
#include "imagesigning/PeValidator.h"

using namespace DriverManagement::ImageSigning1;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;  // cannot be mapped
  WriteInput(data, size);
  try {
    DriverManagement::ReadPeTarget(InputPath);
  } catch (const LCommon::System::FileMappingView::Exception&) {  // a header cut short
  }
  try {
    Require(PeValidator(InputPath).IsValid() <= 1, "the answer is yes or no");
  } catch (const InvalidImageException&) {
  } catch (const std::bad_alloc&) {
  }
  return 0;
}
