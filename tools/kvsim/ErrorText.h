#pragma once

#include <cstdint>
#include <string>

namespace kvsim {

/// "error 5, access denied"; the number alone for one that kvsim has no words for.
std::string ErrorText(std::uint32_t error);

}  // namespace kvsim
