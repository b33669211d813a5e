#pragma once

#include "foundation/Memory.h"
#include "foundation/TextConversion.h"
#include "system/MsMemoryManager.h"
#include "system/WindowsApi.h"

namespace LCommon::System {

/// The heap's lock over a critical section of the process.
class HeapCriticalSection : public LHeapLock {
 public:
  HeapCriticalSection() { InitializeCriticalSection(&m_section); }
  HeapCriticalSection(const HeapCriticalSection&) = delete;
  HeapCriticalSection& operator=(const HeapCriticalSection&) = delete;
  ~HeapCriticalSection() override { DeleteCriticalSection(&m_section); }

  void Enter() override { EnterCriticalSection(&m_section); }
  void Leave() override { LeaveCriticalSection(&m_section); }

 private:
  CRITICAL_SECTION m_section;
};

/// The text conversion of the default ANSI code page.
class AnsiTextConversion : public LTextConversion {
 public:
  unsigned int ToWide(const char* source, unsigned int length, wchar_t* target,
                      unsigned int capacity) override;
  unsigned int ToNarrow(const wchar_t* source, unsigned int length, char* target,
                        unsigned int capacity) override;
};

/// What the foundation needs of the platform, installed there as long as this object lives.
class FoundationServices {
 public:
  FoundationServices();
  FoundationServices(const FoundationServices&) = delete;
  FoundationServices& operator=(const FoundationServices&) = delete;
  ~FoundationServices();

 private:
  MsMemoryManager m_memoryManager;
  HeapCriticalSection m_heapLock;
  AnsiTextConversion m_textConversion;
};

}  // namespace LCommon::System
