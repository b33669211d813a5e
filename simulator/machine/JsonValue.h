#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <initializer_list>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

namespace winsim {

/// Parses a JSON file; an empty object for an empty name. Throws MachineFolderError with the line for
/// a file that is not JSON, or that gives a member twice.
nlohmann::json ParseJsonFile(const std::filesystem::path& file, std::string& text);

/// A value of a JSON file that knows where it stands. Every reading function throws MachineFolderError, which
/// names the place, when the value is not what is expected.
class JsonValue {
 public:
  JsonValue(const nlohmann::json& value, std::filesystem::path file, std::string place = {})
      : m_value(value), m_file(std::move(file)), m_place(std::move(place)) {}

  /// The reader of one member of an object.
  using MemberReader = std::function<void(const JsonValue&)>;
  /// Reads an object whose members are all among `readers`.
  void ReadMembers(const std::map<std::string_view, MemberReader>& readers) const;
  /// Reads an object whose members have names of their own.
  void ForEachMember(const std::function<void(const std::u16string&, const JsonValue&)>& read) const;
  void ForEachItem(const std::function<void(const JsonValue&)>& read) const;

  /// A value that stands where this one does, such as the text of a member's name.
  JsonValue InPlace(const nlohmann::json& value) const { return JsonValue(value, m_file, m_place); }

  bool IsObject() const { return m_value.is_object(); }
  bool Boolean() const;
  std::u16string Text() const;
  std::vector<std::u16string> Texts() const;
  std::uint64_t Number(std::uint64_t largest) const;
  /// An error or control code: a number, or a text such as "0xE0000001".
  std::uint32_t Code() const;
  /// Bytes as a text of two hexadecimal digits each, blanks between them allowed.
  std::vector<std::uint8_t> Bytes() const;
  /// The number that goes with one of some words.
  std::uint32_t Word(const std::map<std::string_view, std::uint32_t>& words) const;
  /// The bits of one word or of a list of words, together.
  std::uint32_t Words(const std::map<std::string_view, std::uint32_t>& words) const;

  [[noreturn]] void Fail(const std::string& problem, const std::string& expected) const;

 private:
  [[noreturn]] void FailType(const std::string& expected) const;

  const nlohmann::json& m_value;
  std::filesystem::path m_file;
  std::string m_place;
};

}  // namespace winsim
