#pragma once

#include <vector>

#include "drivermanagement/Containers.h"
#include "support/ImageBuilder.h"

/// A container with an image, expecting nothing but what the test sets.
class TestContainer : public DriverManagement::BasePeModuleContainer {
 public:
  explicit TestContainer(std::vector<unsigned char> image = BuildImage({})) : body(std::move(image)) {}

  std::vector<unsigned char> body;
  std::uint64_t time = 132'000'000'000'000'000;
  DriverManagement::BuildType buildType = DriverManagement::buildUnknown;
  std::uint64_t version = DriverManagement::UnspecifiedVersion;
  LCommon::System::Manager::MachineType machine = LCommon::System::Manager::machineNotSpecified;
  std::uint64_t osVersion = DriverManagement::UnspecifiedVersion;
  unsigned int bodiesAsked = 0;

  LBuffer GetBody() override {
    ++bodiesAsked;
    return LBuffer(body.data(), static_cast<unsigned int>(body.size()));
  }
  std::uint64_t GetTime() override { return time; }
  DriverManagement::BuildType GetBuildType() override { return buildType; }
  std::uint64_t GetVersion() override { return version; }
  LCommon::System::Manager::MachineType GetTargetMachineType() override { return machine; }
  std::uint64_t GetTargetOsVersion() override { return osVersion; }
};
