#pragma once

#include "foundation/Buffer.h"
#include "foundation/UnicodeString.h"

namespace LCommon::System {

/// Twice `size`; throws `std::bad_alloc` when no buffer can be that large.
inline unsigned int Doubled(unsigned int size) {
  return LProduct(size, 2);
}

/// Text from a platform function that fills a caller's buffer without saying how much it needs. `read(buffer,
/// room)` gets room for `room` units, `firstRoom` at first, and a terminator, and answers whether the text is
/// there; while it is not, it is called with twice the room. It throws to report a failure. Returns the text
/// up to its first zero.
template <class Read>
LUnicodeString ReadGrowingText(unsigned int firstRoom, Read read) {
  LBuffer buffer;
  for (unsigned int room = firstRoom;; room = Doubled(room)) {
    buffer.SetSize(LProduct(room + 1ull, sizeof(wchar_t)));
    const LBufferLock lock(buffer);
    wchar_t* const units = reinterpret_cast<wchar_t*>(lock.Data());
    units[0] = 0;
    if (read(units, room)) break;
  }
  return LUnicodeString::FromZeroTerminated(buffer);
}

}  // namespace LCommon::System
