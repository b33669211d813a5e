#include "imagesigning/ModularPower.h"

#include "foundation/Assert.h"
#include "imagesigning/Montgomery.h"

namespace LCommon::Crypto {

void ModularPower(const unsigned char* base, const unsigned char* exponent, const unsigned char* modulus,
                  unsigned char* result) {
  using Arithmetic = Montgomery<LLimb, LDoubleLimb>;
  L_ASSERT_TEXT(modulus[0] % 2 == 1, "modulus is odd");
  L_ASSERT_TEXT(Arithmetic::BitWidth(Arithmetic::Read(modulus)) > 1, "modulus > 1");
  ModularPowerWithLimbs<LLimb, LDoubleLimb>(base, exponent, modulus, result);
}

}  // namespace LCommon::Crypto
