#pragma once

#include <doctest/doctest.h>

#include <string>
#include <vector>

/// Texts that a test compares as a whole; a difference is reported line by line.
using Lines = std::vector<std::string>;

template <>
struct doctest::StringMaker<Lines> {
  static String convert(const Lines& lines) {
    std::string text;
    for (const std::string& line : lines) {
      text += "\n    " + line;
    }
    return String((text.empty() ? "nothing" : text + "\n").c_str());
  }
};
