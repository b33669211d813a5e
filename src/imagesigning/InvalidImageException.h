#pragma once

#include "foundation/Exception.h"

namespace DriverManagement::ImageSigning1 {

/// The data is not a PE image of the accepted form.
class InvalidImageException : public LBaseException {
 public:
  using LBaseException::LBaseException;
};

/// The image carries no signature.
class SignatureNotFoundException : public InvalidImageException {
 public:
  using InvalidImageException::InvalidImageException;
};

}  // namespace DriverManagement::ImageSigning1
