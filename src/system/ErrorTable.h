#pragma once

#include <cstddef>

#include "foundation/Exception.h"

namespace LCommon::System {

/// One row of an error table: the Windows error code and what throws the exception for it.
struct ErrorRow {
  unsigned int code;
  void (*thrower)(LLocation location, unsigned int code);
};

/// The row that throws an `E` carrying the code.
template <class E>
constexpr ErrorRow On(unsigned int code) {
  return {code, [](LLocation location, unsigned int carried) { throw E(location, carried); }};
}

/// Which exception each Windows error code of one operation becomes. Every code without a row becomes an
/// `Other`.
template <class Other, std::size_t Count>
struct ErrorTable {
  ErrorRow rows[Count];

  /// Throws the exception for `code`, which it carries, as thrown at `location`.
  [[noreturn]] void Throw(LLocation location, unsigned int code) const {
    for (const ErrorRow& row : rows) {
      if (row.code == code) row.thrower(location, code);
    }
    throw Other(location, code);
  }
};

/// The table of the given rows: `MakeErrorTable<Exception>(On<AccessDeniedException>(5), ...)`.
template <class Other, class... Rows>
constexpr ErrorTable<Other, sizeof...(Rows)> MakeErrorTable(Rows... rows) {
  return {{rows...}};
}

}  // namespace LCommon::System
