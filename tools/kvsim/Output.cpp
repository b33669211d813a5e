#include "Output.h"

#include <cstdio>

#include "Errors.h"

namespace kvsim {

void Print(const std::string& text) {
  if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() || std::fflush(stdout) != 0) {
    throw OutputError("standard output cannot be written to");
  }
}

}  // namespace kvsim
