#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "HostFile.h"
#include "Refusal.h"
#include "imagesigning/PeRange.h"
#include "system/WindowsApi.h"

namespace kvsign {

using DriverManagement::ImageSigning1::PeRange;

/// A field of the file header or the optional header.
struct FieldFacts {
  const char* name;
  std::uint32_t offset;
  std::uint32_t size;
  /// A number, or a version when `isVersion`: the major half in the lower bits.
  std::uint64_t value;
  bool isVersion;
  std::optional<bool> covered;  // as long as the image is not refused
};

struct DirectoryFacts {
  std::string name;
  std::uint32_t address;
  std::uint32_t size;
};

struct SectionFacts {
  std::string name;
  IMAGE_SECTION_HEADER header;
  std::optional<bool> covered;
  /// Why nothing of it is covered; each alone is enough.
  std::vector<std::string> reasons;
};

/// What can be told about an image file. Of a refused one the headers as far as they are there.
struct ImageFacts {
  std::uint64_t fileSize = 0;
  std::optional<Refusal> refusal;
  std::optional<bool> plus;
  std::vector<FieldFacts> fields;
  std::vector<DirectoryFacts> directories;  // those that are not empty
  std::vector<SectionFacts> sections;
  std::optional<std::uint32_t> signature;  // its offset in the file

  // Of an image that is not refused; offsets are those in memory.
  std::uint32_t imageSize = 0;
  std::vector<PeRange> zeros;
  std::vector<PeRange> thunkArrays;  // with their empty last entries; those that overlap as one
  std::uint64_t relocations = 0;
  std::string digest;
};

/// Throws std::bad_alloc.
ImageFacts ReadFacts(const Bytes& file);

}  // namespace kvsign
