#include "machine/ControlSets.h"

#include <algorithm>

#include "machine/MachineFolderError.h"

namespace winsim {
namespace {

constexpr std::u16string_view Current = u"CurrentControlSet";
constexpr std::u16string_view ServicesPath = u"System\\CurrentControlSet\\Services";

/// "ControlSet001" of number 1.
std::u16string SetName(std::uint32_t number) {
  const std::string digits = std::to_string(number);
  return FromUtf8("ControlSet" + std::string(3 - std::min<std::size_t>(3, digits.size()), '0') + digits);
}

/// Appends to `path` where the first difference of two keys is.
bool Differ(const RegistryNode& left, const RegistryNode& right, std::u16string& path) {
  if (left.values != right.values || left.Children().size() != right.Children().size()) {
    return true;
  }
  const std::size_t length = path.size();
  for (const auto& [name, child] : left.Children()) {
    path += u'\\' + name;
    const RegistryNode* const other = right.Child(name);
    if (other == nullptr || Differ(*child, *other, path)) {
      return true;
    }
    path.resize(length);
  }
  return false;
}

/// What a registry file holds, for a message.
std::string Contents(Registry& registry) {
  const RegistryNode* node = &registry.LocalMachine();
  std::u16string path = u"HKEY_LOCAL_MACHINE";
  while (!node->isWritten && node->Children().size() == 1) {
    node = node->Children().begin()->second.get();
    path += u'\\' + node->Name();
  }
  if (!node->isWritten && node->Children().empty()) {
    return "holds no key at all";
  }
  std::string text = "holds " + ToUtf8(path);
  if (node->isWritten) {
    return text + " only";
  }
  constexpr std::ptrdiff_t enough = 4;
  const auto& children = node->Children();
  for (auto child = children.begin(); child != children.end(); ++child) {
    const auto told = std::distance(children.begin(), child);
    if (told == enough) {
      return text + " and others";
    }
    text += (told == 0 ? " with " : ", ") + ToUtf8(child->first);
  }
  return text;
}

}  // namespace

std::string SetUpControlSets(Registry& registry, const std::filesystem::path& file) {
  const auto refuse = [&](const std::string& problem) {
    throw MachineFolderError(
        file, 0,
        problem + "; expected all of System\\CurrentControlSet\\Services, as this command writes it: " +
            "reg export HKLM\\System registry.reg");
  };
  std::string note;
  RegistryNode* const system = registry.Find(u"System");
  RegistryNode* const current = system == nullptr ? nullptr : system->Child(Current);
  if (const std::uint32_t number = registry.GetNumber(u"System\\Select", u"Current"); number != 0) {
    const std::u16string name = SetName(number);
    RegistryNode* const named = system->Child(name);
    if (current == nullptr && named == nullptr) {
      refuse("has no " + ToUtf8(name) + ", which its System\\Select says is the current control set");
    } else if (current == nullptr) {
      registry.Link(*system, Current, *named);
    } else if (named != nullptr) {
      if (std::u16string path; Differ(*named, *current, path)) {
        note = ToUtf8(name) + " and CurrentControlSet, which are one key on a machine, differ in " +
               (path.empty() ? "their values or keys" : ToUtf8(path.substr(1))) +
               "; CurrentControlSet counts";
      }
      registry.Link(*system, std::u16string(named->Name()), *current).isWritten = true;
    }
  }
  RegistryNode* const services = registry.Find(ServicesPath);
  // An export of one service, or of something in it, has no line for the key of all services.
  if (services == nullptr || (!services->isWritten && services->Children().size() <= 1)) {
    const bool isUndecided = services == nullptr && system != nullptr && system->Child(Current) == nullptr &&
                             system->Child(SetName(1)) != nullptr;
    refuse(isUndecided ? "has control sets, but no System\\Select that says which is the current one"
                       : Contents(registry));
  }
  // Saved, it is whole as well, also when nothing but one service is left of it.
  services->isWritten = true;
  return note;
}

}  // namespace winsim
