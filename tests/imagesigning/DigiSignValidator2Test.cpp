#include <doctest/doctest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <new>
#include <string_view>

#include "imagesigning/DigiSignValidator2.h"
#include "support/TestHeap.h"
#include "support/Throws.h"

using namespace LCommon::Crypto;

namespace {

using Block = std::array<unsigned char, DigiSignValidator2::SignatureSize>;

constexpr std::string_view Stream = "the bytes of an image";

// With exponent 1 the signature is the decoded block itself, as long as that is below the modulus.
const Block Exponent = {1};
const Block Modulus = [] {
  Block modulus;
  modulus.fill(0xFF);
  return modulus;
}();

/// The right block for `Stream` that ends in `unused`, with the digest repeated as far as there is room.
Block BlockFor(unsigned int unused) {
  Block block;
  Sha512 digest;
  digest.Update(Stream.data(), Stream.size());
  digest.Finish(block.data());
  std::copy_n(block.begin(), 63, block.begin() + 64);
  block[127] = static_cast<unsigned char>(unused);
  return block;
}

unsigned int IsValid(const Block& block) {
  DigiSignValidator2 validator(Exponent.data(), Modulus.data(), LBuffer(block.data(), 128));
  validator.Update(Stream.data(), 4);
  validator.Update(Stream.data() + 4, static_cast<unsigned int>(Stream.size() - 4));
  return validator.IsValid();
}

}  // namespace

TEST_CASE("the last byte of the block says how much of the digest is repeated") {
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

TEST_CASE("a signature of any other size is refused") {
  TestHeap heap;
  const unsigned char bytes[129] = {};
  for (const unsigned int size : {0u, 127u, 129u}) {
    const LBuffer signature(bytes, size);
    CHECK(Thrown([&] { DigiSignValidator2(Exponent.data(), Modulus.data(), signature); }) ==
          "signature.Size() == SignatureSize");
  }
}

TEST_CASE("the answer stands, and the working state is erased with it or with the object") {
  TestHeap heap;
  for (const bool asked : {false, true}) {
    CAPTURE(asked);
    alignas(DigiSignValidator2) unsigned char storage[sizeof(DigiSignValidator2)];
    std::memset(storage, 0xAA, sizeof(storage));
    auto* const validator =
        ::new (storage) DigiSignValidator2(Exponent.data(), Modulus.data(), LBuffer(BlockFor(9).data(), 128));
    validator->Update(Stream.data(), static_cast<unsigned int>(Stream.size()));

    const volatile unsigned char* const begin = storage + std::max(sizeof(DigiSign2), alignof(std::uint64_t));
    const volatile unsigned char* const end = storage + sizeof(storage) - 2 * sizeof(unsigned int);
    const auto erased = [&] { return std::all_of(begin, end, [](unsigned char byte) { return byte == 0; }); };
    CHECK(std::equal(Exponent.begin(), Exponent.end(), begin));
    for (int call = 0; call < 2 && asked; ++call) {
      CHECK(validator->IsValid() == 1);
      validator->Update(Stream.data(), 1);
      CHECK(erased());
    }
    validator->~DigiSignValidator2();
    CHECK(erased());
  }
}
