#include "ErrorText.h"

#include <fmt/format.h>

#include <array>
#include <utility>

namespace kvsim {

std::string ErrorText(std::uint32_t error) {
  static constexpr std::array<std::pair<std::uint32_t, const char*>, 18> known = {{
      {2, "not found"},
      {3, "path not found"},
      {5, "access denied"},
      {21, "device not ready"},
      {32, "in use by another program"},
      {53, "network path not found"},
      {67, "network name not found"},
      {87, "wrong argument"},
      {120, "not on this Windows"},
      {123, "not a valid name"},
      {1018, "key marked for deletion"},
      {1051, "other running services depend on it"},
      {1052, "not valid for this service"},
      {1053, "no answer in time"},
      {1060, "no such service"},
      {1061, "the service cannot accept it now"},
      {1062, "not started"},
      {1072, "marked for deletion"},
  }};
  // Drivers and the set-up functions have codes of their own with the upper bits set.
  std::string text = error < 0x10000 ? fmt::format("error {}", error) : fmt::format("error 0x{:X}", error);
  for (const auto& [code, words] : known) {
    if (code == error) {
      text += std::string(", ") + words;
    }
  }
  return text;
}

}  // namespace kvsim
