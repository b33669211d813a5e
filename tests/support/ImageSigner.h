#pragma once

#include <array>
#include <vector>

// Signs image files with the development key. Needs a process heap, and a build with the development key.

/// What a signature decodes to.
using SignatureBlock = std::array<unsigned char, 128>;

/// The block that goes with an image that is not refused: its digest, the digest's first 63 bytes again, and
/// a last byte of 0: nothing is left unexamined.
SignatureBlock DigestBlock(const std::vector<unsigned char>& file);

/// Writes what decodes to `block`, which is below the modulus, into the file's signature section.
void SignImage(std::vector<unsigned char>& file, const SignatureBlock& block);

/// Signs an image that is not refused.
inline void SignImage(std::vector<unsigned char>& file) {
  SignImage(file, DigestBlock(file));
}
