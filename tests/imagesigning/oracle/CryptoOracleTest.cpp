#include <doctest/doctest.h>
#include <openssl/bn.h>
#include <openssl/sha.h>

#include <algorithm>
#include <array>
#include <memory>
#include <random>
#include <vector>

#include "imagesigning/ModularPower.h"
#include "imagesigning/Montgomery.h"
#include "imagesigning/Sha512.h"

using namespace LCommon::Crypto;

namespace {

constexpr unsigned int Seed = 20240817;

using Number = std::array<unsigned char, 128>;

Number OpenSslPower(const Number& base, const Number& exponent, const Number& modulus) {
  using BigNumber = std::unique_ptr<BIGNUM, decltype(&BN_free)>;
  const auto import = [](const Number& number) {
    return BigNumber(BN_lebin2bn(number.data(), static_cast<int>(number.size()), nullptr), BN_free);
  };
  const std::unique_ptr<BN_CTX, decltype(&BN_CTX_free)> context(BN_CTX_new(), BN_CTX_free);
  const BigNumber power(BN_new(), BN_free);
  Number result;
  REQUIRE(BN_mod_exp(power.get(), import(base).get(), import(exponent).get(), import(modulus).get(),
                     context.get()) == 1);
  REQUIRE(BN_bn2lebinpad(power.get(), result.data(), static_cast<int>(result.size())) == 128);
  return result;
}

unsigned int Below(std::mt19937& random, unsigned int limit) {
  return static_cast<unsigned int>(random() % limit);
}

/// Up to `bits` bits. Whole runs of bytes are 00 or FF now and then: that is where carries go wrong.
Number RandomNumber(std::mt19937& random, unsigned int bits) {
  Number number{};
  unsigned int run = 0, kind = 0;
  for (unsigned int index = 0; index < (bits + 7) / 8; ++index, --run) {
    if (run == 0) run = 1 + Below(random, 24), kind = Below(random, 4);
    number[index] = static_cast<unsigned char>(kind == 0 ? 0 : kind == 1 ? 0xFF : random());
  }
  if (bits % 8 != 0) number[bits / 8] &= static_cast<unsigned char>((1u << bits % 8) - 1);
  return number;
}

}  // namespace

TEST_CASE("SHA-512 of any bytes in any pieces is OpenSSL's") {
  std::mt19937 random(Seed);
  for (unsigned int round = 0; round < 1000; ++round) {
    CAPTURE(Seed);
    CAPTURE(round);
    std::vector<unsigned char> message(round < 600 ? round : Below(random, 5000));
    std::generate(message.begin(), message.end(), [&] { return static_cast<unsigned char>(random()); });
    std::array<unsigned char, 64> expected, found;
    SHA512(message.data(), message.size(), expected.data());
    for (const auto compression : {Sha512::CompressPortable, Sha512::FastestCompression()}) {
      Sha512 digest(compression);
      const unsigned int largest = Below(random, 2) == 0 ? 9 : 1200;
      for (std::size_t at = 0, size = 0; at < message.size(); at += size) {
        size = std::min<std::size_t>(Below(random, largest), message.size() - at);
        digest.Update(message.data() + at, size);
      }
      digest.Finish(found.data());
      REQUIRE(found == expected);
    }
  }
}

TEST_CASE("modular powers with limbs of either width are OpenSSL's") {
  std::mt19937 random(Seed);
  for (unsigned int round = 0; round < 400; ++round) {
    CAPTURE(Seed);
    CAPTURE(round);
    const unsigned int modulusBits = round % 2 == 0 ? 1024 : 2 + Below(random, 1022);
    Number modulus = RandomNumber(random, modulusBits);
    modulus[0] |= 1;
    modulus[(modulusBits - 1) / 8] |= static_cast<unsigned char>(1u << (modulusBits - 1) % 8);
    constexpr unsigned int ExponentBits[] = {0, 1, 17, 64, 1024};
    const Number exponent = RandomNumber(random, ExponentBits[Below(random, 5)]);
    const Number base = RandomNumber(random, 1024u >> Below(random, 3));
    const Number expected = OpenSslPower(base, exponent, modulus);
    Number power;
    ModularPower(base.data(), exponent.data(), modulus.data(), power.data());
    REQUIRE(power == expected);
    ModularPowerWithLimbs<std::uint32_t, std::uint64_t>(base.data(), exponent.data(), modulus.data(),
                                                        power.data());
    REQUIRE(power == expected);
  }
}
