#pragma once

#include <openssl/types.h>

#include <array>
#include <cstdint>
#include <memory>
#include <string>

#include "imagesigning/BuiltInKey.h"

namespace kvsign {

using DriverManagement::ImageSigning1::PublicKey;

/// 128 bytes, least significant first, as signatures and their blocks are stored.
using Block = std::array<std::uint8_t, 128>;

/// A key of the party that signs. Keys are RSA, with a modulus of exactly 1024 bits and an odd public
/// exponent from 65537 on; every other key is refused.
class SigningKey {
 public:
  /// Reads an unencrypted private key in PEM form. Throws FileError.
  explicit SigningKey(const std::string& path);

  PublicKey Public() const;
  /// block^d mod n. The block must be below the modulus.
  Block Apply(const Block& block) const;

 private:
  std::shared_ptr<EVP_PKEY> m_key;
};

/// A public key and its name.
struct NamedPublicKey {
  PublicKey numbers;
  /// SHA-256 of the key's DER form, which `openssl pkey -pubin -outform DER` writes, in hexadecimal digits.
  std::string fingerprint;
};

/// Reads a public key in PEM form, by the same rules. Throws FileError.
NamedPublicKey ReadPublicKey(const std::string& path);

}  // namespace kvsign
