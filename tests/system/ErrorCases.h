#pragma once

#include <doctest/doctest.h>

#include <initializer_list>
#include <map>
#include <string>

#include "support/SystemSession.h"
#include "support/Throws.h"

/// The calls of `function` since the trace was started, one a line.
inline std::string TraceText(const SystemSession& session, const char* function) {
  std::string text;
  for (const std::string& line : session.Trace(function)) {
    text += line + "\n";
  }
  return text;
}

/// What an operation does when its platform call fails with a code: `Thrown` text.
struct ErrorCase {
  unsigned int code;
  std::string outcome;
};

/// The case of an operation that answers `code` with an exception of class `E`.
template <class E>
ErrorCase Throws(unsigned int code) {
  return {code, Exactly<E>(code)};
}

/// Fails the first call of `function` in `operation` with each code of `cases` and with every code that some
/// operation of the system layer treats in its own way; the codes that are not in `cases` must throw `Other`.
template <class Other, class Operation>
void CheckErrors(SystemSession& session, const std::string& function, std::initializer_list<ErrorCase> cases,
                 Operation operation) {
  std::map<unsigned int, std::string> outcomes;
  for (const unsigned int code :
       {1u,   2u,   3u,   5u,    18u,   32u,   87u,   120u,  122u,  123u,  206u, 234u,
        259u, 288u, 997u, 1052u, 1056u, 1059u, 1060u, 1062u, 1072u, 1073u, 1078u}) {
    outcomes[code] = Exactly<Other>(code);
  }
  for (const ErrorCase& each : cases) {
    outcomes[each.code] = each.outcome;
  }
  winsim::Gate& gate = session.Machine().gate;
  for (const auto& outcome : outcomes) {
    CAPTURE(function);
    CAPTURE(outcome.first);
    gate.FailFunction(function, outcome.first);
    CHECK(Thrown(operation) == outcome.second);
    CHECK(gate.HasIntervened());
    gate.Restore();
  }
}
