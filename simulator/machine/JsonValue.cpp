#include "machine/JsonValue.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <fstream>
#include <iterator>
#include <set>
#include <system_error>

#include "machine/MachineFolderError.h"
#include "machine/Text.h"

namespace winsim {
namespace {

using nlohmann::json;

std::size_t LineAt(const std::string& text, std::size_t byte) {
  const auto end = text.begin() + static_cast<std::ptrdiff_t>(std::min(byte, text.size()));
  return 1 + static_cast<std::size_t>(std::count(text.begin(), end, '\n'));
}

/// The parser's words for a fault, without its own numbering of faults and places.
std::string Plain(const std::string& message) {
  const std::size_t colon = message.find(": ");
  return colon == std::string::npos ? message : message.substr(colon + 2);
}

std::string List(const std::map<std::string_view, std::uint32_t>& words) {
  std::string text;
  for (const auto& [word, number] : words) {
    text += (text.empty() ? "\"" : ", \"") + std::string(word) + '"';
  }
  return text;
}

/// Finds members that an object has twice, of which the parser would keep the last.
class MemberCheck {
 public:
  bool operator()(json::parse_event_t event, const json& parsed) {
    if (event == json::parse_event_t::object_start) {
      m_open.emplace_back();
    } else if (event == json::parse_event_t::object_end) {
      m_open.pop_back();
    } else if (event == json::parse_event_t::key && !m_open.back().insert(parsed.get<std::string>()).second) {
      m_twice = parsed.get<std::string>();
    }
    return true;
  }
  const std::string& Twice() const { return m_twice; }

 private:
  std::vector<std::set<std::string>> m_open;
  std::string m_twice;
};

}  // namespace

json ParseJsonFile(const std::filesystem::path& file, std::string& text) {
  if (file.empty()) {
    return json::object();
  }
  if (std::filesystem::is_directory(file)) {
    throw MachineFolderError(file, 0, "is a folder; expected a file");
  }
  std::ifstream stream(file, std::ios::binary);
  text.assign(std::istreambuf_iterator<char>(stream), {});
  if (!stream) {
    throw MachineFolderError(file, 0, "cannot be read: " + std::generic_category().message(errno));
  }
  try {
    MemberCheck check;
    json result =
        json::parse(text, [&](int, json::parse_event_t event, json& parsed) { return check(event, parsed); });
    if (!check.Twice().empty()) {
      throw MachineFolderError(
          file, 0, "the member \"" + check.Twice() + "\" stands twice in one object; expected once");
    }
    return result;
  } catch (const json::parse_error& error) {
    throw MachineFolderError(file, LineAt(text, error.byte == 0 ? 0 : error.byte - 1),
                             "is not JSON: " + Plain(error.what()));
  }
}

void JsonValue::Fail(const std::string& problem, const std::string& expected) const {
  throw MachineFolderError(
      m_file, 0, (m_place.empty() ? "the whole file" : m_place) + " " + problem + "; expected " + expected);
}

void JsonValue::FailType(const std::string& expected) const {
  const bool isSmall = !m_value.is_structured();
  Fail(std::string("is ") +
           (m_value.is_null()                           ? ""
            : m_value.is_object() || m_value.is_array() ? "an "
                                                        : "a ") +
           m_value.type_name() + (isSmall && !m_value.is_null() ? " (" + m_value.dump() + ")" : ""),
       expected);
}

void JsonValue::ReadMembers(const std::map<std::string_view, MemberReader>& readers) const {
  if (!m_value.is_object()) {
    FailType("an object");
  }
  for (const auto& [name, value] : m_value.items()) {
    const JsonValue member(value, m_file, m_place + '/' + name);
    const auto found = readers.find(name);
    if (found == readers.end()) {
      std::string known;
      for (const auto& [knownName, reader] : readers) {
        known += (known.empty() ? "" : ", ") + std::string(knownName);
      }
      member.Fail("is not known", "one of " + known);
    }
    found->second(member);
  }
}

void JsonValue::ForEachMember(
    const std::function<void(const std::u16string&, const JsonValue&)>& read) const {
  if (!m_value.is_object()) {
    FailType("an object");
  }
  for (const auto& [name, value] : m_value.items()) {
    read(FromUtf8(name), JsonValue(value, m_file, m_place + '/' + name));
  }
}

void JsonValue::ForEachItem(const std::function<void(const JsonValue&)>& read) const {
  if (!m_value.is_array()) {
    FailType("an array");
  }
  for (std::size_t i = 0; i < m_value.size(); ++i) {
    read(JsonValue(m_value[i], m_file, m_place + '/' + std::to_string(i)));
  }
}

bool JsonValue::Boolean() const {
  if (!m_value.is_boolean()) {
    FailType("true or false");
  }
  return m_value.get<bool>();
}

std::u16string JsonValue::Text() const {
  if (!m_value.is_string()) {
    FailType("a text");
  }
  return FromUtf8(m_value.get_ref<const std::string&>());
}

std::vector<std::u16string> JsonValue::Texts() const {
  std::vector<std::u16string> texts;
  ForEachItem([&](const JsonValue& item) { texts.push_back(item.Text()); });
  return texts;
}

std::uint64_t JsonValue::Number(std::uint64_t largest) const {
  const std::string expected = "a whole number from 0 to " + std::to_string(largest);
  if (!m_value.is_number_unsigned()) {
    FailType(expected);
  }
  const auto number = m_value.get<std::uint64_t>();
  if (number > largest) {
    Fail("is " + std::to_string(number), expected);
  }
  return number;
}

std::uint32_t JsonValue::Code() const {
  if (!m_value.is_string()) {
    return static_cast<std::uint32_t>(Number(UINT32_MAX));
  }
  const auto& text = m_value.get_ref<const std::string&>();
  std::uint32_t code = 0;
  const std::size_t prefix = text.starts_with("0x") ? 2 : 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data() + prefix, end, code, 16);
  if (prefix == 0 || error != std::errc() || stop != end) {
    FailType("a number or a text such as \"0xE0000001\"");
  }
  return code;
}

std::vector<std::uint8_t> JsonValue::Bytes() const {
  const std::string text = ToUtf8(Text());
  std::vector<std::uint8_t> bytes;
  for (std::size_t i = 0; i < text.size();) {
    if (text[i] == ' ') {
      ++i;
      continue;
    }
    std::uint8_t byte = 0;
    const char* const first = text.data() + i;
    const char* const last = text.data() + std::min(i + 2, text.size());
    const auto [stop, error] = std::from_chars(first, last, byte, 16);
    if (error != std::errc() || stop != first + 2) {
      FailType("bytes such as \"01 00 ff\"");
    }
    bytes.push_back(byte);
    i += 2;
  }
  return bytes;
}

std::uint32_t JsonValue::Word(const std::map<std::string_view, std::uint32_t>& words) const {
  const auto found = m_value.is_string() ? words.find(m_value.get_ref<const std::string&>()) : words.end();
  if (found == words.end()) {
    FailType("one of " + List(words));
  }
  return found->second;
}

std::uint32_t JsonValue::Words(const std::map<std::string_view, std::uint32_t>& words) const {
  if (!m_value.is_array()) {
    return Word(words);
  }
  std::uint32_t bits = 0;
  ForEachItem([&](const JsonValue& item) { bits |= item.Word(words); });
  return bits;
}

}  // namespace winsim
