#include "support/ManagedMachine.h"

#include <algorithm>
#include <iterator>

using winsim::Bytes;
using winsim::Machine;

namespace {

constexpr std::u16string_view LegacyClass = u"{8ECC055D-047F-11D1-A537-0000F8753ED1}";

std::u16string Join(std::initializer_list<std::u16string_view> parts) {
  std::u16string result;
  for (const std::u16string_view part : parts) {
    result += part;
  }
  return result;
}

Bytes TextBytes(std::string_view text) {
  return Bytes(text.begin(), text.end());
}

void InstallService(Machine& machine, std::u16string_view name, std::uint32_t type, std::uint32_t start,
                    std::u16string_view imagePath) {
  const std::u16string key = ServiceKey(name);
  machine.registry.SetNumber(key, u"Type", type);
  machine.registry.SetNumber(key, u"Start", start);
  machine.registry.SetNumber(key, u"ErrorControl", 1);
  machine.registry.SetString(key, u"ImagePath", imagePath, 2);
}

void InstallLogSource(Machine& machine, std::u16string_view log, std::u16string_view source) {
  machine.registry.SetNumber(Join({ServiceKey(u"Eventlog"), u"\\", log, u"\\", source}), u"TypesSupported",
                             7);
}

std::u16string DeviceKey(std::u16string_view driver) {
  return Join({u"System\\CurrentControlSet\\Enum\\ROOT\\LEGACY_", winsim::FoldCase(driver)});
}

void AddKeyLines(const winsim::RegistryNode& node, std::vector<std::string>& lines) {
  const std::string path = winsim::ToUtf8(node.Path());
  lines.push_back(path);
  for (const auto& [name, value] : node.values) {
    std::string line = path + " : " + winsim::ToUtf8(name) + " = " + std::to_string(value.type) + ":";
    if (value.type == 1 || value.type == 2) {
      line += winsim::ToUtf8(value.Text());
    } else {
      for (const std::uint8_t byte : value.data) {
        line += ' ' + std::to_string(byte);
      }
    }
    lines.push_back(std::move(line));
  }
  for (const auto& [name, child] : node.Children()) {
    AddKeyLines(*child, lines);
  }
}

}  // namespace

std::u16string ServiceKey(std::u16string_view name) {
  return Join({u"System\\CurrentControlSet\\Services\\", name});
}

std::u16string ImagePath(Machine& machine, std::u16string_view driver) {
  return Join({machine.SystemDirectory(), u"\\drivers\\", driver, u".sys"});
}

void InstallWindowsKeys(Machine& machine) {
  const std::u16string control = u"System\\CurrentControlSet\\Control\\";
  machine.registry.SetString(Join({control, u"Class\\", LegacyClass}), u"Class", u"LegacyDriver");
  machine.registry.Make(control + u"Session Manager");
  machine.registry.Make(u"System\\CurrentControlSet\\Enum\\ROOT");
}

void InstallDriver(Machine& machine, std::u16string_view driver, std::uint32_t automatic) {
  machine.files.WriteFile(ImagePath(machine, driver), TextBytes("MZ driver image"));
  InstallService(machine, driver, 1, 0, Join({u"system32\\drivers\\", driver, u".sys"}));
  machine.registry.SetNumber(ServiceKey(driver) + u"\\LifeTime", u"Auto", automatic);
  InstallLogSource(machine, u"System", driver);

  const std::u16string node = DeviceKey(driver) + u"\\0000";
  machine.registry.SetString(node, u"Service", driver);
  machine.registry.SetString(node, u"Class", u"LegacyDriver");
  machine.registry.SetString(node, u"ClassGUID", LegacyClass);
}

void UninstallDriver(Machine& machine, std::u16string_view driver) {
  machine.files.Remove(ImagePath(machine, driver));
  for (const std::u16string& key :
       {ServiceKey(driver), Join({ServiceKey(u"Eventlog\\System\\"), driver}), DeviceKey(driver)}) {
    machine.registry.DeleteTree(key);
  }
}

void ClaimByFile(Machine& machine, std::u16string_view driver, std::u16string_view client,
                 std::u16string_view file) {
  const std::u16string entry = Join({ServiceKey(driver), u"\\LifeTime\\", client});
  machine.registry.SetNumber(entry, u"Mode", 0);
  machine.registry.SetString(entry, u"File", file);
}

void ClaimByTime(Machine& machine, std::u16string_view driver, std::u16string_view client,
                 std::uint64_t time) {
  const std::u16string entry = Join({ServiceKey(driver), u"\\LifeTime\\", client});
  Bytes bytes;
  for (int shift = 0; shift < 64; shift += 8) {
    bytes.push_back(static_cast<std::uint8_t>(time >> shift));
  }
  machine.registry.SetNumber(entry, u"Mode", 1);
  machine.registry.SetBinary(entry, u"Time", std::move(bytes));
}

void InstallRemovalService(Machine& machine) {
  machine.files.WriteFile(machine.SystemDirectory() + u"\\kvdel01.exe", TextBytes("MZ service"));
  InstallService(machine, u"kvdel01", 0x10, 2, u"%SystemRoot%\\system32\\kvdel01.exe svc");
  InstallLogSource(machine, u"Application", u"kvdel01");
}

std::vector<std::string> Snapshot(Machine& machine) {
  std::vector<std::string> lines;
  AddKeyLines(machine.registry.LocalMachine(), lines);
  for (const auto& [letter, drive] : machine.files.Drives()) {
    for (const std::u16string& path : machine.files.List(std::u16string(1, letter) + u":\\")) {
      lines.push_back(winsim::ToUtf8(path));
    }
  }
  std::sort(lines.begin(), lines.end());
  return lines;
}

std::vector<std::string> Changes(const std::vector<std::string>& before,
                                 const std::vector<std::string>& after) {
  std::vector<std::string> changes;
  const auto add = [&](const char* sign, const auto& from, const auto& to) {
    std::vector<std::string> only;
    std::set_difference(from.begin(), from.end(), to.begin(), to.end(), std::back_inserter(only));
    for (const std::string& line : only) {
      changes.push_back(sign + line);
    }
  };
  add("- ", before, after);
  add("+ ", after, before);
  return changes;
}
