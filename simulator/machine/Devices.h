#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "machine/FileObject.h"
#include "machine/Object.h"
#include "machine/Text.h"

namespace winsim {

class Machine;

/// A request that a driver received.
struct DeviceRequest {
  /// The device's name without "\\.\".
  std::u16string device;
  std::uint32_t code;
  Bytes input;
  bool operator==(const DeviceRequest&) const = default;
};

/// How a driver answers a control code.
struct DeviceReply {
  Bytes bytes;
  /// Size of the buffer below which the driver gives what fits and answers 234; the size of `bytes` unless
  /// set. 0 for a driver that cuts its answer to the buffer without a word.
  std::optional<std::uint32_t> neededSize;
  /// Refuses the request with this error instead.
  std::uint32_t error = 0;
};

/// What a driver does: part of the machine's description, so it is there before the driver is loaded and
/// stays when it is not.
struct DriverBehaviour {
  /// Devices beside the two that every driver here makes: its name, and its name with "i" behind.
  std::vector<std::u16string> furtherDevices;
  /// Why it fails to load; 0 when it does not.
  std::uint32_t loadError = 0;

  enum class Stop { stops, refuses, staysPending };
  Stop stop = Stop::stops;

  /// Errors that opening a device (its name without "\\.\") fails with.
  std::map<std::u16string, std::uint32_t, CaseInsensitiveLess> openErrors;
  std::map<std::uint32_t, DeviceReply> replies;
  /// The error it refuses any other control code with; 0 to accept them all without data.
  std::uint32_t otherCodes = 1;

  /// The requests it received, the first one first.
  std::vector<DeviceRequest> requests;
};

/// The loaded drivers and their devices. Drivers go by the names of their services, without regard to case;
/// error codes are those of the Windows functions (0 for success).
class Devices {
 public:
  explicit Devices(Machine& machine) : m_machine(machine) {}
  Devices(const Devices&) = delete;
  Devices& operator=(const Devices&) = delete;
  ~Devices();

  /// The behaviour of a driver, loaded or not; a default one when nothing was said about it.
  DriverBehaviour& Behaviour(std::u16string_view name) { return m_behaviours[std::u16string(name)]; }
  const std::map<std::u16string, DriverBehaviour, CaseInsensitiveLess>& Behaviours() const {
    return m_behaviours;
  }

  /// Loads a driver from its image file, by full path: its devices appear and the file is in use. 1056 when
  /// it is loaded already, 2 when there is no such file, 3 no such folder, or the driver's own error.
  std::uint32_t Load(std::u16string_view name, std::u16string_view imagePath);

  enum class StopResult { stopped, refused, pending };
  /// Asks a loaded driver to unload, as the stop control does. One that would stop but has open devices is
  /// gone when the last of them is closed; until then it stays pending and its devices cannot be opened
  /// again.
  StopResult Stop(std::u16string_view name);

  /// Takes the driver away whatever it says; nothing happens when it is not loaded.
  void Unload(std::u16string_view name);
  /// The machine is off: no driver is loaded any more.
  void UnloadAll();

  /// A driver whose stop is pending is loaded still.
  bool IsLoaded(std::u16string_view name) const { return m_loaded.find(name) != m_loaded.end(); }
  bool IsStopPending(std::u16string_view name) const;

  /// Whether a loaded driver has a device of that name (without "\\.\").
  bool HasDevice(std::u16string_view device) const;
  std::vector<std::u16string> DeviceNames() const;

  /// Opens a device: 2 when there is none, or the driver's own error.
  std::uint32_t Open(std::u16string_view device, const OpenRequest& request,
                     std::shared_ptr<KernelObject>& result);

 private:
  friend class DeviceObject;

  struct LoadedDriver {
    std::shared_ptr<void> image;
    unsigned int openDevices = 0;
    bool stopPending = false;
    /// Unloads with the last open device.
    bool leaves = false;
  };
  using Loads = std::map<std::u16string, std::shared_ptr<LoadedDriver>, CaseInsensitiveLess>;

  /// Names of the devices of a driver, in the spelling of the driver's name.
  std::vector<std::u16string> DevicesOf(std::u16string_view name) const;
  Loads::const_iterator FindOwner(std::u16string_view device) const;

  Machine& m_machine;
  std::map<std::u16string, DriverBehaviour, CaseInsensitiveLess> m_behaviours;
  Loads m_loaded;
};

/// An open device.
class DeviceObject : public KernelObject {
 public:
  DeviceObject(Devices& devices, std::u16string driver, std::u16string device);
  ~DeviceObject() override;
  std::string Describe() const override;

  /// Sends a request. Fills `output` as far as the driver has an answer and tells how far in `returned`; the
  /// error may be 234 with data. 31 when the driver has gone meanwhile.
  std::uint32_t Control(std::uint32_t code, const Bytes& input, Bytes& output, std::uint32_t& returned);

 private:
  Devices& m_devices;
  std::u16string m_driver;
  std::u16string m_device;
  std::weak_ptr<Devices::LoadedDriver> m_loaded;
};

}  // namespace winsim
