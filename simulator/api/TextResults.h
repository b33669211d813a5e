#pragma once

#include <windows.h>

#include <algorithm>
#include <string>

#include "machine/Text.h"

namespace winsim {

// Text as the functions with a buffer and its room give it: the length when the text fits with its
// terminator, else the room that it needs with it, having written nothing.

inline DWORD GiveText(const std::u16string& text, LPWSTR buffer, DWORD room) {
  const auto length = static_cast<DWORD>(text.size());
  if (room <= length) {
    return length + 1;
  }
  CopyToWide(text, buffer);
  return length;
}

inline DWORD GiveText(const std::string& text, LPSTR buffer, DWORD room) {
  const auto length = static_cast<DWORD>(text.size());
  if (room <= length) {
    return length + 1;
  }
  std::copy_n(text.c_str(), length + 1, buffer);
  return length;
}

}  // namespace winsim
