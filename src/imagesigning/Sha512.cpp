#include "imagesigning/Sha512.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <utility>

#include "foundation/Toolchain.h"

namespace LCommon::Crypto {

namespace {

constexpr std::size_t Rounds = 80;
constexpr std::size_t WordsOfBlock = 16;

constexpr std::uint64_t InitialState[8] = {0x6a09e667f3bcc908, 0xbb67ae8584caa73b, 0x3c6ef372fe94f82b,
                                           0xa54ff53a5f1d36f1, 0x510e527fade682d1, 0x9b05688c2b3e6c1f,
                                           0x1f83d9abfb41bd6b, 0x5be0cd19137e2179};

constexpr std::uint64_t RoundConstants[Rounds] = {
    0x428a2f98d728ae22, 0x7137449123ef65cd, 0xb5c0fbcfec4d3b2f, 0xe9b5dba58189dbbc, 0x3956c25bf348b538,
    0x59f111f1b605d019, 0x923f82a4af194f9b, 0xab1c5ed5da6d8118, 0xd807aa98a3030242, 0x12835b0145706fbe,
    0x243185be4ee4b28c, 0x550c7dc3d5ffb4e2, 0x72be5d74f27b896f, 0x80deb1fe3b1696b1, 0x9bdc06a725c71235,
    0xc19bf174cf692694, 0xe49b69c19ef14ad2, 0xefbe4786384f25e3, 0x0fc19dc68b8cd5b5, 0x240ca1cc77ac9c65,
    0x2de92c6f592b0275, 0x4a7484aa6ea6e483, 0x5cb0a9dcbd41fbd4, 0x76f988da831153b5, 0x983e5152ee66dfab,
    0xa831c66d2db43210, 0xb00327c898fb213f, 0xbf597fc7beef0ee4, 0xc6e00bf33da88fc2, 0xd5a79147930aa725,
    0x06ca6351e003826f, 0x142929670a0e6e70, 0x27b70a8546d22ffc, 0x2e1b21385c26c926, 0x4d2c6dfc5ac42aed,
    0x53380d139d95b3df, 0x650a73548baf63de, 0x766a0abb3c77b2a8, 0x81c2c92e47edaee6, 0x92722c851482353b,
    0xa2bfe8a14cf10364, 0xa81a664bbc423001, 0xc24b8b70d0f89791, 0xc76c51a30654be30, 0xd192e819d6ef5218,
    0xd69906245565a910, 0xf40e35855771202a, 0x106aa07032bbd1b8, 0x19a4c116b8d2d0c8, 0x1e376c085141ab53,
    0x2748774cdf8eeb99, 0x34b0bcb5e19b48a8, 0x391c0cb3c5c95a63, 0x4ed8aa4ae3418acb, 0x5b9cca4f7763e373,
    0x682e6ff3d6b2b8a3, 0x748f82ee5defb2fc, 0x78a5636f43172f60, 0x84c87814a1f0ab72, 0x8cc702081a6439ec,
    0x90befffa23631e28, 0xa4506cebde82bde9, 0xbef9a3f7b2c67915, 0xc67178f2e372532b, 0xca273eceea26619c,
    0xd186b8c721c0c207, 0xeada7dd6cde0eb1e, 0xf57d4f7fee6ed178, 0x06f067aa72176fba, 0x0a637dc5a2c898a6,
    0x113f9804bef90dae, 0x1b710b35131c471b, 0x28db77f523047d84, 0x32caab7b40c72493, 0x3c9ebe0a15c9bebc,
    0x431d67c49c100d4c, 0x4cc5d4becb3e42b6, 0x597f299cfc657e2a, 0x5fcb6fab3ad6faec, 0x6c44198c4a475817};

std::uint64_t ReadBigEndian(const unsigned char* bytes) {
  return std::uint64_t{bytes[0]} << 56 | std::uint64_t{bytes[1]} << 48 | std::uint64_t{bytes[2]} << 40 |
         std::uint64_t{bytes[3]} << 32 | std::uint64_t{bytes[4]} << 24 | std::uint64_t{bytes[5]} << 16 |
         std::uint64_t{bytes[6]} << 8 | std::uint64_t{bytes[7]};
}

void StoreBigEndian(unsigned char* bytes, std::uint64_t number) {
  for (int index = 0; index < 8; ++index) {
    bytes[index] = static_cast<unsigned char>(number >> (56 - 8 * index));
  }
}

/// The message schedules of as many blocks as `Words` has words: word t of block l is words[t][l].
template <class Words>
struct Schedule {
  static constexpr std::size_t Blocks = sizeof(Words) / sizeof(std::uint64_t);

  std::uint64_t words[Rounds][Blocks];

  /// The first words, from `count` blocks in a row. Blocks beyond `count` repeat the first one.
  L_ALWAYS_INLINE void Load(const unsigned char* blocks, std::size_t count) {
    for (std::size_t block = 0; block < Blocks; ++block) {
      const unsigned char* const source = blocks + (block < count ? block : 0) * Sha512::BlockSize;
      for (std::size_t t = 0; t < WordsOfBlock; ++t) {
        words[t][block] = ReadBigEndian(source + t * sizeof(std::uint64_t));
      }
    }
  }

