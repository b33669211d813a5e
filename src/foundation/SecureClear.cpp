#include "foundation/SecureClear.h"

void LSecureClear(void* data, std::size_t size) {
  volatile unsigned char* const bytes = static_cast<volatile unsigned char*>(data);
  for (std::size_t index = 0; index < size; ++index) {
    bytes[index] = 0;
  }
}
