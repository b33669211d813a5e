#pragma once

#include "drivermanagement/LifeTime.h"

namespace DriverManagement::Gen4 {

/// A lifetime whose client may lack the right to write the record: denied access to the registry turns into a
/// request to the running driver, which writes it. When the driver's device fails too
/// (`LCommon::System::File::Exception`), the denied access is what the caller sees.
class GenericLifeTime : public DriverManagement::GenericLifeTime {
 public:
  using DriverManagement::GenericLifeTime::GenericLifeTime;

  void Attach(unsigned int automatic) override;
  void Detach() override;

  /// Sends the attach request to the device. Asserts both texts, and that each fits the request's 16-bit
  /// sizes
  /// ("byteSize <= 0xFFFF", terminator included): a cut text would be another client's or another file's.
  virtual void AttachByDevice(LUnicodeString deviceName, unsigned int controlCode, unsigned int automatic);
  /// Sends the detach request to the device.
  virtual void DetachByDevice(LUnicodeString deviceName, unsigned int controlCode);

  /// `AttachByDevice` with the driver's own device.
  virtual void AttachThroughDevice(unsigned int automatic) = 0;
  /// `DetachByDevice` with the driver's own device.
  virtual void DetachThroughDevice() = 0;
};

}  // namespace DriverManagement::Gen4
