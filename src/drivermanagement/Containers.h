#pragma once

#include <cstdint>

#include "drivermanagement/VersionFacts.h"
#include "foundation/Buffer.h"
#include "foundation/Object.h"
#include "system/Manager.h"

namespace DriverManagement {

// The sources of a component's image and of the facts that an installed file is judged against. Each
// interface inherits the one above it virtually, so that a container can be handed out as any kind it is.

class BaseBinaryContainer : public virtual LRefObject {
 public:
  /// The complete file contents.
  virtual LBuffer GetBody() = 0;
};

class BaseFileContainer : public virtual BaseBinaryContainer {
 public:
  /// The time to stamp on the written file, in 100 ns since 1601.
  virtual std::uint64_t GetTime() = 0;
};

class BaseModuleContainer : public virtual BaseFileContainer {
 public:
  /// `buildUnknown` accepts every build.
  virtual BuildType GetBuildType() = 0;
  /// The file version; `UnspecifiedVersion` accepts every version.
  virtual std::uint64_t GetVersion() = 0;
};

class BasePeModuleContainer : public virtual BaseModuleContainer {
 public:
  /// `machineNotSpecified` accepts every processor.
  virtual LCommon::System::Manager::MachineType GetTargetMachineType() = 0;
  /// The target OS version; `UnspecifiedVersion` accepts every one.
  virtual std::uint64_t GetTargetOsVersion() = 0;
};

/// The container of a component whose image this program does not carry: asking it for anything fails the
/// assertion "Unreachable point". Objects built with it can be looked for and removed, not installed or
/// compared.
class NullPeModuleContainer : public BasePeModuleContainer {
 public:
  LBuffer GetBody() override;
  std::uint64_t GetTime() override;
  BuildType GetBuildType() override;
  std::uint64_t GetVersion() override;
  LCommon::System::Manager::MachineType GetTargetMachineType() override;
  std::uint64_t GetTargetOsVersion() override;
};

}  // namespace DriverManagement
