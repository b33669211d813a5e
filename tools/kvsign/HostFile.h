#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

namespace kvsign {

using Bytes = std::vector<std::uint8_t>;

/// Largest size in bytes that a signed image may have.
inline constexpr std::uint64_t MaximalImageSize = 0xFFFFFFFE;

/// A file's contents and its permissions.
struct HostFile {
  Bytes bytes;
  mode_t mode;
};

/// Reads a file that may have `maximalSize` bytes. Throws FileError when it is empty, larger, no regular file
/// or unreadable.
HostFile ReadHostFile(const std::string& path, std::uint64_t maximalSize);

/// Writes a file whole or not at all: it appears, or replaces the old one, only when everything is on the
/// disk. A link is followed; a file that was there keeps its permissions, a new one gets `mode`. Throws
/// tools::OutputError.
void WriteHostFile(const std::string& path, const Bytes& bytes, mode_t mode);

}  // namespace kvsign
