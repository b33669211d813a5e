#pragma once

#include <string>
#include <string_view>

#include "foundation/UnicodeString.h"

// Text for comparing and reporting: the test framework must not see 16-bit text. Lone surrogates survive both
// ways, each as three bytes.

std::string Utf8(const LUnicodeString& text);
LUnicodeString Utf16(std::string_view text);
