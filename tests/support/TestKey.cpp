#include "support/TestKey.h"

#include <algorithm>
#include <cstdio>

#include "support/MachineParts.h"
#include "support/Utf8.h"

using LCommon::System::RegistryKey;

LPtrRef<RegistryKey> MakeKey(LUnicodeString path) {
  return RegistryKey::LocalMachine()->Create(path, KEY_ALL_ACCESS);
}

void DeleteKey(LUnicodeString path) {
  if (RegistryKey::LocalMachine()->IsChildExist(path)) RegistryKey::LocalMachine()->DeleteTree(path);
}

std::string RegistryText(LUnicodeString path) {
  if (!RegistryKey::LocalMachine()->IsChildExist(path)) return "none";
  std::string text;
  const auto add = [&](const std::string& item) { text += (text.empty() ? "" : " ") + item; };
  std::vector<std::string> names = ValueNames(path);
  std::sort(names.begin(), names.end());
  for (const std::string& name : names)
    add(name + "=" + ValueText(path, Utf16(name)));
  const LUnicodeStringArray children = RegistryKey::LocalMachine()->Open(path, KEY_READ)->GetChilds();
  for (unsigned int index = 0; index < children.Length(); ++index)
    add(Utf8(children[index]) + "{" + RegistryText(path + L'\\' + children[index]) + "}");
  return text;
}

std::string ValueText(LUnicodeString path, LUnicodeString name) {
  const auto value = RegistryKey::LocalMachine()->Open(path, KEY_READ)->GetValue(name, nullptr);
  if (!value.Valid()) return "none";
  const unsigned int type = value->GetType();
  const LBuffer data = value->GetData();
  if (type == REG_DWORD && data.Size() == 4) return std::to_string(value->GetInt32Data());
  std::string text = type == REG_SZ || type == REG_BINARY ? "" : "type" + std::to_string(type) + ":";
  if (type == REG_SZ || type == REG_EXPAND_SZ || type == REG_MULTI_SZ) {
    text += '"' + Utf8(LUnicodeString(reinterpret_cast<const wchar_t*>(data.Data()), data.Size() / 2));
    text.erase(text.find_last_not_of('\0') + 1);
    std::replace(text.begin(), text.end(), '\0', '|');
    return text + '"';
  }
  for (unsigned int at = 0; at < data.Size(); ++at) {
    char digits[3];
    std::snprintf(digits, sizeof(digits), "%02x", data.Data()[at]);
    text += digits;
  }
  return text;
}
