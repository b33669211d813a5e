#pragma once

namespace DriverManagement::ImageSigning1 {

/// A public key of 1024 bits: both numbers least significant byte first.
struct PublicKey {
  unsigned char exponent[128];
  unsigned char modulus[128];
};

/// The key whose private half signs the drivers' images. Its definition is a file that `kvsign export-key`
/// writes; the build takes the one that KV_PUBLIC_KEY names, or a development key that nobody must ship.
extern const PublicKey BuiltInKey;

}  // namespace DriverManagement::ImageSigning1
