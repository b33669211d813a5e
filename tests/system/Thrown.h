#pragma once

#include <string>
#include <typeinfo>

#include "foundation/Exception.h"

// Which exception an operation throws, as a text to compare: its own class, not a base, and the error it
// carries.

inline std::string ThrownText(const std::type_info& type, unsigned int code) {
  return std::string(type.name()) + " with " + std::to_string(code);
}

/// The text for an exception of class `E` that carries `code`.
template <class E>
std::string Exactly(unsigned int code) {
  return ThrownText(typeid(E), code);
}

/// What `operation` throws; "nothing" when it succeeds.
template <class Operation>
std::string Thrown(Operation operation) {
  try {
    operation();
  } catch (const LCommon::System::WindowsErrorException& exception) {
    return ThrownText(typeid(exception), exception.GetWindowsErrorCode());
  }
  return "nothing";
}
