#include "system/FoundationServices.h"

#include <limits>

namespace LCommon::System {

namespace {

// The platform counts in signed integers and takes a negative length for text up to its zero.
bool IsCountable(unsigned int length, unsigned int capacity) {
  constexpr unsigned int Maximum = static_cast<unsigned int>(std::numeric_limits<int>::max());
  return length <= Maximum && capacity <= Maximum;
}

}  // namespace

unsigned int AnsiTextConversion::ToWide(const char* source, unsigned int length, wchar_t* target,
                                        unsigned int capacity) {
  if (!IsCountable(length, capacity)) return 0;
  return static_cast<unsigned int>(
      MultiByteToWideChar(CP_ACP, 0, source, static_cast<int>(length), target, static_cast<int>(capacity)));
}

unsigned int AnsiTextConversion::ToNarrow(const wchar_t* source, unsigned int length, char* target,
                                          unsigned int capacity) {
  if (!IsCountable(length, capacity)) return 0;
  return static_cast<unsigned int>(WideCharToMultiByte(CP_ACP, 0, source, static_cast<int>(length), target,
                                                       static_cast<int>(capacity), nullptr, nullptr));
}

FoundationServices::FoundationServices() {
  LInstallHeap(&m_memoryManager, &m_heapLock);
  LInstallTextConversion(&m_textConversion);
}

FoundationServices::~FoundationServices() {
  LInstallTextConversion(nullptr);
  LInstallHeap(nullptr, nullptr);
}

}  // namespace LCommon::System
