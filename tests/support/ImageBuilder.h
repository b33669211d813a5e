#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// What a version resource says.
struct ImageVersion {
  /// Four numbers of 16 bits, the major one on top: 0x0001'0002'0003'0004 is 1.2.3.4.
  std::uint64_t number = 0x0001'0000'0000'0000;
  std::uint32_t flags = 0;
};

struct ImageSection {
  /// Up to 8 characters.
  std::string name = ".text";
  std::vector<unsigned char> data = std::vector<unsigned char>(32, 0xC3);
  /// `CodeSection` and the like.
  std::uint32_t characteristics = 0x60000020;
  /// None: that of the data.
  std::optional<std::uint32_t> virtualSize = std::nullopt;
  /// None: that of the data, aligned. A section without raw data has no place in the file.
  std::optional<std::uint32_t> rawSize = std::nullopt;
};

constexpr std::uint32_t CodeSection = 0x60000020;
constexpr std::uint32_t ReadOnlySection = 0x40000040;
constexpr std::uint32_t WritableSection = 0xC0000040;
constexpr std::uint32_t DiscardableSection = 0x42000040;

/// A library and the functions that an image uses of it; names have up to 29 characters.
struct ImageImport {
  std::string library;
  std::vector<std::string> functions;
};

/// A place in an image, by its address, that holds an address: 8 bytes if `wide`, else 4.
struct ImageRelocation {
  std::uint32_t target;
  bool wide;
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
  /// A section ".kvsign1" with room for a signature; see `SignImage`.
  bool signatureSection = false;
  std::uint32_t sectionAlignment = 0x1000;
  std::uint32_t fileAlignment = 0x200;
  std::uint32_t directoryCount = 16;
  /// In front of the sections of the version and the signature.
  std::vector<ImageSection> sections = {ImageSection{}};
  /// Descriptors, lookup tables and names are added to the data of the one section, the thunk arrays that the
  /// system overwrites to that of the other.
  std::vector<ImageImport> imports = {};
  std::size_t importSection = 0;
  std::size_t thunkSection = 0;
  /// Ascending. The blocks are added to the data of that section.
  std::vector<ImageRelocation> relocations = {};
  std::size_t relocationSection = 0;
};

/// Where `BuildImage` puts the PE signature.
constexpr std::uint32_t ImagePeOffset = 64;

/// The image's file: headers, then the sections, one behind the other in the file and in memory.
std::vector<unsigned char> BuildImage(const ImageDescription& description);

/// A driver with everything that a signature treats in its own way: code and constants with relocations,
/// imports, sections writable, discardable and signed. Unsigned; a few KB, sections aligned to 0x200.
ImageDescription SampleDriver(bool plus);

// Offsets of the headers' fields in an image that `BuildImage` made, in the file as in memory.

constexpr std::uint32_t ImageFileHeader = ImagePeOffset + 4;
constexpr std::uint32_t ImageOptionalHeader = ImageFileHeader + 20;
/// The data directory of that number: address and size.
std::uint32_t ImageDirectory(const std::vector<unsigned char>& image, std::uint32_t number);
/// The header of the section of that number: name, then from 8 on virtual size, address, raw size, place in
/// the file, and at 36 the characteristics.
std::uint32_t ImageSectionHeader(const std::vector<unsigned char>& image, std::size_t number);

/// Stores a number of `width` bytes, making room for it, and reads it, least significant byte first.
void PutNumber(std::vector<unsigned char>& bytes, std::size_t offset, std::size_t width,
               std::uint64_t number);
std::uint64_t GetNumber(const std::vector<unsigned char>& bytes, std::size_t offset, std::size_t width);
