#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "HostFile.h"
#include "Refusal.h"
#include "foundation/Buffer.h"
#include "imagesigning/PeCoverage.h"

namespace kvsign {

/// An image in memory that the rules accept, and what a signature covers of it.
struct LoadedImage {
  LBuffer bytes;
  DriverManagement::ImageSigning1::PeCoverage coverage;
};

/// Loads a file as the product does. Throws Refusal, and std::bad_alloc: a small file may declare 4 GB.
LoadedImage LoadImage(const Bytes& file);

using Digest = std::array<std::uint8_t, 64>;

/// SHA-512 of what a signature covers.
Digest DigestOf(const LoadedImage& image);

/// The same of a file, for a command: throws FileError with the reason, about `name`.
Digest DigestOf(const std::string& name, const Bytes& file);

std::string Hexadecimal(const Digest& digest);

/// What to say when memory for an image ran out.
inline constexpr const char* NoMemory = "its image in memory needs more memory than there is";

}  // namespace kvsign
