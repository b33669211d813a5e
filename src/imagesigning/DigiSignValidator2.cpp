#include "imagesigning/DigiSignValidator2.h"

#include <algorithm>
#include <cstring>
#include <type_traits>

#include "foundation/Assert.h"
#include "foundation/SecureClear.h"
#include "imagesigning/ModularPower.h"

namespace LCommon::Crypto {

DigiSignValidator2::DigiSignValidator2(const void* exponent, const void* modulus, LBuffer signature) {
  static_assert(std::is_trivially_copyable_v<WorkingState>, "it is erased as bytes");
  L_ASSERT(signature.Size() == SignatureSize);
  std::memcpy(m_state.exponent, exponent, SignatureSize);
  std::memcpy(m_state.modulus, modulus, SignatureSize);
  ModularPower(signature.Data(), m_state.exponent, m_state.modulus, m_state.block);
}

DigiSignValidator2::~DigiSignValidator2() noexcept(false) {
  LSecureClear(&m_state, sizeof(m_state));
}

void DigiSignValidator2::Update(const void* data, unsigned int size) {
  if (m_done == 0) m_state.digest.Update(data, size);
}

unsigned int DigiSignValidator2::IsValid() {
  if (m_done == 0) {
    unsigned char digest[Sha512::DigestSize];
    m_state.digest.Finish(digest);
    m_answer = MatchesBlock(digest) ? 1 : 0;
    LSecureClear(&m_state, sizeof(m_state));
    m_done = 1;
  }
  return m_answer;
}

bool DigiSignValidator2::MatchesBlock(const unsigned char* digest) const {
  constexpr std::size_t LastByte = SignatureSize - 1;
  constexpr std::size_t MostRepeated = LastByte - Sha512::DigestSize;
  const unsigned char* const block = m_state.block;
  const std::size_t unused = block[LastByte];
  return unused <= MostRepeated && std::equal(digest, digest + Sha512::DigestSize, block) &&
         std::equal(digest, digest + (MostRepeated - unused), block + Sha512::DigestSize);
}

}  // namespace LCommon::Crypto
