#pragma once

#include "drivermanagement/File.h"

namespace DriverManagement {

/// A file with a version resource.
class BaseModule : public BaseFile {
 public:
  BaseModule(LUnicodeString path, LPtrRef<BaseModuleContainer> container);

  /// Is the file there, of the container's build type and not older than the container's image? A file
  /// without a readable version resource is not. A container that is no module container is asserted
  /// ("container.Valid()").
  unsigned int IsInstalledUpToDate() override;
};

/// A PE image with a version resource.
class BasePeModule : public BaseModule {
 public:
  BasePeModule(LUnicodeString path, LPtrRef<BasePeModuleContainer> container);

  /// The module's answer, and does the image target the container's processor and OS version? See
  /// `ReadPeTarget`.
  unsigned int IsInstalledUpToDate() override;
};

/// An image in the system's drivers directory.
class BaseDriverModule : public BasePeModule {
 public:
  /// `fileName` has no directory.
  BaseDriverModule(LUnicodeString fileName, LPtrRef<BasePeModuleContainer> container);
};

/// An image in the system directory.
class BaseSystemModule : public BasePeModule {
 public:
  /// `fileName` has no directory.
  BaseSystemModule(LUnicodeString fileName, LPtrRef<BasePeModuleContainer> container);
};

}  // namespace DriverManagement
