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

void StoreBigEndian(unsigned char* bytes, std::uint64_t number) {
  for (int index = 0; index < 8; ++index) {
    bytes[index] = static_cast<unsigned char>(number >> (56 - 8 * index));
  }
}

constexpr std::make_index_sequence<WordsOfBlock / 2> PairIndexes{};

/// The message schedule, as far as one turn of sixteen rounds needs it, two words at a time.
template <class Pair>
struct Schedule {
  Pair words[WordsOfBlock / 2];
  std::uint64_t inputs[WordsOfBlock];  // the words, each with the constant of its round added

  template <std::size_t I>
  L_ALWAYS_INLINE void Read(const unsigned char* block) {
    LReadBigEndian(block + 16 * I, words[I]);
    StoreInputs<I>(0);
  }

  /// Replaces a pair by that of sixteen rounds later; those before it are replaced already. `turn` is the
  /// first of these later rounds.
  template <std::size_t I>
  L_ALWAYS_INLINE void Extend(std::size_t turn) {
    const Pair second = LMiddleWords(words[I], words[(I + 1) % 8]);
    const Pair tenth = LMiddleWords(words[(I + 4) % 8], words[(I + 5) % 8]);
    const Pair last = words[(I + 7) % 8];
    const Pair sigma0 = (second >> 1 | second << 63) ^ (second >> 8 | second << 56) ^ second >> 7;
    const Pair sigma1 = (last >> 19 | last << 45) ^ (last >> 61 | last << 3) ^ last >> 6;
    words[I] = words[I] + tenth + sigma0 + sigma1;
    StoreInputs<I>(turn);
  }

 private:
  template <std::size_t I>
  L_ALWAYS_INLINE void StoreInputs(std::size_t turn) {
    Pair pair;
    std::memcpy(&pair, &RoundConstants[turn + 2 * I], sizeof(pair));
    pair = pair + words[I];
    std::memcpy(&inputs[2 * I], &pair, sizeof(pair));
  }
};

/// The working variables. They stay in place instead of moving on by one with each round: round t calls them
/// by other names.
struct Variables {
  std::uint64_t v[8];
  std::uint64_t bXorC;  // a ^ b of one round is b ^ c of the next

  template <std::size_t T>
  L_ALWAYS_INLINE void Round(std::uint64_t input) {
    const std::uint64_t a = v[(16 - T) % 8], b = v[(17 - T) % 8];
    const std::uint64_t e = v[(20 - T) % 8], f = v[(21 - T) % 8], g = v[(22 - T) % 8];
    std::uint64_t& d = v[(19 - T) % 8];
    std::uint64_t& h = v[(23 - T) % 8];

    h += input;
    const std::uint64_t sumOfE = std::rotr(e, 14) ^ std::rotr(e, 18) ^ std::rotr(e, 41);
    h += e & f;  // with the next line: f where e has a one, else g
    h += ~e & g;
    h += sumOfE;
    d += h;
    const std::uint64_t aXorB = a ^ b;
    const std::uint64_t sumOfA = std::rotr(a, 28) ^ std::rotr(a, 34) ^ std::rotr(a, 39);
    h += b ^ (aXorB & bXorC);  // the majority of a, b and c
    h += sumOfA;
    bXorC = aXorB;
  }
};

/// Sixteen rounds. Each pair of inputs that they are done with is replaced at once, so that the processor
/// works on rounds and schedule together: by the pair for round `turn` and its followers, or, after the last
/// turn, by that of the block at `next`.
template <bool IsLast, class Pair, std::size_t... I>
L_ALWAYS_INLINE void SixteenRounds(Variables& variables, Schedule<Pair>& schedule, std::size_t turn,
                                   const unsigned char* next, std::index_sequence<I...>) {
  ((variables.template Round<2 * I>(schedule.inputs[2 * I]),
    variables.template Round<2 * I + 1>(schedule.inputs[2 * I + 1]),
    IsLast ? schedule.template Read<I>(next) : schedule.template Extend<I>(turn)),
   ...);
}

template <class Pair, std::size_t... I>
L_ALWAYS_INLINE void ReadBlock(Schedule<Pair>& schedule, const unsigned char* block,
                               std::index_sequence<I...>) {
  (schedule.template Read<I>(block), ...);
}

template <class Pair>
L_ALWAYS_INLINE void Compress(std::uint64_t* state, const unsigned char* blocks, std::size_t count) {
  if (count == 0) return;
  Schedule<Pair> schedule;
  ReadBlock(schedule, blocks, PairIndexes);
  for (; count > 0; --count) {
    Variables variables;
    std::copy_n(state, 8, variables.v);
    variables.bXorC = state[1] ^ state[2];
    for (std::size_t turn = WordsOfBlock; turn < Rounds; turn += WordsOfBlock) {
      SixteenRounds<false>(variables, schedule, turn, nullptr, PairIndexes);
    }
    if (count > 1) blocks += Sha512::BlockSize;  // behind the last block it reads that block again
    SixteenRounds<true>(variables, schedule, Rounds, blocks, PairIndexes);
    for (std::size_t index = 0; index < 8; ++index) {
      state[index] += variables.v[index];
    }
  }
}

L_VECTOR_CODE void CompressWithVectorUnit(std::uint64_t* state, const unsigned char* blocks,
                                          std::size_t count) {
  Compress<LWordPair>(state, blocks, count);
}

}  // namespace

void Sha512::CompressPortable(std::uint64_t* state, const unsigned char* blocks, std::size_t count) {
  Compress<LPlainWordPair>(state, blocks, count);
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
