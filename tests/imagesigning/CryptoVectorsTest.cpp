#include <doctest/doctest.h>

#include <algorithm>
#include <array>
#include <string>
#include <string_view>

#include "imagesigning/ModularPower.h"
#include "imagesigning/Montgomery.h"
#include "imagesigning/Sha512.h"
#include "support/Throws.h"

using namespace LCommon::Crypto;

namespace {

using Number = std::array<unsigned char, 128>;

std::string DigestOf(std::string_view message, std::size_t step, Sha512::Compression compression) {
  Sha512 digest(compression);
  for (std::size_t at = 0; at < message.size(); at += step) {
    digest.Update(message.data() + at, std::min(step, message.size() - at));
  }
  unsigned char bytes[Sha512::DigestSize];
  digest.Finish(bytes);
  std::string text;
  for (const unsigned char byte : bytes) {
    text += {"0123456789abcdef"[byte >> 4], "0123456789abcdef"[byte & 15]};
  }
  return text;
}

/// 2^1024 - difference.
Number LargestBut(unsigned char difference) {
  Number number;
  number.fill(0xFF);
  number[0] = static_cast<unsigned char>(0x100 - difference);
  return number;
}

}  // namespace

TEST_CASE("SHA-512 of the published messages, in one piece or many") {
  const struct {
    std::string message;
    const char* digest;
  } Vectors[] = {
      {"abcdefghbcdefghicdefghijdefghijkefghijklfghijklmghijklmnhijklmno"
       "ijklmnopjklmnopqklmnopqrlmnopqrsmnopqrstnopqrstu",
       "8e959b75dae313da8cf4f72814fc143f8f7779c6eb9f7fa17299aeadb6889018"
       "501d289e4900f7e4331b99dec4b5433ac7d329eeb6dd26545e96e55b874be909"},
      {std::string(1'000'000, 'a'),
       "e718483d0ce769644e2e42c7bc15b4638e1f98b13b2044285632a803afa973eb"
       "de0ff244877ea60a4cb0432ce577c31beb009c5c2c49aa2e4eadb217ad8cc09b"},
  };
  for (const auto& [message, digest] : Vectors) {
    for (const std::size_t step : {1u, 7u, 700u, 1'000'000u}) {
      CHECK(DigestOf(message, step, Sha512::CompressPortable) == digest);
      CHECK(DigestOf(message, step, Sha512::FastestCompression()) == digest);
    }
  }
}

TEST_CASE("modular powers whose value is known without computing them") {
  // p = 2^1024 - 105 is prime, so that a^p = a modulo p.
  const Number p = LargestBut(105);
  const struct {
    const char* what;
    Number base, exponent, modulus, result;
  } Cases[] = {
      {"2^1024 mod p", Number{2}, Number{0, 4}, p, Number{105}},
      {"base^p", LargestBut(106), p, p, LargestBut(106)},
      {"the modulus as base", p, Number{1}, p, Number{0}},
      {"3^5 mod 13", Number{3}, Number{5}, Number{13}, Number{9}},
  };
  for (const auto& at : Cases) {
    CAPTURE(at.what);
    Number power;
    ModularPower(at.base.data(), at.exponent.data(), at.modulus.data(), power.data());
    CHECK(power == at.result);
    power = at.base;
    ModularPowerWithLimbs<std::uint32_t, std::uint64_t>(power.data(), at.exponent.data(), at.modulus.data(),
                                                        power.data());
    CHECK(power == at.result);
  }
}

TEST_CASE("a modulus that is even or 1 is refused") {
  const auto condition = [](Number modulus) {
    return Thrown([&] { ModularPower(modulus.data(), modulus.data(), modulus.data(), modulus.data()); });
  };
  CHECK(condition(Number{0}) == "modulus is odd");
  CHECK(condition(LargestBut(2)) == "modulus is odd");
  CHECK(condition(Number{1}) == "modulus > 1");
}
