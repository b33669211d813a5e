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
constexpr std::uint64_t ClaimLife = 30ull * 24 * 3'600 * 10'000'000;

enum RegistryType : std::uint32_t { text = 1, expandableText = 2, binary = 3, number = 4 };

const RegistryValue* Find(const RegistryNode& key, std::u16string_view name, std::uint32_t type) {
  const auto found = key.values.find(name);
  return found == key.values.end() || found->second.type != type ? nullptr : &found->second;
}

std::uint64_t LittleEndian(const winsim::Bytes& bytes) {
  std::uint64_t result = 0;
  for (std::size_t i = bytes.size(); i > 0; --i) {
    result = result << 8 | bytes[i - 1];
  }
  return result;
}

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

Claim LookAtClaim(const RegistryNode& entry) {
  Claim claim;
  claim.client = ToUtf8(entry.Name());
  const RegistryValue* const mode = Find(entry, u"Mode", number);
  const std::uint64_t modeNumber = mode == nullptr || mode->data.size() != 4 ? 2 : LittleEndian(mode->data);
  if (modeNumber > 1) {
    claim.fault = "it says neither that it is bound to a file nor to a time";
  } else if (modeNumber == 0) {
    if (const RegistryValue* const file = Find(entry, u"File", text); file == nullptr) {
      claim.fault = "it is bound to a file and names none";
    } else {
      claim.kind = Claim::Kind::file;
      claim.file = file->Text();
    }
  } else if (const RegistryValue* const time = Find(entry, u"Time", binary);
             time == nullptr || time->data.size() != 8) {
    claim.fault = "it is bound to a time and gives none";
  } else {
    claim.kind = Claim::Kind::time;
    claim.lapses = LittleEndian(time->data) + ClaimLife;
  }
  return claim;
}

void LookAtRecord(Machine& machine, Component& component) {
  const RegistryNode* const record =
      machine.registry.Find(std::u16string(ServicesKey) + FromUtf8(component.name) + u"\\LifeTime");
  if (record == nullptr) {
    return;
  }
  component.record = true;
  if (const RegistryValue* const automatic = Find(*record, u"Auto", number); automatic != nullptr) {
    component.automatic = static_cast<std::uint32_t>(LittleEndian(automatic->data));
  }
  for (const auto& [name, entry] : record->Children()) {
    component.claims.push_back(LookAtClaim(*entry));
  }
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
    LookAtRecord(machine, component);
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
