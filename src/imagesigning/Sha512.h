#pragma once

#include <cstddef>
#include <cstdint>

namespace LCommon::Crypto {

/// A running SHA-512 digest (FIPS 180). An object is plain data: it owns nothing, a copy is a digest that
/// goes on by itself, and overwriting its bytes erases it. Never throws. Not for use by several threads at
/// once.
class Sha512 {
 public:
  static constexpr std::size_t DigestSize = 64;
  static constexpr std::size_t BlockSize = 128;

  /// Takes `count` blocks at `blocks` into the eight words of `state`.
  using Compression = void (*)(std::uint64_t* state, const unsigned char* blocks, std::size_t count);

  /// Runs on every processor.
  static void CompressPortable(std::uint64_t* state, const unsigned char* blocks, std::size_t count);
  /// The fastest that this processor can run.
  static Compression FastestCompression();

  /// Starts a digest.
  explicit Sha512(Compression compression = FastestCompression());

  /// Feeds `size` bytes. Whole blocks are read where they lie. The bytes of one digest are counted in 64
  /// bits.
  void Update(const void* data, std::size_t size);
  /// Stores the digest, `DigestSize` bytes; the object is used up.
  void Finish(unsigned char* digest);

 private:
  Compression m_compression;
  std::uint64_t m_state[8];
  std::uint64_t m_size = 0;          // bytes fed so far
  unsigned char m_block[BlockSize];  // the last m_size % BlockSize of them
};

}  // namespace LCommon::Crypto
