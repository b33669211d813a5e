#pragma once

#include <cxxabi.h>

#include <cstdlib>
#include <exception>
#include <string>
#include <typeinfo>

#include "foundation/Exception.h"

// What an operation throws, as a text to compare.

inline std::string ClassName(const std::type_info& type) {
  char* const name = abi::__cxa_demangle(type.name(), nullptr, nullptr, nullptr);
  const std::string text = name != nullptr ? name : type.name();
  std::free(name);
  return text;
}

/// The text for an exception of class `E`.
template <class E>
std::string Exactly() {
  return ClassName(typeid(E));
}
/// And that carries `code`.
template <class E>
std::string Exactly(unsigned int code) {
  return Exactly<E>() + " with " + std::to_string(code);
}

/// What `operation` throws: the condition of an assertion report, "message: " and the text of another
/// message, else the exception's own class, not a base, with the error that it carries; "nothing" when it
/// succeeds.
template <class Operation>
std::string Thrown(Operation operation) {
  constexpr std::string_view Prefix = "Assertion failed, ";
  try {
    operation();
  } catch (const LMessageException& report) {
    const std::string message = report.Message();
    return message.starts_with(Prefix) ? message.substr(Prefix.size()) : "message: " + message;
  } catch (const LCommon::System::WindowsErrorException& exception) {
    return ClassName(typeid(exception)) + " with " + std::to_string(exception.GetWindowsErrorCode());
  } catch (const LBaseException& exception) {
    return ClassName(typeid(exception));
  } catch (const std::exception& exception) {
    return ClassName(typeid(exception));
  }
  return "nothing";
}

/// The function that the exception says it was thrown in.
template <class Operation>
std::string ThrownIn(Operation operation) {
  try {
    operation();
  } catch (const LBaseException& exception) {
    return exception.Function();
  }
  return "nowhere";
}
