#pragma once

#include <cstddef>
#include <optional>

#include "foundation/Object.h"
#include "imagesigning/PeCoverage.h"

namespace DriverManagement::ImageSigning1 {

/// The bytes of an image in memory that a signature covers, in order, in chunks; what varies between equal
/// images (see `PeCoverage`) is handed out as zeros. Used once, from front to back. Where chunks begin and
/// end has no meaning. The image is the caller's and stays as it is while the stream is read; nothing of it
/// is copied but the value at a relocation target, which is a chunk of its own.
class PeStream : public LObject {
 public:
  /// `size` in bytes. Reads nothing yet.
  PeStream(const void* image, unsigned int size);

  /// 1 with the next chunk, which is valid until the next call, or 0 at the end. The first call looks through
  /// the whole image: throws `InvalidImageException` when it is refused, and again on every further call.
  unsigned int Get(const void*& data, unsigned int& size);

 private:
  void Begin();
  void NextRelocation();
  bool TakeChunk(const void*& data, unsigned int& size);

  const ImageBytes m_image;
  std::optional<PeCoverage> m_coverage;  // from the first `Get` on
  std::uint32_t m_position = 0;
  std::size_t m_zeroRange = 0;  // the first that ends behind the position
  std::optional<PeRelocation> m_relocation;
  unsigned char m_relocationValue[8] = {};
};

}  // namespace DriverManagement::ImageSigning1
