#pragma once

#include <cstddef>

#include "foundation/Assert.h"

namespace LCommon::System {

/// `index`, which must be below `count`: anything else ends in the assertion "Unreachable point".
inline unsigned int CheckedIndex(unsigned int index, std::size_t count) {
  if (index >= count) L_UNREACHABLE();
  return index;
}

/// The entry of a table that has one for each value of an enumeration from 0 on; a value without an entry
/// ends in the same assertion.
template <class T, std::size_t Count>
T EntryFor(const T (&table)[Count], unsigned int value) {
  return table[CheckedIndex(value, Count)];
}

}  // namespace LCommon::System
