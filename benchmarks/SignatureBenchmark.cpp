// What checking a signature costs beside OpenSSL and GMP, in one run: the digest, and the modular power for
// the public exponent and for one of full size.

#include <benchmark/benchmark.h>
#include <gmp.h>
#include <openssl/bn.h>
#include <openssl/evp.h>

#include <array>
#include <memory>
#include <vector>

#include "imagesigning/ModularPower.h"
#include "imagesigning/Sha512.h"

namespace {

using LCommon::Crypto::Sha512;
using Number = std::array<unsigned char, 128>;

const std::vector<unsigned char> Block(16 * 1024, 0x5A);

void CountBytes(benchmark::State& state) {
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(Block.size()));
}

void HashWith(benchmark::State& state, Sha512::Compression compression) {
  unsigned char digest[Sha512::DigestSize];
  for (auto _ : state) {
    Sha512 hash(compression);
    hash.Update(Block.data(), Block.size());
    hash.Finish(digest);
    benchmark::DoNotOptimize(digest);
  }
  CountBytes(state);
}

void Hash_Sha512(benchmark::State& state) {
  HashWith(state, Sha512::FastestCompression());
}
BENCHMARK(Hash_Sha512);

void Hash_Sha512Portable(benchmark::State& state) {
  HashWith(state, Sha512::CompressPortable);
}
BENCHMARK(Hash_Sha512Portable);

void Hash_OpenSsl(benchmark::State& state) {
  unsigned char digest[Sha512::DigestSize];
  for (auto _ : state) {
    EVP_Digest(Block.data(), Block.size(), digest, nullptr, EVP_sha512(), nullptr);
    benchmark::DoNotOptimize(digest);
  }
  CountBytes(state);
}
BENCHMARK(Hash_OpenSsl);

/// A number of 1024 bits without a pattern, odd.
Number FullNumber(unsigned int seed) {
  Number number;
  for (unsigned char& byte : number) {
    seed = seed * 1664525 + 1013904223;
    byte = static_cast<unsigned char>(seed >> 24);
  }
  number.front() |= 1;
  number.back() |= 0x80;
  return number;
}

const Number Base = FullNumber(1), Modulus = FullNumber(2);

Number Exponent(benchmark::State& state) {
  return state.range(0) == 65537 ? Number{1, 0, 1} : FullNumber(3);
}

/// Argument 65537: that exponent; 1024: one of that many bits.
void Exponents(benchmark::internal::Benchmark* benchmark) {
  benchmark->ArgName("exponent")->Arg(65537)->Arg(1024)->Unit(benchmark::kMicrosecond);
}

void Power_ModularPower(benchmark::State& state) {
  const Number exponent = Exponent(state);
  Number result;
  for (auto _ : state) {
    LCommon::Crypto::ModularPower(Base.data(), exponent.data(), Modulus.data(), result.data());
    benchmark::DoNotOptimize(result);
  }
}
BENCHMARK(Power_ModularPower)->Apply(Exponents);

using BigNumber = std::unique_ptr<BIGNUM, decltype(&BN_free)>;

BigNumber ToOpenSsl(const Number& number) {
  return {BN_lebin2bn(number.data(), static_cast<int>(number.size()), nullptr), BN_free};
}

/// With the set-up for the modulus in every power, as ours has it, or done before.
void PowerOfOpenSsl(benchmark::State& state, bool prepared) {
  const std::unique_ptr<BN_CTX, decltype(&BN_CTX_free)> context(BN_CTX_new(), BN_CTX_free);
  const std::unique_ptr<BN_MONT_CTX, decltype(&BN_MONT_CTX_free)> montgomery(BN_MONT_CTX_new(),
                                                                             BN_MONT_CTX_free);
  const BigNumber base = ToOpenSsl(Base), modulus = ToOpenSsl(Modulus), exponent = ToOpenSsl(Exponent(state));
  const BigNumber remainder(BN_new(), BN_free), result(BN_new(), BN_free);
  BN_MONT_CTX_set(montgomery.get(), modulus.get(), context.get());
  for (auto _ : state) {
    BN_nnmod(remainder.get(), base.get(), modulus.get(), context.get());
    BN_mod_exp_mont(result.get(), remainder.get(), exponent.get(), modulus.get(), context.get(),
                    prepared ? montgomery.get() : nullptr);
    benchmark::DoNotOptimize(result.get());
  }
}

void Power_OpenSsl(benchmark::State& state) {
  PowerOfOpenSsl(state, false);
}
BENCHMARK(Power_OpenSsl)->Apply(Exponents);

void Power_OpenSslPrepared(benchmark::State& state) {
  PowerOfOpenSsl(state, true);
}
BENCHMARK(Power_OpenSslPrepared)->Apply(Exponents);

void Power_Gmp(benchmark::State& state) {
  const auto import = [](mpz_t number, const Number& bytes) {
    mpz_init(number);
    mpz_import(number, bytes.size(), -1, 1, 0, 0, bytes.data());
  };
  mpz_t base, exponent, modulus, result;
  import(base, Base);
  import(exponent, Exponent(state));
  import(modulus, Modulus);
  mpz_init(result);
  for (auto _ : state) {
    mpz_powm(result, base, exponent, modulus);
    benchmark::DoNotOptimize(result);
  }
  mpz_clears(base, exponent, modulus, result, nullptr);
}
BENCHMARK(Power_Gmp)->Apply(Exponents);

}  // namespace
