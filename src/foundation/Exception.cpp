#include "foundation/Exception.h"

#include <algorithm>
#include <cstring>

LMessageException::LMessageException(LLocation location, const char* message) : LBaseException(location) {
  const std::size_t length = std::min<std::size_t>(std::strlen(message), MaximalLength);
  std::memcpy(m_message, message, length);
  m_message[length] = '\0';
}

namespace LCommon::System {

unsigned int WindowsErrorException::GetSystemErrorCode() const {
  constexpr unsigned int StatusUnsuccessful = 0xC0000001;
  return StoredCode() != 0 ? StatusUnsuccessful : 0;
}

}  // namespace LCommon::System
