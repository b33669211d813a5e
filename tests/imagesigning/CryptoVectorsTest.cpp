#include <doctest/doctest.h>

#include <algorithm>
#include <array>
#include <string>
#include <string_view>

#include "imagesigning/ModularPower.h"
#include "imagesigning/Montgomery.h"
#include "imagesigning/Sha512.h"
#include "support/FailedCondition.h"

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
    text += "0123456789abcdef"[byte >> 4];
    text += "0123456789abcdef"[byte & 15];
  }
  return text;
}

/// 2^bit + addend, without carry beyond the lowest byte.
Number Power(unsigned int bit, unsigned char addend = 0) {
  Number number{};
  number[bit / 8] = static_cast<unsigned char>(1u << bit % 8);
  number[0] = static_cast<unsigned char>(number[0] + addend);
  return number;
}

Number Small(unsigned char value) {
  return Number{value};
}

/// 2^bits - below, for `bits` a multiple of 8 or one more, and `below` in a byte.
Number JustBelow(unsigned int bits, unsigned char below) {
  Number number{};
  std::fill_n(number.begin(), bits / 8, static_cast<unsigned char>(0xFF));
  if (bits % 8 != 0) number[bits / 8] = static_cast<unsigned char>((1u << bits % 8) - 1);
  number[0] = static_cast<unsigned char>(0x100 - below);
  return number;
}

}  // namespace

TEST_CASE("SHA-512 of the published messages, in one piece or many") {
  const struct {
    std::string message;
    const char* digest;
  } Vectors[] = {
      {"",
       "cf83e1357eefb8bdf1542850d66d8007d620e4050b5715dc83f4a921d36ce9ce"
       "47d0d13c5d85f2b0ff8318d2877eec2f63b931bd47417a81a538327af927da3e"},
      {"abc",
       "ddaf35a193617abacc417349ae20413112e6fa4e89a97ea20a9eeee64b55d39a"
       "2192992a274fc1a836ba3c23a3feebbd454d4423643ce80e2a9ac94fa54ca49f"},
      {"abcdefghbcdefghicdefghijdefghijkefghijklfghijklmghijklmnhijklmno"
       "ijklmnopjklmnopqklmnopqrlmnopqrsmnopqrstnopqrstu",
       "8e959b75dae313da8cf4f72814fc143f8f7779c6eb9f7fa17299aeadb6889018"
       "501d289e4900f7e4331b99dec4b5433ac7d329eeb6dd26545e96e55b874be909"},
      {std::string(1'000'000, 'a'),
       "e718483d0ce769644e2e42c7bc15b4638e1f98b13b2044285632a803afa973eb"
       "de0ff244877ea60a4cb0432ce577c31beb009c5c2c49aa2e4eadb217ad8cc09b"},
  };
  for (const Sha512::Compression compression : {Sha512::CompressPortable, Sha512::FastestCompression()}) {
    for (const auto& [message, digest] : Vectors) {
      for (const std::size_t step :
           {std::size_t{1}, std::size_t{7}, std::size_t{700}, std::size_t{1'000'000}}) {
        CHECK(DigestOf(message, step, compression) == digest);
      }
    }
  }
}

TEST_CASE("modular powers whose value is known without computing them") {
  // 2^1024 - 105, 2^521 - 1 and 251 are prime, so that a^p = a and a^(p - 1) = 1 modulo p.
  const Number p1024 = JustBelow(1024, 105), p521 = JustBelow(521, 1), p251 = Small(251);
  const struct {
    const char* what;
    Number base, exponent, modulus, result;
  } Cases[] = {
      {"2^1024 mod p is what p lacks", Small(2), Power(10), p1024, Small(105)},
      {"the square of 2^512", Power(512), Small(2), p1024, Small(105)},
      {"base^p", Power(1023, 77), p1024, p1024, Power(1023, 77)},
      {"base^(p - 1)", Small(3), JustBelow(1024, 106), p1024, Small(1)},
      {"base^(p - 1), modulus shorter by half", Small(3), JustBelow(521, 2), p521, Small(1)},
      {"2^1023 modulo 2^521 - 1", Power(1023), Small(1), p521, Power(1023 - 521)},
      {"the largest base", JustBelow(1024, 1), Small(1), p1024, Small(104)},
      {"the modulus as base", p1024, Small(1), p1024, Small(0)},
      {"exponent 0", Small(7), Small(0), p1024, Small(1)},
      {"base 0 and exponent 0", Small(0), Small(0), p251, Small(1)},
      {"base 0", Small(0), Small(3), p251, Small(0)},
      {"3^5 mod 251", Small(3), Small(5), p251, Small(243)},
      {"3^6 mod 251", Small(3), Small(6), p251, Small(227)},
      {"modulus 3", Small(2), JustBelow(1024, 1), Small(3), Small(2)},
  };
  for (const auto& [what, base, exponent, modulus, result] : Cases) {
    CAPTURE(what);
    Number power;
    ModularPower(base.data(), exponent.data(), modulus.data(), power.data());
    CHECK(power == result);
    power = base;
    ModularPowerWithLimbs<std::uint32_t, std::uint64_t>(power.data(), exponent.data(), modulus.data(),
                                                        power.data());
    CHECK(power == result);
  }
}

TEST_CASE("a modulus that has no inverse of 2^1024 or no remainder 1 is refused") {
  const auto condition = [](const Number& modulus) {
    Number power;
    return FailedCondition(
        [&] { ModularPower(modulus.data(), modulus.data(), modulus.data(), power.data()); });
  };
  CHECK(condition(Small(0)) == "modulus is odd");
  CHECK(condition(Power(1023, 2)) == "modulus is odd");
  CHECK(condition(Small(1)) == "modulus > 1");
}
