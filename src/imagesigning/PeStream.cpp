#include "imagesigning/PeStream.h"

#include <algorithm>

#include "imagesigning/InvalidImageException.h"

namespace DriverManagement::ImageSigning1 {

namespace {

constexpr unsigned char Zeros[512] = {};

}  // namespace

PeStream::PeStream(const void* image, unsigned int size) : m_image(image, size) {}

unsigned int PeStream::Get(const void*& data, unsigned int& size) {
  try {
    if (!m_coverage) Begin();
    return TakeChunk(data, size);
  } catch (const PeRefusal&) {
    throw InvalidImageException(L_HERE);
  }
}

void PeStream::Begin() {
  m_coverage = ReadCoverage(m_image);
  NextRelocation();
}

void PeStream::NextRelocation() {
  PeRelocation next;
  m_relocation.reset();
  if (m_coverage->relocations.Next(next)) m_relocation = next;
}

bool PeStream::TakeChunk(const void*& data, unsigned int& size) {
  const LVector<PeRange>& zeros = m_coverage->zeros;
  if (m_position == m_coverage->size) return false;
  if (m_zeroRange < zeros.size() && zeros[m_zeroRange].end <= m_position) ++m_zeroRange;
  while (m_relocation && m_relocation->target < m_position) {
    NextRelocation();
  }

  // The current run ends where the next zeros begin.
  std::uint32_t end = m_coverage->size;
  if (m_zeroRange < zeros.size()) {
    const PeRange& range = zeros[m_zeroRange];
    if (range.begin <= m_position) {
      size = std::min<std::uint32_t>(range.end - m_position, sizeof(Zeros));
      data = Zeros;
      m_position += size;
      return true;
    }
    end = range.begin;
  }

  const unsigned char* bytes = m_image.At(m_position, end - m_position, PeRule::imageSize);
  if (m_relocation && m_relocation->target == m_position) {
    size = std::min(end, m_relocation->End()) - m_position;
    data = std::memcpy(m_relocationValue, bytes, size);
  } else {
    if (m_relocation) end = std::min(end, m_relocation->target);
    size = end - m_position;
    data = bytes;
  }
  m_position += size;
  return true;
}

}  // namespace DriverManagement::ImageSigning1
