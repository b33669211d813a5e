#pragma once

#include <doctest/doctest.h>

#include <string>
#include <vector>

// In front of every test source: how failed comparisons show what the framework itself shows as an address or
// not at all.

template <>
struct doctest::StringMaker<const char*> {
  static String convert(const char* text) { return text != nullptr ? text : "null"; }
};

template <>
struct doctest::StringMaker<std::vector<std::string>> {
  static String convert(const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines)
      text += "\n    " + line;
    return text.empty() ? "nothing" : String(text.c_str());
  }
};
