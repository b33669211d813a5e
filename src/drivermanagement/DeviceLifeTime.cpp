#include "drivermanagement/DeviceLifeTime.h"

#include "drivermanagement/DriverDevice.h"
#include "foundation/Assert.h"
#include "foundation/LittleEndian.h"

namespace DriverManagement::Gen4 {

namespace {

using LCommon::System::File;
using LCommon::System::RegistryKey;

constexpr std::uint16_t AttachHeaderSize = 16;

template <class Registry, class Device>
void ThroughDeviceWhenDenied(Registry throughRegistry, Device throughDevice) {
  try {
    throughRegistry();
  } catch (const RegistryKey::AccessDeniedException& denied) {
    try {
      throughDevice();
    } catch (const File::Exception&) {
      throw denied;
    }
  }
}

// Writes the units and a terminator.
void StoreText(unsigned char* target, LUnicodeString text) {
  for (unsigned int index = 0; index < text.Length(); ++index) {
    LStoreLittleEndian(target + 2 * index, static_cast<std::uint16_t>(text.Data()[index]));
  }
  LStoreLittleEndian(target + 2 * text.Length(), std::uint16_t{0});
}

LBuffer TextBytes(LUnicodeString text) {
  LBuffer bytes;
  bytes.SetSize(LProduct(text.Length() + 1ull, 2));
  StoreText(LBufferLock(bytes).Data(), text);
  return bytes;
}

std::uint16_t SizeField(const LBuffer& text) {
  const unsigned int byteSize = text.Size();
  L_ASSERT(byteSize <= 0xFFFF);
  return static_cast<std::uint16_t>(byteSize);
}

LBuffer AttachRequest(std::uint32_t mode, unsigned int automatic, LBuffer unique, LBuffer filePathName) {
  LBuffer request;
  LAppendLittleEndian(request, mode);
  LAppendLittleEndian(request, static_cast<unsigned char>(automatic));
  request.Insert(request.Size(), static_cast<unsigned char>(0), 3);
  LAppendLittleEndian(request, AttachHeaderSize);
  LAppendLittleEndian(request, SizeField(unique));
  LAppendLittleEndian(request, filePathName.IsEmpty() ? std::uint16_t{0} : AttachHeaderSize);
  LAppendLittleEndian(request, SizeField(filePathName));
  request.Append(unique);
  request.Append(filePathName);
  return request;
}

}  // namespace

void GenericLifeTime::Attach(unsigned int automatic) {
  ThroughDeviceWhenDenied([&] { DriverManagement::GenericLifeTime::Attach(automatic); },
                          [&] { AttachThroughDevice(automatic); });
}

void GenericLifeTime::Detach() {
  ThroughDeviceWhenDenied([&] { DriverManagement::GenericLifeTime::Detach(); },
                          [&] { DetachThroughDevice(); });
}

void GenericLifeTime::AttachByDevice(LUnicodeString deviceName, unsigned int controlCode,
                                     unsigned int automatic) {
  L_ASSERT(m_unique.Length() != 0);
  L_ASSERT(m_filePathName.Length() != 0);
  const auto device = OpenDevice(deviceName);
  const LBuffer unique = TextBytes(m_unique);
  device->Control(controlCode,
                  IsFileBound()
                      ? AttachRequest(LifeTimeEntry::ModeFile, automatic, unique, TextBytes(m_filePathName))
                      : AttachRequest(LifeTimeEntry::ModeTime, automatic, unique, LBuffer()));
}

void GenericLifeTime::DetachByDevice(LUnicodeString deviceName, unsigned int controlCode) {
  L_ASSERT(m_unique.Length() != 0);
  OpenDevice(deviceName)->Control(controlCode, TextBytes(m_unique));
}

}  // namespace DriverManagement::Gen4
