#include "Key.h"

#include <fmt/format.h>
#include <openssl/bn.h>
#include <openssl/core_names.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>
#include <openssl/x509.h>

#include <algorithm>
#include <string_view>

#include "Errors.h"
#include "HostFile.h"

namespace kvsign {
namespace {

constexpr int ModulusBits = 1024;
constexpr BN_ULONG SmallestExponent = 65537;
constexpr std::uint64_t MaximalKeyFileSize = 1 << 20;

template <auto Free>
struct Freer {
  template <class T>
  void operator()(T* object) const {
    Free(object);
  }
};
using Number = std::unique_ptr<BIGNUM, Freer<BN_clear_free>>;
using Key = std::unique_ptr<EVP_PKEY, Freer<EVP_PKEY_free>>;
using Context = std::unique_ptr<EVP_PKEY_CTX, Freer<EVP_PKEY_CTX_free>>;
using Memory = std::unique_ptr<BIO, Freer<BIO_free>>;

/// Never asks anybody for a password, but notes that one is needed.
int RefusePassword(char*, int, int, void* needed) {
  *static_cast<bool*>(needed) = true;
  return -1;
}

Number Get(const EVP_PKEY* key, const char* name) {
  BIGNUM* number = nullptr;
  EVP_PKEY_get_bn_param(key, name, &number);
  return Number(number);
}

void CheckRules(const std::string& path, const EVP_PKEY* key) {
  if (EVP_PKEY_get_base_id(key) != EVP_PKEY_RSA) throw FileError(path, "is no RSA key; expected one");
  const Number modulus = Get(key, OSSL_PKEY_PARAM_RSA_N);
  const Number exponent = Get(key, OSSL_PKEY_PARAM_RSA_E);
  if (!modulus || !exponent) throw FileError(path, "is an RSA key without modulus or exponent");
  if (const int bits = BN_num_bits(modulus.get()); bits != ModulusBits) {
    throw FileError(path, fmt::format("the key has {} bits; expected {}, the size of a signature in an image",
                                      bits, ModulusBits));
  }
  if (!BN_is_odd(modulus.get())) throw FileError(path, "the key's modulus is even; expected an odd one");
  const Number smallest(BN_new());
  if (BN_set_word(smallest.get(), SmallestExponent) == 0 || BN_cmp(exponent.get(), smallest.get()) < 0 ||
      !BN_is_odd(exponent.get())) {
    throw FileError(
        path,
        "the key's public exponent is even or below 65537, with which anybody could forge "
        "signatures, because part of a signature is not examined; expected an odd one from 65537 on");
  }
  if (BN_cmp(exponent.get(), modulus.get()) >= 0) {
    throw FileError(path, "the key's public exponent is not below its modulus");
  }
}

/// A key in PEM form; `noKey` is what to say when there is none.
template <class Read>
Key ReadPem(const std::string& path, const Bytes& text, Read read, const char* noKey) {
  const Memory memory(BIO_new_mem_buf(text.data(), static_cast<int>(text.size())));
  bool passwordNeeded = false;
  Key key(read(memory.get(), nullptr, RefusePassword, &passwordNeeded));
  ERR_clear_error();
  if (passwordNeeded) {
    throw FileError(path,
                    "is encrypted; decrypt it into a file of your own with 'openssl pkey -in KEY -out FILE'");
  }
  if (!key) throw FileError(path, noKey);
  CheckRules(path, key.get());
  return key;
}

bool Holds(const Bytes& text, std::string_view words) {
  return std::search(text.begin(), text.end(), words.begin(), words.end()) != text.end();
}

PublicKey Numbers(const EVP_PKEY* key) {
  PublicKey result;
  BN_bn2lebinpad(Get(key, OSSL_PKEY_PARAM_RSA_E).get(), result.exponent, sizeof(result.exponent));
  BN_bn2lebinpad(Get(key, OSSL_PKEY_PARAM_RSA_N).get(), result.modulus, sizeof(result.modulus));
  return result;
}

std::string Fingerprint(const EVP_PKEY* key) {
  unsigned char* der = nullptr;
  const int size = i2d_PUBKEY(key, &der);
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest;
  unsigned int digestSize = 0;
  const bool done = size > 0 && EVP_Digest(der, static_cast<std::size_t>(size), digest.data(), &digestSize,
                                           EVP_sha256(), nullptr) == 1;
  OPENSSL_free(der);
  if (!done) throw std::runtime_error("OpenSSL cannot digest a key");
  std::string text;
  for (unsigned int index = 0; index < digestSize; ++index) {
    text += fmt::format("{:02x}", digest[index]);
  }
  return text;
}

}  // namespace

SigningKey::SigningKey(const std::string& path) {
  const Bytes text = ReadHostFile(path, MaximalKeyFileSize).bytes;
  m_key = ReadPem(path, text, PEM_read_bio_PrivateKey,
                  Holds(text, "PUBLIC KEY-----")
                      ? "holds a public key; signing needs the private one"
                      : "holds no private key in PEM form; expected one that 'openssl genpkey' makes");
}

PublicKey SigningKey::Public() const {
  return Numbers(m_key.get());
}

Block SigningKey::Apply(const Block& block) const {
  // OpenSSL has the most significant byte first.
  const Block input = [&] {
    Block reversed;
    std::reverse_copy(block.begin(), block.end(), reversed.begin());
    return reversed;
  }();
  Block output;
  std::size_t size = output.size();
  const Context context(EVP_PKEY_CTX_new(m_key.get(), nullptr));
  if (EVP_PKEY_sign_init(context.get()) != 1 ||
      EVP_PKEY_CTX_set_rsa_padding(context.get(), RSA_NO_PADDING) != 1 ||
      EVP_PKEY_sign(context.get(), output.data(), &size, input.data(), input.size()) != 1 ||
      size != output.size()) {
    throw std::runtime_error("OpenSSL cannot sign with this key; check it with 'openssl pkey -check'");
  }
  std::reverse(output.begin(), output.end());
  return output;
}

NamedPublicKey ReadPublicKey(const std::string& path) {
  const Bytes text = ReadHostFile(path, MaximalKeyFileSize).bytes;
  const Key key =
      ReadPem(path, text, PEM_read_bio_PUBKEY,
              Holds(text, "PRIVATE KEY-----")
                  ? "holds a private key, which must not leave the party that signs; expected its public "
                    "half, which 'openssl pkey -in KEY -pubout -out FILE' writes"
                  : "holds no public key in PEM form; expected one that 'openssl pkey -pubout' writes");
  return {Numbers(key.get()), Fingerprint(key.get())};
}

}  // namespace kvsign
