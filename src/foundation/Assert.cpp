#include "foundation/Assert.h"

#include <algorithm>
#include <cstring>

void LReportAssertion(LLocation location, const char* condition) {
  constexpr char Prefix[] = "Assertion failed, ";
  constexpr std::size_t PrefixLength = sizeof(Prefix) - 1;
  constexpr std::size_t MaximalCondition = 236;

  char text[PrefixLength + MaximalCondition + 1];
  const std::size_t length = std::min(std::strlen(condition), MaximalCondition);
  std::memcpy(text, Prefix, PrefixLength);
  std::memcpy(text + PrefixLength, condition, length);
  text[PrefixLength + length] = '\0';
  throw LMessageException(location, text);
}
