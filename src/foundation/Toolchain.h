#pragma once

#include <cstdint>

// The one place that knows compilers and processors apart.

#if defined(_MSC_VER)
#define L_FUNCTION __FUNCSIG__
#define L_ALWAYS_INLINE __forceinline
#else
#define L_FUNCTION __PRETTY_FUNCTION__
#define L_ALWAYS_INLINE inline __attribute__((always_inline))
#endif

// LLimb is the digit of long arithmetic: the widest whose product, an LDoubleLimb, the compiler offers.
#if defined(__SIZEOF_INT128__)
using LLimb = std::uint64_t;
using LDoubleLimb = unsigned __int128;
#else
using LLimb = std::uint32_t;
using LDoubleLimb = std::uint64_t;
#endif

// LVectorWords is one or several 64-bit words for the operators + ^ | << >>, as many as the vector unit takes
// at once. Code that uses it is marked L_VECTOR_CODE and runs only where LHasVectorUnit says so. Where the
// target or the compiler has no such unit, one word stands for it and nobody asks for that code.
#if defined(__GNUC__) && defined(__x86_64__)
typedef std::uint64_t LVectorWords __attribute__((vector_size(32)));
#define L_VECTOR_CODE __attribute__((target("avx2,bmi,bmi2")))

inline bool LHasVectorUnit() {
  return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi") && __builtin_cpu_supports("bmi2");
}
#else
using LVectorWords = std::uint64_t;
#define L_VECTOR_CODE

constexpr bool LHasVectorUnit() {
  return false;
}
#endif
