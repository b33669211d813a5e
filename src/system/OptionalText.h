#pragma once

#include "foundation/UnicodeString.h"

namespace LCommon::System {

/// `text` for a platform function to which null means "none" and an empty text means something else: null for
/// every empty string, also for one that stores a terminator. Valid as long as `text` does not change.
inline const wchar_t* OptionalText(const LUnicodeString& text) {
  return text.IsEmpty() ? nullptr : text.Data();
}

}  // namespace LCommon::System
