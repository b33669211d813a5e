#pragma once

#include <cstdint>
#include <optional>
#include <vector>

/// What a version resource says.
struct ImageVersion {
  /// Four numbers of 16 bits, the major one on top: 0x0001'0002'0003'0004 is 1.2.3.4.
  std::uint64_t number = 0x0001'0000'0000'0000;
  std::uint32_t flags = 0;
};

/// A PE image for tests, by what is read from it.
struct ImageDescription {
  /// PE32+ in place of PE32.
  bool plus = true;
  std::uint16_t machine = 0x8664;
  std::uint16_t osMajor = 6;
  std::uint16_t osMinor = 1;
  /// None: no resources.
  std::optional<ImageVersion> version = ImageVersion{};
};

/// Where `BuildImage` puts the PE signature.
constexpr std::uint32_t ImagePeOffset = 64;

/// The image's file: headers, a section ".text" with some code bytes and, with a version, a section ".rsrc".
/// The sections are aligned to 0x1000 in memory and to 0x200 in the file.
std::vector<unsigned char> BuildImage(const ImageDescription& description);
