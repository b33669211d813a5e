#pragma once

#include <cstdint>
#include <cstring>

// The one place that knows compilers and processors apart.

#if defined(_MSC_VER)
#define L_FUNCTION __FUNCSIG__
#define L_ALWAYS_INLINE __forceinline
#else
#define L_FUNCTION __PRETTY_FUNCTION__
#define L_ALWAYS_INLINE inline __attribute__((always_inline))
#endif

// What only the run-time library calls: it stays when the whole program is compiled as one.
#if defined(__GNUC__) && !defined(__clang__)
#define L_CALLED_BY_RUNTIME __attribute__((externally_visible))
#else
#define L_CALLED_BY_RUNTIME
#endif

// LLimb is the digit of long arithmetic: the widest whose product, an LDoubleLimb, the compiler offers.
#if defined(__SIZEOF_INT128__)
using LLimb = std::uint64_t;
using LDoubleLimb = unsigned __int128;
#else
using LLimb = std::uint32_t;
using LDoubleLimb = std::uint64_t;
#endif

/// Two 64-bit words; the operators act on both.
struct LPlainWordPair {
  std::uint64_t low;
  std::uint64_t high;

  friend L_ALWAYS_INLINE LPlainWordPair operator+(LPlainWordPair a, LPlainWordPair b) {
    return {a.low + b.low, a.high + b.high};
  }
  friend L_ALWAYS_INLINE LPlainWordPair operator^(LPlainWordPair a, LPlainWordPair b) {
    return {a.low ^ b.low, a.high ^ b.high};
  }
  friend L_ALWAYS_INLINE LPlainWordPair operator|(LPlainWordPair a, LPlainWordPair b) {
    return {a.low | b.low, a.high | b.high};
  }
  friend L_ALWAYS_INLINE LPlainWordPair operator<<(LPlainWordPair a, int count) {
    return {a.low << count, a.high << count};
  }
  friend L_ALWAYS_INLINE LPlainWordPair operator>>(LPlainWordPair a, int count) {
    return {a.low >> count, a.high >> count};
  }
};

/// The number in the 8 bytes at `bytes`, most significant byte first. Spelled out: compilers know this form.
L_ALWAYS_INLINE std::uint64_t LReadBigEndian(const unsigned char* bytes) {
  return std::uint64_t{bytes[0]} << 56 | std::uint64_t{bytes[1]} << 48 | std::uint64_t{bytes[2]} << 40 |
         std::uint64_t{bytes[3]} << 32 | std::uint64_t{bytes[4]} << 24 | std::uint64_t{bytes[5]} << 16 |
         std::uint64_t{bytes[6]} << 8 | std::uint64_t{bytes[7]};
}

/// Reads two such numbers from 16 bytes.
L_ALWAYS_INLINE void LReadBigEndian(const unsigned char* bytes, LPlainWordPair& words) {
  words = {LReadBigEndian(bytes), LReadBigEndian(bytes + 8)};
}

/// The high word of `a`, then the low word of `b`.
L_ALWAYS_INLINE LPlainWordPair LMiddleWords(LPlainWordPair a, LPlainWordPair b) {
  return {a.high, b.low};
}

// LWordPair is the same in a register of the vector unit. Functions that work on it are marked L_VECTOR_CODE
// and run only where LHasVectorUnit says so. Registers of 16 bytes, because not every compiler for 64-bit
// Windows aligns the stack for larger ones.
#if defined(__GNUC__) && defined(__x86_64__)
typedef std::uint64_t LWordPair __attribute__((vector_size(16)));
typedef unsigned char LBytesOfWordPair __attribute__((vector_size(16)));
#define L_VECTOR_CODE __attribute__((target("avx,bmi,bmi2")))

L_ALWAYS_INLINE void LReadBigEndian(const unsigned char* bytes, LWordPair& words) {
  LBytesOfWordPair stored;
  std::memcpy(&stored, bytes, sizeof(stored));
  words = reinterpret_cast<LWordPair>(
      __builtin_shufflevector(stored, stored, 7, 6, 5, 4, 3, 2, 1, 0, 15, 14, 13, 12, 11, 10, 9, 8));
}

L_ALWAYS_INLINE LWordPair LMiddleWords(LWordPair a, LWordPair b) {
  return __builtin_shufflevector(a, b, 1, 2);
}

inline bool LHasVectorUnit() {
  return __builtin_cpu_supports("avx") && __builtin_cpu_supports("bmi") && __builtin_cpu_supports("bmi2");
}
#else
using LWordPair = LPlainWordPair;
#define L_VECTOR_CODE

constexpr bool LHasVectorUnit() {
  return false;
}
#endif
