#pragma once

#include <string>

namespace kvsim {

/// Writes to standard output. Throws OutputError when that does not take it.
void Print(const std::string& text);

}  // namespace kvsim
