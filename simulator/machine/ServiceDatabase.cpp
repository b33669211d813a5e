#include "machine/ServiceDatabase.h"

#include <algorithm>
#include <set>

namespace winsim {
namespace {

constexpr std::uint32_t TypeExpandString = 2;
constexpr std::u16string_view Root = u"System\\CurrentControlSet\\Services";

}  // namespace

std::u16string ServiceDatabase::KeyPath(std::u16string_view service) {
  return std::u16string(Root) + u"\\" + std::u16string(service);
}

bool ServiceDatabase::Exists(std::u16string_view service) const {
  return !service.empty() && m_registry.GetValue(KeyPath(service), u"Type") != nullptr;
}

std::vector<std::u16string> ServiceDatabase::Names() const {
  std::vector<std::u16string> names;
  if (const RegistryNode* const root = m_registry.Find(Root); root != nullptr) {
    for (const auto& [name, key] : root->Children()) {
      if (key->values.contains(std::u16string_view(u"Type"))) {
        names.push_back(name);
      }
    }
  }
  return names;
}

ServiceConfig ServiceDatabase::Config(std::u16string_view service) const {
  const std::u16string path = KeyPath(service);
  ServiceConfig config;
  config.type = m_registry.GetNumber(path, u"Type");
  config.start = m_registry.GetNumber(path, u"Start", ServiceConfig::DemandStart);
  config.errorControl = m_registry.GetNumber(path, u"ErrorControl");
  config.imagePath = m_registry.GetString(path, u"ImagePath");
  config.group = m_registry.GetString(path, u"Group");
  config.tag = m_registry.GetNumber(path, u"Tag");
  if (const RegistryValue* const services = m_registry.GetValue(path, u"DependOnService");
      services != nullptr) {
    config.dependencies = services->Texts();
  }
  if (const RegistryValue* const groups = m_registry.GetValue(path, u"DependOnGroup"); groups != nullptr) {
    for (const std::u16string& group : groups->Texts()) {
      config.dependencies.push_back(u"+" + group);
    }
  }
  config.account = m_registry.GetString(path, u"ObjectName");
  config.displayName = m_registry.GetString(path, u"DisplayName");
  config.description = m_registry.GetString(path, u"Description");
  return config;
}

void ServiceDatabase::Write(std::u16string_view service, const ServiceConfig& config) {
  const std::u16string path = KeyPath(service);
  const auto setOrDelete = [&](std::u16string_view name, bool present, RegistryValue value) {
    if (present) {
      m_registry.SetValue(path, name, std::move(value));
    } else {
      m_registry.DeleteValue(path, name);
    }
  };
  const auto setText = [&](std::u16string_view name, std::u16string_view text) {
    setOrDelete(name, !text.empty(), RegistryValue::String(text));
  };
  m_registry.SetNumber(path, u"Type", config.type);
  m_registry.SetNumber(path, u"Start", config.start);
  m_registry.SetNumber(path, u"ErrorControl", config.errorControl);
  const RegistryValue* const oldImagePath = m_registry.GetValue(path, u"ImagePath");
  setOrDelete(u"ImagePath", !config.imagePath.empty(),
              RegistryValue::String(config.imagePath,
                                    oldImagePath == nullptr ? TypeExpandString : oldImagePath->type));
  setText(u"Group", config.group);
  setOrDelete(u"Tag", config.tag != 0, RegistryValue::Number(config.tag));
  std::vector<std::u16string> services;
  std::vector<std::u16string> groups;
  for (const std::u16string& dependency : config.dependencies) {
    if (dependency.starts_with(u'+')) {
      groups.push_back(dependency.substr(1));
    } else {
      services.push_back(dependency);
    }
  }
  setOrDelete(u"DependOnService", !services.empty(), RegistryValue::Strings(services));
  setOrDelete(u"DependOnGroup", !groups.empty(), RegistryValue::Strings(groups));
  setText(u"ObjectName", config.account);
  setText(u"DisplayName", config.displayName);
  setText(u"Description", config.description);
}

void ServiceDatabase::SetDescription(std::u16string_view service, std::u16string_view description) {
  if (description.empty()) {
    m_registry.DeleteValue(KeyPath(service), u"Description");
  } else {
    m_registry.SetString(KeyPath(service), u"Description", description);
  }
}

void ServiceDatabase::Remove(std::u16string_view service) {
  m_registry.DeleteTree(KeyPath(service));
}

bool ServiceDatabase::HasWow64Mark(std::u16string_view service) const {
  return m_registry.GetNumber(KeyPath(service), u"WOW64") != 0;
}

void ServiceDatabase::SetWow64Mark(std::u16string_view service) {
  m_registry.SetNumber(KeyPath(service), u"WOW64", 1);
}

bool ServiceDatabase::IsMarked(std::u16string_view service) const {
  return m_registry.GetNumber(KeyPath(service), u"DeleteFlag") != 0;
}

void ServiceDatabase::Mark(std::u16string_view service) {
  m_registry.SetNumber(KeyPath(service), u"DeleteFlag", 1);
  m_registry.SetNumber(KeyPath(service), u"Start", ServiceConfig::Disabled);
}

bool ServiceDatabase::IsTaken(std::u16string_view displayName, std::u16string_view service,
                              bool mayRepeat) const {
  const std::vector<std::u16string> names = Names();
  return std::any_of(names.begin(), names.end(), [&](const std::u16string& name) {
    return !EqualsIgnoringCase(name, service) &&
           (EqualsIgnoringCase(name, displayName) ||
            (!mayRepeat &&
             EqualsIgnoringCase(m_registry.GetString(KeyPath(name), u"DisplayName"), displayName)));
  });
}

bool ServiceDatabase::IsCircular(std::u16string_view service, const std::vector<std::u16string>& dependencies,
                                 std::u16string_view group) const {
  std::set<std::u16string, CaseInsensitiveLess> seen;
  std::vector<std::u16string> open = dependencies;
  while (!open.empty()) {
    const std::u16string needed = std::move(open.back());
    open.pop_back();
    if (!seen.insert(needed).second) {
      continue;
    }
    if (!needed.starts_with(u'+')) {
      if (EqualsIgnoringCase(needed, service)) {
        return true;
      }
      const std::vector<std::u16string> further = Config(needed).dependencies;
      open.insert(open.end(), further.begin(), further.end());
    } else if (const std::u16string_view neededGroup = std::u16string_view(needed).substr(1);
               EqualsIgnoringCase(neededGroup, group)) {
      return true;
    } else {
      for (const std::u16string& name : Names()) {
        if (EqualsIgnoringCase(Config(name).group, neededGroup)) {
          open.push_back(name);
        }
      }
    }
  }
  return false;
}

std::uint32_t ServiceDatabase::FreeTag(std::u16string_view group) const {
  std::uint32_t highest = 0;
  for (const std::u16string& name : Names()) {
    if (const ServiceConfig config = Config(name); EqualsIgnoringCase(config.group, group)) {
      highest = std::max(highest, config.tag);
    }
  }
  return highest + 1;
}

}  // namespace winsim