  /// Word t of all blocks from the sixteen words before it.
  L_ALWAYS_INLINE void Extend(std::size_t t) {
    // Copied, not referred to: the array need not be aligned as `Words` are.
    Words w2, w7, w15, w16;
    std::memcpy(&w2, words[t - 2], sizeof(Words));
    std::memcpy(&w7, words[t - 7], sizeof(Words));
    std::memcpy(&w15, words[t - 15], sizeof(Words));
    std::memcpy(&w16, words[t - 16], sizeof(Words));
    const Words sigma0 = (w15 >> 1 | w15 << 63) ^ (w15 >> 8 | w15 << 56) ^ w15 >> 7;
    const Words sigma1 = (w2 >> 19 | w2 << 45) ^ (w2 >> 61 | w2 << 3) ^ w2 >> 6;
    const Words word = w16 + sigma0 + w7 + sigma1;
    std::memcpy(words[t], &word, sizeof(Words));
  }
};

/// The working variables. Instead of moving from one to the next with every round they stay in place, and
/// round t calls them by other names.
struct Variables {
  std::uint64_t v[8];
  std::uint64_t bXorC;  // a ^ b of one round is b ^ c of the next

  template <std::size_t T>
  L_ALWAYS_INLINE void Round(std::uint64_t input) {
    const std::uint64_t a = v[(8 - T) % 8], b = v[(9 - T) % 8];
    const std::uint64_t e = v[(12 - T) % 8], f = v[(13 - T) % 8], g = v[(14 - T) % 8];
    std::uint64_t& d = v[(11 - T) % 8];
    std::uint64_t& h = v[(15 - T) % 8];

    h += input;
    h += (e & f) + (~e & g);
    h += std::rotr(e, 14) ^ std::rotr(e, 18) ^ std::rotr(e, 41);
    d += h;
    const std::uint64_t aXorB = a ^ b;
    h += std::rotr(a, 28) ^ std::rotr(a, 34) ^ std::rotr(a, 39);
    h += b ^ (aXorB & bXorC);  // the majority of a, b and c
    bXorC = aXorB;
  }
};

/// Rounds t to t + 7 of one block. `Extending` also computes the words that the rounds sixteen later take, so
/// that the processor works on both at once.
template <bool Extending, class Words, std::size_t... I>
L_ALWAYS_INLINE void EightRounds(Variables& variables, Schedule<Words>& schedule, std::size_t t,
                                 std::size_t block, std::index_sequence<I...>) {
  ((Extending ? schedule.Extend(t + I + WordsOfBlock) : void(),
    variables.template Round<I>(schedule.words[t + I][block] + RoundConstants[t + I])),
   ...);
}

template <class Words>
L_ALWAYS_INLINE void Compress(std::uint64_t* state, const unsigned char* blocks, std::size_t count) {
  constexpr std::make_index_sequence<8> EightIndexes{};
  Schedule<Words> schedule;
  while (count > 0) {
    const std::size_t taken = std::min(count, Schedule<Words>::Blocks);
    schedule.Load(blocks, taken);
    for (std::size_t block = 0; block < taken; ++block) {
      Variables variables;
      std::copy_n(state, 8, variables.v);
      variables.bXorC = state[1] ^ state[2];
      std::size_t t = 0;
      if (block == 0) {
        for (; t < Rounds - WordsOfBlock; t += 8) {
          EightRounds<true>(variables, schedule, t, block, EightIndexes);
        }
      }
      for (; t < Rounds; t += 8) {
        EightRounds<false>(variables, schedule, t, block, EightIndexes);
      }
      for (std::size_t index = 0; index < 8; ++index) {
        state[index] += variables.v[index];
      }
    }
    blocks += taken * Sha512::BlockSize;
    count -= taken;
  }
}

L_VECTOR_CODE void CompressWithVectorUnit(std::uint64_t* state, const unsigned char* blocks,
                                          std::size_t count) {
  Compress<LVectorWords>(state, blocks, count);
}

}  // namespace

void Sha512::CompressPortable(std::uint64_t* state, const unsigned char* blocks, std::size_t count) {
  Compress<std::uint64_t>(state, blocks, count);
}

Sha512::Compression Sha512::FastestCompression() {
  return LHasVectorUnit() ? CompressWithVectorUnit : CompressPortable;
}

Sha512::Sha512(Compression compression) : m_compression(compression) {
  std::copy_n(InitialState, 8, m_state);
}

void Sha512::Update(const void* data, std::size_t size) {
  const unsigned char* bytes = static_cast<const unsigned char*>(data);
  const std::size_t waiting = static_cast<std::size_t>(m_size % BlockSize);
  m_size += size;
  if (waiting > 0) {
    const std::size_t added = std::min(size, BlockSize - waiting);
    std::copy_n(bytes, added, m_block + waiting);
    if (waiting + added < BlockSize) return;
    m_compression(m_state, m_block, 1);
    bytes += added;
    size -= added;
  }
  m_compression(m_state, bytes, size / BlockSize);
  const std::size_t rest = size % BlockSize;
  std::copy_n(bytes + (size - rest), rest, m_block);
}

void Sha512::Finish(unsigned char* digest) {
  // One bit, zeros, and the length in bits as a number of sixteen bytes at the end of a block. Its upper half
  // is what the 64-bit count of bytes loses by the shift.
  constexpr std::size_t LengthOffset = BlockSize - 16;
  constexpr unsigned char Padding[BlockSize] = {0x80};
  unsigned char length[16];
  StoreBigEndian(length, m_size >> 61);
  StoreBigEndian(length + 8, m_size << 3);
  const std::size_t waiting = static_cast<std::size_t>(m_size % BlockSize);
  Update(Padding, (waiting < LengthOffset ? LengthOffset : LengthOffset + BlockSize) - waiting);
  Update(length, sizeof(length));
  for (std::size_t index = 0; index < 8; ++index) {
    StoreBigEndian(digest + 8 * index, m_state[index]);
  }
}

}  // namespace LCommon::Crypto
