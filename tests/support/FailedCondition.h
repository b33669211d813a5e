#pragma once

#include <string>

#include "foundation/Exception.h"

/// The condition that `operation` reports as broken; "nothing" when it reports none.
template <class Operation>
std::string FailedCondition(Operation operation) {
  constexpr std::string_view Prefix = "Assertion failed, ";
  try {
    operation();
  } catch (const LMessageException& report) {
    const std::string message = report.Message();
    return message.starts_with(Prefix) ? message.substr(Prefix.size()) : "no assertion: " + message;
  }
  return "nothing";
}
