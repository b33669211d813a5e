#define DOCTEST_CONFIG_IMPLEMENT_WITH_MAIN
#include <doctest/doctest.h>

#include "support/Throws.h"

// An exception that no test expects says what it is.
REGISTER_EXCEPTION_TRANSLATOR(const LBaseException&) {
  return Thrown([] { throw; }).c_str();
}
