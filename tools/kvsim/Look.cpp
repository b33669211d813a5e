#include "Look.h"

#include <algorithm>
#include <array>

namespace kvsim {
namespace {

using winsim::EqualsIgnoringCase;
using winsim::FromUtf8;
using winsim::Machine;
using winsim::RegistryNode;
using winsim::RegistryValue;
using winsim::ToUtf8;

constexpr std::array drivers = {"kvlnk03", "kvlnk04", "kvvol02", "kvaux02", "kvenv01", "kvenv01a"};
constexpr std::u16string_view ServicesKey = u"System\\CurrentControlSet\\Services\\";

/// The texts of a list whose texts end in zeros; empty ones within it count.
std::vector<std::u16string> SplitList(const winsim::Bytes& bytes) {
  std::vector<std::u16string> items(1);
  for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
    const auto unit = static_cast<char16_t>(bytes[i] | bytes[i + 1] << 8);
    if (unit == 0) {
      items.emplace_back();
    } else {
      items.back().push_back(unit);
    }
  }
  return items;
}

/// Device nodes, of any class, that say that they belong to the service.
std::size_t CountDeviceNodes(Machine& machine, std::u16string_view service) {
  const std::vector<std::u16string> instances = machine.deviceNodes.Instances(std::nullopt);
  return static_cast<std::size_t>(
      std::count_if(instances.begin(), instances.end(), [&](const std::u16string& instance) {
        const RegistryValue* const owner = machine.deviceNodes.Property(instance, u"Service");
        return owner != nullptr && EqualsIgnoringCase(owner->Text(), service);
      }));
}

Component LookAtComponent(Machine& machine, const char* name, bool isDriver, const View& view) {
  Component component;
  component.name = name;
  component.isDriver = isDriver;
  const std::u16string wideName = FromUtf8(name);
  const std::u16string path = std::u16string(ServicesKey) + wideName;
  component.key = machine.registry.Find(path) != nullptr;
  component.entry = machine.services.Exists(wideName);
  if (component.entry) {
    const winsim::ServiceConfig config = machine.services.Database().Config(wideName);
    component.marked = machine.services.IsMarked(wideName);
    component.serviceType = config.type;
    component.startType = config.start;
    component.commandLine = config.imagePath;
  }
  component.imagePath = machine.SystemDirectory() +
                        (isDriver ? u"\\drivers\\" + wideName + u".sys" : u"\\" + wideName + u".exe");
  component.image = machine.files.Exists(component.imagePath);
  component.imageScheduled = std::any_of(
      view.fileOperations.begin(), view.fileOperations.end(), [&](const FileOperation& operation) {
        return operation.to.empty() && EqualsIgnoringCase(FromUtf8(operation.from), component.imagePath);
      });
  component.logSource =
      machine.registry.Find(std::u16string(ServicesKey) + u"Eventlog\\" +
                            (isDriver ? u"System\\" : u"Application\\") + wideName) != nullptr;
  if (isDriver) {
    component.deviceNodes = CountDeviceNodes(machine, wideName);
    component.loaded = machine.devices.IsLoaded(wideName);
    component.stopPending = machine.devices.IsStopPending(wideName);
    std::shared_ptr<winsim::KernelObject> device;
    component.deviceError = machine.devices.Open(wideName + u'i', {}, device);
    if (const RegistryNode* const record = machine.registry.Find(path + u"\\LifeTime"); record != nullptr) {
      component.record = ReadRecord(*record);
    }
  } else {
    component.wow64Mark = machine.registry.GetNumber(path, u"WOW64") != 0;
  }
  return component;
}

std::string WithoutDevicePrefix(std::u16string_view path) {
  path.remove_prefix(path.starts_with(u"!") ? 1 : 0);
  path.remove_prefix(path.starts_with(u"\\??\\") ? 4 : 0);
  return ToUtf8(path);
}

void LookAtFileOperations(Machine& machine, View& view) {
  const RegistryValue* const value = machine.registry.GetValue(
      u"System\\CurrentControlSet\\Control\\Session Manager", u"PendingFileRenameOperations");
  if (value == nullptr) {
    return;
  }
  const std::vector<std::u16string> items = SplitList(value->data);
  for (std::size_t i = 0; i + 1 < items.size() && !items[i].empty(); i += 2) {
    view.fileOperations.push_back({WithoutDevicePrefix(items[i]), WithoutDevicePrefix(items[i + 1])});
  }
}

void LookAtMarkedServices(Machine& machine, View& view) {
  for (const std::u16string& service : machine.services.Database().Names()) {
    if (machine.services.IsMarked(service)) {
      view.markedServices.push_back(ToUtf8(service));
    }
  }
}

}  // namespace

bool View::IsClean() const {
  return std::none_of(components.begin(), components.end(), [](const Component& component) {
    return component.IsPresent() || component.deviceNodes != 0;
  });
}

View Look(Machine& machine) {
  View view;
  view.time = machine.clock.Now();
  LookAtFileOperations(machine, view);
  LookAtMarkedServices(machine, view);
  for (const char* const driver : drivers) {
    view.components.push_back(LookAtComponent(machine, driver, true, view));
  }
  view.components.push_back(LookAtComponent(machine, ServiceName, false, view));
  return view;
}

}  // namespace kvsim
