#pragma once

#include <vector>

#include "LabFacts.h"
#include "components/DriverCatalogue.h"

/// The image that a client application carries: the bytes of a file, built as the lab's driver is.
class ImageContainer : public DriverManagement::BasePeModuleContainer {
 public:
  explicit ImageContainer(const wchar_t* path);

  LBuffer GetBody() override { return LBuffer(m_body.data(), static_cast<unsigned int>(m_body.size())); }
  std::uint64_t GetTime() override { return 132'000'000'000'000'000; }
  DriverManagement::BuildType GetBuildType() override { return DriverManagement::buildRelease; }
  std::uint64_t GetVersion() override {
    return DriverManagement::MajorMinorVersion(LabState[0], LabState[1]);
  }
  LCommon::System::Manager::MachineType GetTargetMachineType() override {
    return LCommon::System::Manager::machineAmd64;
  }
  std::uint64_t GetTargetOsVersion() override {
    return DriverManagement::MajorMinorVersion(LabState[3], LabState[4]);
  }

 private:
  std::vector<unsigned char> m_body;
};

/// A managed driver as a client application sees it.
struct ClientDriver {
  LPtrRef<DriverManagement::BaseLegacyDriver> manager;
  LPtrRef<DriverManagement::Gen4::GenericLifeTime> lifeTime;
};

inline constexpr const wchar_t* DriverNames[] = {L"kvlnk03", L"kvlnk04", L"kvvol02",
                                                 L"kvaux02", L"kvenv01", L"kvenv01a"};

/// One of these, for the client `unique` with its `file`, carrying the image at `image` where it is to be
/// installed. The synchronization drivers' images must be signed.
ClientDriver MakeDriver(const LUnicodeString& name, const wchar_t* unique, const wchar_t* file,
                        const wchar_t* image = L"");
