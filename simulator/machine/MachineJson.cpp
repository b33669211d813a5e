#include <algorithm>
#include <string>

#include "machine/CodePages.h"
#include "machine/JsonValue.h"
#include "machine/Machine.h"
#include "machine/MachineDescription.h"
#include "machine/Text.h"

namespace winsim {
namespace {

using Words = std::map<std::string_view, std::uint32_t>;

const Words systems = {
    {"windows-10", 0}, {"windows-10-wow64", 1}, {"windows-2000", 2}, {"windows-nt4", 3}, {"windows-98", 4}};
const Words driveTypes = {{"removable", 2}, {"fixed", 3}, {"remote", 4}, {"cdrom", 5}, {"ramdisk", 6}};
const Words attributeWords = {
    {"read-only", FileNode::ReadOnly}, {"hidden", FileNode::Hidden}, {"system", FileNode::System}};
const Words keyAccess = {{"read", 0x20019}, {"write", 0x20006}, {"delete", 0x10000}, {"all", 0xF003F}};
const Words serviceAccess = {{"query", 0x0005}, {"change", 0x0002},  {"start", 0x0010},
                             {"stop", 0x0020},  {"delete", 0x10000}, {"all", Services::AnyAccess}};
const Words stopWords = {{"stops", 0}, {"refuses", 1}, {"pending", 2}};

Settings SettingsOf(std::uint32_t system) {
  switch (system) {
    case 1:
      return Settings::Windows10Wow64();
    case 2:
      return Settings::Windows2000();
    case 3:
      return Settings::WindowsNt4();
    case 4:
      return Settings::Windows98();
    default:
      return Settings::Windows10();
  }
}

char16_t DriveLetter(const std::u16string& name, const JsonValue& value) {
  const char16_t letter = name.size() == 1 ? FoldCase(name[0]) : u'\0';
  if (letter < u'A' || letter > u'Z') {
    value.Fail("is no drive letter", "one such as \"D\"");
  }
  return letter;
}

void ReadVersion(const JsonValue& value, WindowsVersion& version) {
  const auto number = [](std::uint32_t& target) {
    return [&target](const JsonValue& member) {
      target = static_cast<std::uint32_t>(member.Number(UINT32_MAX));
    };
  };
  value.ReadMembers({{"major", number(version.major)},
                     {"minor", number(version.minor)},
                     {"build", number(version.build)},
                     {"servicePack", [&](const JsonValue& member) { version.servicePack = member.Text(); }},
                     {"platformId", [&](const JsonValue& member) {
                        version.platformId = static_cast<std::uint32_t>(member.Number(2));
                        if (version.platformId == 0) {
                          member.Fail("is 0", "1 (8-bit only) or 2 (NT family)");
                        }
                      }}});
}

void ReadDrives(const JsonValue& value, MachineDescription& result) {
  value.ForEachMember([&](const std::u16string& name, const JsonValue& drive) {
    MachineDescription::DriveKind& kind = result.drives[DriveLetter(name, drive)];
    if (!drive.IsObject()) {
      kind.type = drive.Word(driveTypes);
      return;
    }
    drive.ReadMembers({{"type", [&](const JsonValue& member) { kind.type = member.Word(driveTypes); }},
                       {"medium", [&](const JsonValue& member) { kind.hasMedium = member.Boolean(); }}});
  });
}

void ReadShares(const JsonValue& value, MachineDescription& result) {
  value.ForEachMember([&](const std::u16string& name, const JsonValue& member) {
    if (!name.starts_with(u"\\\\") || name.find(u'\\', 2) == std::u16string::npos) {
      member.Fail("is no share", "one such as \"\\\\\\\\server\\\\share\"");
    }
    const std::filesystem::path folder(ToUtf8(member.Text()));
    const bool leaves =
        std::any_of(folder.begin(), folder.end(), [](const auto& part) { return part == ".."; });
    if (folder.empty() || folder.is_absolute() || leaves) {
      member.Fail("leaves the machine folder", "a folder in it such as \"shares/projects\"");
    }
    result.shares[name] = folder;
  });
}

void ReadRefused(const JsonValue& value, MachineDescription& result) {
  const auto accesses = [](std::map<std::u16string, std::uint32_t>& target, const Words& words) {
    return [&target, &words](const JsonValue& list) {
      list.ForEachMember(
          [&](const std::u16string& name, const JsonValue& access) { target[name] = access.Words(words); });
    };
  };
  value.ReadMembers(
      {{"registry", accesses(result.refusedKeys, keyAccess)},
       {"services", accesses(result.refusedServices, serviceAccess)},
       {"serviceManager", [&](const JsonValue& member) { result.refusesServiceManager = member.Boolean(); }},
       {"files", [&](const JsonValue& member) { result.refusedFiles = member.Texts(); }},
       {"mutexes", [&](const JsonValue& member) { result.refusedMutexes = member.Texts(); }}});
}

void ReadReply(const JsonValue& value, DeviceReply& reply) {
  value.ReadMembers({{"bytes", [&](const JsonValue& member) { reply.bytes = member.Bytes(); }},
                     {"neededSize", [&](const JsonValue& member) { reply.neededSize = member.Code(); }},
                     {"error", [&](const JsonValue& member) { reply.error = member.Code(); }}});
}

void ReadDriver(const JsonValue& value, DriverBehaviour& driver) {
  value.ReadMembers(
      {{"stop",
        [&](const JsonValue& m) { driver.stop = static_cast<DriverBehaviour::Stop>(m.Word(stopWords)); }},
       {"loadError", [&](const JsonValue& member) { driver.loadError = member.Code(); }},
       {"devices", [&](const JsonValue& member) { driver.furtherDevices = member.Texts(); }},
       {"openErrors",
        [&](const JsonValue& member) {
          member.ForEachMember([&](const std::u16string& device, const JsonValue& error) {
            driver.openErrors[device] = error.Code();
          });
        }},
       {"replies",
        [&](const JsonValue& member) {
          member.ForEachMember([&](const std::u16string& code, const JsonValue& reply) {
            ReadReply(reply, driver.replies[reply.InPlace(ToUtf8(code)).Code()]);
          });
        }},
       {"otherCodes", [&](const JsonValue& member) { driver.otherCodes = member.Code(); }}});
}

void ReadHeldLock(const JsonValue& value, MachineDescription& result) {
  MachineDescription::HeldLock lock{};
  value.ReadMembers(
      {{"name", [&](const JsonValue& member) { lock.name = member.Text(); }},
       {"seconds", [&](const JsonValue& member) { lock.units = member.Number(UINT32_MAX) * 10'000'000; }}});
  if (lock.name.empty() || lock.units == 0) {
    value.Fail("is not complete", "the members name and seconds (more than 0)");
  }
  result.heldLocks.push_back(std::move(lock));
}

}  // namespace

MachineDescription ReadMachineJson(const std::filesystem::path& file) {
  MachineDescription result;
  const nlohmann::json document = ParseJsonFile(file, result.document);
  const JsonValue root(document, file);
  // The system first: the other members change what it brings.
  if (document.is_object() && document.contains("system")) {
    result.settings = SettingsOf(JsonValue(document["system"], file, "/system").Word(systems));
  } else {
    result.settings = Settings::Windows10();
  }
  Settings& settings = result.settings;
  const auto codePage = [](std::uint32_t& target) {
    return [&target](const JsonValue& value) {
      target = static_cast<std::uint32_t>(value.Number(65535));
      if (CodePage::Find(target) == nullptr) {
        value.Fail("is " + std::to_string(target), CodePage::KnownNumbers);
      }
    };
  };
  const auto flag = [](bool& target) {
    return [&target](const JsonValue& value) { target = value.Boolean(); };
  };
  root.ReadMembers(
      {{"system", [](const JsonValue&) {}},
       {"version", [&](const JsonValue& value) { ReadVersion(value, settings.version); }},
       {"reportedVersion", [&](const JsonValue& value) { ReadVersion(value, settings.reportedVersion); }},
       {"wow64", flag(settings.wow64)},
       {"ansiCodePage",
        [&](const JsonValue& value) {
          codePage(settings.ansiCodePage)(value);
          result.namesAnsiCodePage = true;
        }},
       {"oemCodePage", codePage(settings.oemCodePage)},
       {"fileApisUseAnsi", flag(settings.fileApisUseAnsi)},
       {"windowsDirectory",
        [&](const JsonValue& value) {
          settings.windowsDirectory = value.Text();
          result.namesWindowsDirectory = true;
        }},
       {"missingModules",
        [&](const JsonValue& value) {
          for (const std::u16string& name : value.Texts()) {
            settings.missingModules.insert(name);
          }
        }},
       {"missingFunctions",
        [&](const JsonValue& value) {
          for (const std::u16string& name : value.Texts()) {
            settings.missingFunctions.insert(ToUtf8(name));
          }
        }},
       {"environment",
        [&](const JsonValue& value) {
          value.ForEachMember([&](const std::u16string& name, const JsonValue& member) {
            result.environment[name] = member.Text();
          });
        }},
       {"drives", [&](const JsonValue& value) { ReadDrives(value, result); }},
       {"substitutedDrives",
        [&](const JsonValue& value) {
          value.ForEachMember([&](const std::u16string& name, const JsonValue& member) {
            result.substitutedDrives[DriveLetter(name, member)] = member.Text();
          });
        }},
       {"shares", [&](const JsonValue& value) { ReadShares(value, result); }},
       {"attributes",
        [&](const JsonValue& value) {
          value.ForEachMember([&](const std::u16string& path, const JsonValue& member) {
            result.attributes[path] = member.Words(attributeWords);
          });
        }},
       {"refused", [&](const JsonValue& value) { ReadRefused(value, result); }},
       {"drivers",
        [&](const JsonValue& value) {
          value.ForEachMember([&](const std::u16string& name, const JsonValue& member) {
            ReadDriver(member, result.drivers[name]);
          });
        }},
       {"heldLocks", [&](const JsonValue& value) {
          value.ForEachItem([&](const JsonValue& item) { ReadHeldLock(item, result); });
        }}});
  return result;
}

namespace {

void CollectAttributes(const FileNode& node, nlohmann::json& attributes) {
  nlohmann::json words = nlohmann::json::array();
  for (const auto& [word, bit] : attributeWords) {
    if ((node.attributes & bit) != 0) {
      words.push_back(word);
    }
  }
  if (!words.empty()) {
    attributes[ToUtf8(node.Path())] = std::move(words);
  }
  for (const auto& [name, child] : node.children) {
    CollectAttributes(*child, attributes);
  }
}

/// Removes `name` from the object when nothing is in it.
void DropIfEmpty(nlohmann::json& object, const char* name) {
  if (object.contains(name) && object[name].empty()) {
    object.erase(name);
  }
}

}  // namespace

std::string FormatMachineJson(const MachineDescription& description, Machine& machine) {
  nlohmann::json document =
      description.document.empty() ? nlohmann::json::object() : nlohmann::json::parse(description.document);
  nlohmann::json& attributes = document["attributes"] = nlohmann::json::object();
  for (const auto& [letter, drive] : machine.files.Drives()) {
    CollectAttributes(*drive.root, attributes);
  }
  for (const auto& [share, folder] : description.shares) {
    if (const FileNode* const root = machine.files.Find(share)) {
      CollectAttributes(*root, attributes);
    }
  }
  DropIfEmpty(document, "attributes");
  const auto dropIfGone = [&](nlohmann::json& object, const char* member, const std::u16string& name,
                              const std::u16string& key) {
    if (machine.registry.Find(key) == nullptr) {
      object[member].erase(ToUtf8(name));
      DropIfEmpty(object, member);
    }
  };
  for (const auto& [path, access] : description.refusedKeys) {
    dropIfGone(document["refused"], "registry", path, path);
  }
  for (const auto& [service, access] : description.refusedServices) {
    dropIfGone(document["refused"], "services", service, ServiceDatabase::KeyPath(service));
  }
  for (const auto& [name, behaviour] : description.drivers) {
    dropIfGone(document, "drivers", name, ServiceDatabase::KeyPath(name));
  }
  DropIfEmpty(document, "refused");
  return document.empty() ? std::string() : document.dump(2) + '\n';
}

}  // namespace winsim
