#pragma once

namespace LCommon::Crypto {

/// result = base^exponent mod modulus. Each number is 128 bytes, least significant byte first; `result` may
/// be one of the operands. The base need not be below the modulus; with exponent 0 the result is 1. Asserts
/// that the modulus is odd and above 1. The time taken tells the numbers: for public ones only.
void ModularPower(const unsigned char* base, const unsigned char* exponent, const unsigned char* modulus,
                  unsigned char* result);

}  // namespace LCommon::Crypto
