// Takes the place of functions of the compiler's run-time library that would triple what it adds to the
// program: theirs bring formatted output, the demangler of names, text with locales and a random device. Only
// in the build with that compiler.

#include <cstdlib>

#include "foundation/Memory.h"
#include "foundation/Toolchain.h"

namespace __gnu_cxx {

/// What std::terminate ends in. Theirs prints the exception's name first, for which this program has no
/// console.
[[noreturn]] L_CALLED_BY_RUNTIME void __verbose_terminate_handler();
void __verbose_terminate_handler() {
  std::abort();
}

}  // namespace __gnu_cxx

namespace std {

/// What a vector reports of a size that nobody could serve.
[[noreturn]] L_CALLED_BY_RUNTIME void __throw_length_error(const char*);
void __throw_length_error(const char*) {
  LThrowOutOfMemory();
}

}  // namespace std
