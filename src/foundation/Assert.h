#pragma once

#include "foundation/Exception.h"

/// The assertion report: throws an `LMessageException` with the text "Assertion failed, " followed by at most
/// 236 characters of `condition`. It ends the current operation, not the process.
[[noreturn]] void LReportAssertion(LLocation location, const char* condition);

/// Reports the condition's own text unless it holds. Active in every build: the program runs on machines
/// where a wrong step does more harm than an ended one.
#define L_ASSERT(condition) L_ASSERT_TEXT(condition, #condition)

/// The same with the text that the report is to carry.
#define L_ASSERT_TEXT(condition, text) \
  do {                                 \
    if (!(condition)) {                \
      LReportAssertion(L_HERE, text);  \
    }                                  \
  } while (false)

/// A branch that cannot be reached.
#define L_UNREACHABLE() LReportAssertion(L_HERE, "Unreachable point")
