#pragma once

#include "foundation/Buffer.h"
#include "foundation/Object.h"
#include "imagesigning/Sha512.h"

namespace LCommon::Crypto {

/// The root of the signature scheme.
class DigiSign2 : public LObject {};

/// Checks a signature of a stream of bytes. The signature is a number that, raised to the public exponent
/// modulo the public modulus, gives a block of 128 bytes: the SHA-512 digest of the stream, then its first
/// bytes again as far as the block's last byte says. All numbers are stored least significant byte first.
class DigiSignValidator2 : public DigiSign2 {
 public:
  /// Bytes of the signature, the exponent and the modulus.
  static constexpr unsigned int SignatureSize = 128;

  /// Copies both numbers of the key and decodes the signature. Asserts that the signature has `SignatureSize`
  /// bytes and is not locked, and that the modulus is odd and above 1.
  DigiSignValidator2(const void* exponent, const void* modulus, LBuffer signature);
  ~DigiSignValidator2() noexcept(false) override;

  /// Feeds the next `size` bytes of the stream. Without effect after `IsValid`.
  void Update(const void* data, unsigned int size);
  /// 1 if the signature is that of the bytes fed so far, else 0. The first call decides: it erases the
  /// working state, and later calls give its answer again.
  unsigned int IsValid();

 private:
  struct WorkingState {
    unsigned char exponent[SignatureSize];
    unsigned char modulus[SignatureSize];
    unsigned char block[SignatureSize];  // signature^exponent mod modulus
    Sha512 digest;
  };

  bool MatchesBlock(const unsigned char* digest) const;

  WorkingState m_state;
  unsigned int m_done = 0;
  unsigned int m_answer = 0;
};

}  // namespace LCommon::Crypto
