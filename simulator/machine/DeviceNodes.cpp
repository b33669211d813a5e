#include "machine/DeviceNodes.h"

#include "machine/Machine.h"

namespace winsim {
namespace {

constexpr std::uint32_t AccessDenied = 5;
constexpr std::uint32_t NoSuchDevice = 0xE000020B;
constexpr std::uint32_t DeleteAccess = 0x10000;

constexpr std::u16string_view EnumPath = u"System\\CurrentControlSet\\Enum";
constexpr std::u16string_view ClassPath = u"System\\CurrentControlSet\\Control\\Class";
constexpr std::u16string_view LegacyClass = u"{8ECC055D-047F-11D1-A537-0000F8753ED1}";

std::u16string Join(std::u16string_view left, std::u16string_view right) {
  std::u16string path(left);
  path += u'\\';
  path += right;
  return path;
}

std::u16string TextOf(const RegistryNode& key, std::u16string_view name) {
  const auto value = key.values.find(name);
  return value == key.values.end() ? std::u16string() : value->second.Text();
}

}  // namespace

std::optional<Guid> Guid::Parse(std::u16string_view text) {
  // Where each byte's digits stand: the first three groups are numbers, least significant byte first.
  static constexpr std::size_t places[16] = {7, 5, 3, 1, 12, 10, 17, 15, 20, 22, 25, 27, 29, 31, 33, 35};
  if (text.size() != 38 || text[0] != u'{' || text[9] != u'-' || text[14] != u'-' || text[19] != u'-' ||
      text[24] != u'-' || text[37] != u'}') {
    return std::nullopt;
  }
  Guid guid;
  for (std::size_t i = 0; i < 16; ++i) {
    unsigned int byte = 0;
    for (const char16_t unit : text.substr(places[i], 2)) {
      const char16_t folded = FoldCase(unit);
      if (folded >= u'0' && folded <= u'9') {
        byte = byte * 16 + (folded - u'0');
      } else if (folded >= u'A' && folded <= u'F') {
        byte = byte * 16 + (folded - u'A' + 10u);
      } else {
        return std::nullopt;
      }
    }
    guid.bytes[i] = static_cast<std::uint8_t>(byte);
  }
  return guid;
}

std::vector<Guid> DeviceNodes::ClassesNamed(std::u16string_view className) {
  std::vector<Guid> classes;
  if (const RegistryNode* const root = m_machine.registry.Find(ClassPath); root != nullptr) {
    for (const auto& [name, key] : root->Children()) {
      const std::optional<Guid> guid = Guid::Parse(name);
      if (guid.has_value() && EqualsIgnoringCase(TextOf(*key, u"Class"), className)) {
        classes.push_back(*guid);
      }
    }
  }
  return classes;
}

std::vector<std::u16string> DeviceNodes::Instances(const std::optional<Guid>& classGuid,
                                                   std::u16string_view enumerator) {
  std::vector<std::u16string> instances;
  const RegistryNode* const root = m_machine.registry.Find(EnumPath);
  if (root == nullptr) {
    return instances;
  }
  const std::u16string above = std::u16string(enumerator) + (enumerator.empty() ? u"" : u"\\");
  for (const auto& [enumeratorName, enumeratorKey] : root->Children()) {
    for (const auto& [deviceName, deviceKey] : enumeratorKey->Children()) {
      for (const auto& [instanceName, instanceKey] : deviceKey->Children()) {
        std::u16string path = Join(Join(enumeratorName, deviceName), instanceName);
        if (EqualsIgnoringCase(path.substr(0, above.size()), above) &&
            (!classGuid.has_value() || Guid::Parse(TextOf(*instanceKey, u"ClassGUID")) == classGuid)) {
          instances.push_back(std::move(path));
        }
      }
    }
  }
  return instances;
}

std::optional<Guid> DeviceNodes::ClassOf(std::u16string_view instance) {
  const RegistryValue* const value = Property(instance, u"ClassGUID");
  return value == nullptr ? std::nullopt : Guid::Parse(value->Text());
}

const RegistryValue* DeviceNodes::Property(std::u16string_view instance, std::u16string_view name) {
  return m_machine.registry.GetValue(Join(EnumPath, instance), name);
}

std::uint32_t DeviceNodes::Remove(std::u16string_view instance) {
  RegistryNode* const key = m_machine.registry.Find(Join(EnumPath, instance));
  if (key == nullptr) {
    return NoSuchDevice;
  }
  if ((key->deniedAccess & DeleteAccess) != 0) {
    return AccessDenied;
  }
  RegistryNode& device = *key->Parent();
  m_machine.registry.DeleteTree(*key);
  if (device.Children().empty()) {
    m_machine.registry.DeleteTree(device);
  }
  return 0;
}

void DeviceNodes::AddLegacy(std::u16string_view service, std::u16string_view instance) {
  Registry& registry = m_machine.registry;
  registry.SetString(Join(ClassPath, LegacyClass), u"Class", u"LegacyDriver");
  const std::u16string path = Join(Join(EnumPath, u"ROOT\\LEGACY_" + FoldCase(service)), instance);
  registry.SetString(path, u"Class", u"LegacyDriver");
  registry.SetString(path, u"ClassGUID", LegacyClass);
  registry.SetString(path, u"Service", service);
}

}  // namespace winsim
