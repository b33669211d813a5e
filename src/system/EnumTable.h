#pragma once

#include <cstddef>

#include "foundation/Assert.h"

namespace LCommon::System {

/// The entry of a table that has one for each value of an enumeration from 0 on; a value without an entry
/// ends in the assertion "Unreachable point".
template <class T, std::size_t Count>
T EntryFor(const T (&table)[Count], unsigned int value) {
  if (value >= Count) L_UNREACHABLE();
  return table[value];
}

}  // namespace LCommon::System
