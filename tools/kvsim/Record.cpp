#include "Record.h"

#include <fmt/format.h>

#include <map>

namespace kvsim {
namespace {

using winsim::RegistryNode;
using winsim::RegistryValue;

constexpr std::uint64_t ClaimLife = 30ull * 24 * 3'600 * 10'000'000;

enum RegistryType : std::uint32_t { text = 1, binary = 3, number = 4 };

/// Null without such a value, of whatever type.
const RegistryValue* Find(const RegistryNode& key, std::u16string_view name) {
  const auto found = key.values.find(name);
  return found == key.values.end() ? nullptr : &found->second;
}

std::uint64_t LittleEndian(const winsim::Bytes& bytes, std::size_t size) {
  std::uint64_t result = 0;
  for (std::size_t i = size; i > 0; --i) {
    result = result << 8 | bytes[i - 1];
  }
  return result;
}

/// A number may have more bytes than it needs; the first four are the number.
std::optional<std::uint32_t> NumberOf(const RegistryValue* value) {
  if (value == nullptr || value->type != number || value->data.size() < 4) {
    return std::nullopt;
  }
  return static_cast<std::uint32_t>(LittleEndian(value->data, 4));
}

std::string TypeName(std::uint32_t type) {
  static const std::map<std::uint32_t, const char*> names = {
      {0, "REG_NONE"},  {1, "REG_SZ"},   {2, "REG_EXPAND_SZ"},        {3, "REG_BINARY"},
      {4, "REG_DWORD"}, {6, "REG_LINK"}, {5, "REG_DWORD_BIG_ENDIAN"}, {7, "REG_MULTI_SZ"},
      {11, "REG_QWORD"}};
  const auto found = names.find(type);
  return found == names.end() ? fmt::format("value of type {}", type) : found->second;
}

/// What is there of a value: "missing", "2", "a REG_BINARY of 7 bytes".
std::string Found(const RegistryValue* value) {
  if (value == nullptr) {
    return "missing";
  }
  if (const auto known = NumberOf(value); known.has_value()) {
    return std::to_string(*known);
  }
  const std::size_t size = value->data.size();
  return fmt::format("a {} of {} byte{}", TypeName(value->type), size, size == 1 ? "" : "s");
}

Claim ReadClaim(const RegistryNode& entry) {
  Claim claim;
  claim.client = winsim::ToUtf8(entry.Name());
  const auto breaks = [&](const char* name, const RegistryValue* value, const char* expected) {
    claim.fault = {name, Found(value), expected};
    return claim;
  };
  const RegistryValue* const mode = Find(entry, u"Mode");
  const std::optional<std::uint32_t> modeNumber = NumberOf(mode);
  if (modeNumber.value_or(2) > 1) {
    return breaks("Mode", mode, "a REG_DWORD, 0 (bound to a file) or 1 (bound to a time)");
  }
  if (modeNumber == 0) {
    const RegistryValue* const file = Find(entry, u"File");
    if (file == nullptr || file->type != text) {
      return breaks("File", file, "a REG_SZ with the path of the file (\"Mode\" is 0)");
    }
    claim.kind = Claim::Kind::file;
    claim.file = file->Text();
    return claim;
  }
  const RegistryValue* const time = Find(entry, u"Time");
  if (time == nullptr || time->type != binary || time->data.size() != 8) {
    return breaks("Time", time, "a REG_BINARY of 8 bytes (\"Mode\" is 1)");
  }
  claim.kind = Claim::Kind::time;
  claim.time = LittleEndian(time->data, 8);
  claim.lapses = claim.time + ClaimLife;
  return claim;
}

}  // namespace

Record ReadRecord(const RegistryNode& key) {
  Record record;
  const RegistryValue* const automatic = Find(key, u"Auto");
  record.automatic = NumberOf(automatic);
  record.automaticFound = Found(automatic);
  for (const auto& [name, entry] : key.Children()) {
    record.claims.push_back(ReadClaim(*entry));
  }
  return record;
}

}  // namespace kvsim
