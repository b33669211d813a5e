#include "drivermanagement/DriverDevice.h"

#include <optional>

#include "foundation/LittleEndian.h"
#include "system/WindowsApi.h"

namespace DriverManagement {

namespace {

using LCommon::System::File;

constexpr unsigned int StateReplyRoom = 24;

// A driver's reply to the state query; drivers leave out what they do not know at its end.
class StateReply {
 public:
  explicit StateReply(LBuffer reply) : m_reply(reply) {}

  BuildType Build() const {
    const auto flags = Number(2);
    return flags ? BuildTypeFromFlags(*flags) : buildUnknown;
  }
  std::uint64_t Version() const { return VersionAt(0); }
  std::uint64_t TargetOs() const { return VersionAt(3); }

 private:
  std::optional<std::uint32_t> Number(unsigned int index) const {
    const unsigned int offset = index * 4;
    if (m_reply.Size() < offset + 4) return std::nullopt;
    return LReadLittleEndian<std::uint32_t>(m_reply.Data() + offset);
  }

  std::uint64_t VersionAt(unsigned int index) const {
    constexpr std::uint32_t unknown = 0xFFFFFFFF;
    const std::uint32_t major = Number(index).value_or(unknown);
    const std::uint32_t minor = Number(index + 1).value_or(unknown);
    if (major == unknown || minor == unknown) return UnspecifiedVersion;
    return MajorMinorVersion(major, minor);
  }

  const LBuffer m_reply;
};

LBuffer QueryState(LPtrRef<File> device, unsigned int controlCode) {
  try {
    return device->Control(controlCode, LBuffer(), StateReplyRoom, 0);
  } catch (const File::MoreDataException&) {
    return LBuffer();
  }
}

}  // namespace

LPtrRef<File> OpenDevice(LUnicodeString device) {
  return LMakeRef<File>(device, File::accessRead, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, 0u,
                        OPEN_EXISTING);
}

bool IsDeviceExist(LUnicodeString device) {
  try {
    OpenDevice(device);
    return true;
  } catch (const File::NotFoundException&) {
    return false;
  }
}

bool IsDriverStateUpToDate(LUnicodeString device, unsigned int controlCode, BuildType expectedBuild,
                           std::uint64_t expectedVersion, std::uint64_t expectedTargetOs) {
  LPtrRef<File> file;
  try {
    file = OpenDevice(device);
  } catch (const File::NotFoundException&) {
    return false;
  }
  const StateReply state(QueryState(file, controlCode));
  return MeetsBuildType(state.Build(), expectedBuild) && MeetsVersion(state.Version(), expectedVersion) &&
         MeetsTargetOs(state.TargetOs(), expectedTargetOs);
}

}  // namespace DriverManagement
