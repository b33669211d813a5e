#include "machine/Devices.h"

#include <algorithm>

#include "machine/Machine.h"

namespace winsim {
namespace {

constexpr std::uint32_t FileNotFound = 2;
constexpr std::uint32_t PathNotFound = 3;
constexpr std::uint32_t GeneralFailure = 31;
constexpr std::uint32_t MoreData = 234;
constexpr std::uint32_t ServiceAlreadyRunning = 1056;

}  // namespace

Devices::~Devices() = default;

std::uint32_t Devices::Load(std::u16string_view name, std::u16string_view imagePath) {
  if (IsLoaded(name)) {
    return ServiceAlreadyRunning;
  }
  auto driver = std::make_shared<LoadedDriver>();
  driver->image = m_machine.files.UseImage(imagePath);
  if (driver->image == nullptr) {
    const PathContext context{m_machine.settings.windowsDirectory.substr(0, 3), false};
    const bool noFolder = m_machine.files.Resolve(context, imagePath).error == PathNotFound;
    return noFolder ? PathNotFound : FileNotFound;
  }
  if (const std::uint32_t error = Behaviour(name).loadError; error != 0) {
    return error;
  }
  m_loaded.emplace(name, std::move(driver));
  return 0;
}

Devices::StopResult Devices::Stop(std::u16string_view name) {
  const auto loaded = m_loaded.find(name);
  if (loaded == m_loaded.end()) {
    return StopResult::stopped;
  }
  LoadedDriver& driver = *loaded->second;
  switch (Behaviour(name).stop) {
    case DriverBehaviour::Stop::refuses:
      return StopResult::refused;
    case DriverBehaviour::Stop::staysPending:
      driver.stopPending = true;
      return StopResult::pending;
    case DriverBehaviour::Stop::stops:
      break;
  }
  if (driver.openDevices != 0) {
    driver.stopPending = true;
    driver.leaves = true;
    return StopResult::pending;
  }
  m_loaded.erase(loaded);
  return StopResult::stopped;
}

void Devices::Unload(std::u16string_view name) {
  if (const auto loaded = m_loaded.find(name); loaded != m_loaded.end()) {
    m_loaded.erase(loaded);
  }
}

void Devices::UnloadAll() {
  m_loaded.clear();
}

bool Devices::IsStopPending(std::u16string_view name) const {
  const auto loaded = m_loaded.find(name);
  return loaded != m_loaded.end() && loaded->second->stopPending;
}

bool Devices::HasDevice(std::u16string_view device) const {
  return FindOwner(device) != m_loaded.end();
}

std::vector<std::u16string> Devices::DeviceNames() const {
  std::vector<std::u16string> names;
  for (const auto& [name, driver] : m_loaded) {
    for (std::u16string& device : DevicesOf(name)) {
      names.push_back(std::move(device));
    }
  }
  return names;
}

std::vector<std::u16string> Devices::DevicesOf(std::u16string_view name) const {
  std::vector<std::u16string> names{std::u16string(name), std::u16string(name) + u'i'};
  if (const auto behaviour = m_behaviours.find(name); behaviour != m_behaviours.end()) {
    const auto& further = behaviour->second.furtherDevices;
    names.insert(names.end(), further.begin(), further.end());
  }
  return names;
}

Devices::Loads::const_iterator Devices::FindOwner(std::u16string_view device) const {
  return std::find_if(m_loaded.begin(), m_loaded.end(), [&](const auto& entry) {
    const auto names = DevicesOf(entry.first);
    return std::any_of(names.begin(), names.end(),
                       [&](const std::u16string& name) { return EqualsIgnoringCase(name, device); });
  });
}

std::uint32_t Devices::Open(std::u16string_view device, const OpenRequest&,
                            std::shared_ptr<KernelObject>& result) {
  const auto owner = FindOwner(device);
  if (owner == m_loaded.end() || owner->second->leaves) {
    return FileNotFound;
  }
  const auto& errors = Behaviour(owner->first).openErrors;
  if (const auto error = errors.find(device); error != errors.end() && error->second != 0) {
    return error->second;
  }
  result = std::make_shared<DeviceObject>(*this, owner->first, std::u16string(device));
  return 0;
}

DeviceObject::DeviceObject(Devices& devices, std::u16string driver, std::u16string device)
    : m_devices(devices),
      m_driver(std::move(driver)),
      m_device(std::move(device)),
      m_loaded(devices.m_loaded.at(m_driver)) {
  ++m_loaded.lock()->openDevices;
}

DeviceObject::~DeviceObject() {
  const auto driver = m_loaded.lock();
  if (driver == nullptr) {
    return;
  }
  --driver->openDevices;
  if (driver->leaves && driver->openDevices == 0 && !m_devices.m_machine.gate.IsPowerOff()) {
    m_devices.Unload(m_driver);
  }
}

std::string DeviceObject::Describe() const {
  return "device " + ToUtf8(m_device);
}

std::uint32_t DeviceObject::Control(std::uint32_t code, const Bytes& input, Bytes& output,
                                    std::uint32_t& returned) {
  returned = 0;
  if (m_loaded.expired()) {
    return GeneralFailure;
  }
  DriverBehaviour& behaviour = m_devices.Behaviour(m_driver);
  behaviour.requests.push_back({m_device, code, input});
  const auto found = behaviour.replies.find(code);
  if (found == behaviour.replies.end()) {
    return behaviour.otherCodes;
  }
  const DeviceReply& reply = found->second;
  if (reply.error != 0) {
    return reply.error;
  }
  const std::size_t fits = std::min(reply.bytes.size(), output.size());
  std::copy_n(reply.bytes.begin(), fits, output.begin());
  returned = static_cast<std::uint32_t>(fits);
  return output.size() < reply.neededSize.value_or(static_cast<std::uint32_t>(reply.bytes.size())) ? MoreData
                                                                                                   : 0;
}

}  // namespace winsim
