#pragma once

#include <doctest/doctest.h>

#include <string>
#include <vector>

using Lines = std::vector<std::string>;

/// Lets failed comparisons show what the lines say.
template <>
struct doctest::StringMaker<Lines> {
  static String convert(const Lines& lines) {
    std::string text;
    for (const std::string& line : lines) {
      text += "\n    " + line;
    }
    return text.empty() ? "nothing" : String(text.c_str());
  }
};
