#pragma once

// In front of every test source: how failed comparisons show what the test framework itself shows as an
// address, as a number or not at all.

namespace doctest {
class String;
template <class T>
String Readable(const T& value);
}  // namespace doctest
#define DOCTEST_STRINGIFY(...) doctest::Readable(__VA_ARGS__)

#include <doctest/doctest.h>

#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

/// The enumerator's name as the compiler writes it, or the number when there is none.
template <auto Value>
std::string EnumeratorName() {
  const std::string_view function = __PRETTY_FUNCTION__;
  const std::size_t start = function.find("Value = ") + 8;
  const std::string_view name = function.substr(start, function.find_first_of(";]", start) - start);
  return name.starts_with('(') ? std::to_string(static_cast<unsigned int>(Value)) : std::string(name);
}

template <class Enumeration, unsigned int... Values>
std::string EnumeratorName(Enumeration value, std::integer_sequence<unsigned int, Values...>) {
  std::string name = std::to_string(static_cast<unsigned int>(value));
  (void)((static_cast<unsigned int>(value) == Values &&
          (name = EnumeratorName<static_cast<Enumeration>(Values)>(), true)) ||
         ...);
  return name;
}

template <class T>
doctest::String doctest::Readable(const T& value) {
  if constexpr (std::is_enum_v<T>) {
    return EnumeratorName(value, std::make_integer_sequence<unsigned int, 40>()).c_str();
  } else {
    return toString(value);
  }
}

template <>
struct doctest::StringMaker<const char*> {
  static String convert(const char* text) { return text != nullptr ? text : "null"; }
};

template <class T>
struct doctest::StringMaker<std::optional<T>> {
  static String convert(const std::optional<T>& value) { return value ? Readable(*value) : "none"; }
};

/// Texts on a line each, of anything else the first hundred elements.
template <class T>
struct doctest::StringMaker<std::vector<T>> {
  static String convert(const std::vector<T>& values) {
    constexpr bool texts = std::is_same_v<T, std::string>;
    String text;
    for (std::size_t index = 0; index < values.size() && (texts || index < 100); ++index)
      text += String(texts ? "\n    " : " ") + Readable(values[index]);
    return values.empty() ? "nothing" : text;
  }
};
