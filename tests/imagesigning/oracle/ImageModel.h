#pragma once

#include <string>
#include <vector>

// A second reading of the rules by which images are loaded, normalised and verified, written to be obvious
// and not to be fast, with OpenSSL for the arithmetic. It uses nothing of the product.

namespace model {

using Bytes = std::vector<unsigned char>;

struct Refused {};
/// The image keeps the rules and would take 32 MB or more.
struct TooLarge {};

/// The image in memory of a file. Throws `Refused`, `TooLarge`.
Bytes Load(const Bytes& file);
/// All that a signature covers of an image in memory, in one piece. Throws `Refused`.
Bytes Stream(const Bytes& image);
/// "valid", "not valid", "not found" or "invalid image", by the development key's public half. Throws
/// `TooLarge`.
std::string Validity(const Bytes& file);

}  // namespace model
