#pragma once

#include "drivermanagement/BaseObject.h"
#include "drivermanagement/Containers.h"
#include "foundation/PtrRef.h"
#include "foundation/UnicodeString.h"

namespace DriverManagement {

/// The managed object for one file that a component installs. `flags` plays no part. Failures of the file
/// system that an operation does not turn into a result pass to the caller as `LCommon::System::File`
/// exceptions; the container's own failures pass too.
class BaseFile : public BaseObject {
 public:
  /// `path` is a full path; `container` is asked only when the image or its facts are needed.
  BaseFile(LUnicodeString path, LPtrRef<BaseFileContainer> container);

  /// Does the file exist?
  unsigned int IsInstalled() override;
  /// Writes the image unless the file is up to date.
  InstallResult Install(unsigned int flags) override;
  /// Deletes the file, even a read-only one. A file that may not be deleted now (in use) goes with the next
  /// restart: `removeDoneReboot`.
  RemoveResult Remove(unsigned int flags) override;

  /// Writes the image over whatever is there, even a read-only file, and stamps all three file times with the
  /// container's.
  virtual void Deploy();

 protected:
  const LUnicodeString m_path;
  const LPtrRef<BaseFileContainer> m_container;
};

}  // namespace DriverManagement
