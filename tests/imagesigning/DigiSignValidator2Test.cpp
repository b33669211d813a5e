#include <doctest/doctest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <new>
#include <string_view>

#include "imagesigning/DigiSignValidator2.h"
#include "support/FailedCondition.h"
#include "support/TestHeap.h"

using namespace LCommon::Crypto;

namespace {

using Block = std::array<unsigned char, DigiSignValidator2::SignatureSize>;

constexpr std::string_view Stream = "the bytes of an image";

/// With exponent 1 the signature is the decoded block itself, as long as that is below the modulus.
const Block Exponent = {1};
const Block Modulus = [] {
  Block modulus;
  modulus.fill(0xFF);
  return modulus;
}();

/// The right block for `Stream` that ends in `unused`, with no byte left undetermined.
Block BlockFor(unsigned int unused) {
  Block block;
  Sha512 digest;
  digest.Update(Stream.data(), Stream.size());
  digest.Finish(block.data());
  std::copy_n(block.begin(), 63, block.begin() + 64);
  block[127] = static_cast<unsigned char>(unused);
  return block;
}

LBuffer Signature(const Block& block) {
  return LBuffer(block.data(), static_cast<unsigned int>(block.size()));
}

unsigned int IsValid(const Block& block) {
  DigiSignValidator2 validator(Exponent.data(), Modulus.data(), Signature(block));
  validator.Update(Stream.data(), 4);
  validator.Update(Stream.data() + 4, static_cast<unsigned int>(Stream.size() - 4));
  return validator.IsValid();
}

}  // namespace

TEST_CASE("the last byte of the block says how much of the digest is repeated and examined") {
  TestHeap heap;
  for (const unsigned int unused : {0u, 1u, 30u, 62u, 63u}) {
    CAPTURE(unused);
    CHECK(IsValid(BlockFor(unused)) == 1);
    for (unsigned int changed = 0; changed < 127; ++changed) {
      CAPTURE(changed);
      Block block = BlockFor(unused);
      block[changed] ^= 0x40;
      CHECK(IsValid(block) == (changed >= 127 - unused ? 1u : 0u));
    }
  }
  for (const unsigned int unused : {64u, 65u, 127u, 128u, 255u}) {
    CAPTURE(unused);
    CHECK(IsValid(BlockFor(unused)) == 0);
  }
}

TEST_CASE("a signature that is not of the signature's size is refused") {
  TestHeap heap;
  const unsigned char bytes[129] = {};
  for (const unsigned int size : {0u, 127u, 129u}) {
    CHECK(FailedCondition([&] {
            DigiSignValidator2(Exponent.data(), Modulus.data(), LBuffer(bytes, size));
          }) == "signature.Size() == SignatureSize");
  }
}

TEST_CASE("the answer stands, and the working state is erased with it or with the object") {
  TestHeap heap;
  for (const bool asked : {false, true}) {
    CAPTURE(asked);
    alignas(DigiSignValidator2) unsigned char storage[sizeof(DigiSignValidator2)];
    std::memset(storage, 0xAA, sizeof(storage));
    auto* const validator =
        ::new (storage) DigiSignValidator2(Exponent.data(), Modulus.data(), Signature(BlockFor(9)));
    validator->Update(Stream.data(), static_cast<unsigned int>(Stream.size()));

    const volatile unsigned char* const stateBegin = storage + sizeof(DigiSign2);
    const volatile unsigned char* const stateEnd = storage + sizeof(storage) - 2 * sizeof(unsigned int);
    const auto erased = [&] {
      return std::all_of(stateBegin, stateEnd, [](unsigned char byte) { return byte == 0; });
    };
    CHECK(std::equal(Exponent.begin(), Exponent.end(), stateBegin));
    if (asked) {
      CHECK(validator->IsValid() == 1);
      CHECK(erased());
      validator->Update(Stream.data(), 1);
      CHECK(validator->IsValid() == 1);
      CHECK(erased());
    }
    validator->~DigiSignValidator2();
    CHECK(erased());
  }
}
