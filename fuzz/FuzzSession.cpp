#include "FuzzSession.h"

#include <cstdio>
#include <cstdlib>

#include "foundation/Memory.h"
#include "machine/Machine.h"
#include "system/Platform.h"
#include "system/WindowsApi.h"

using LCommon::System::File;
using LCommon::System::FileMapping;
using LCommon::System::FileMappingView;

namespace {

class LimitedHeap : public MemoryManager, public LHeapLock {
 public:
  bool ResizeInPlace(void*, unsigned int) override { return false; }
  void* Allocate(unsigned int size) override { return size <= Limit ? std::malloc(size) : nullptr; }
  void* Reallocate(void* block, unsigned int size) override {
    return size <= Limit ? std::realloc(block, size) : nullptr;
  }
  void Free(void* block) override { std::free(block); }
  // One thread only.
  void Enter() override {}
  void Leave() override {}

 private:
  static constexpr unsigned int Limit = 64 << 20;
};

// Lives until the process ends, as what the inputs leave behind would.
struct Host {
  winsim::Machine machine;
  winsim::ThreadScope scope{machine.NewProcess(u"fuzz.exe")};
  LimitedHeap heap;
};

Host& TheHost() {
  static Host* const host = [] {
    Host* const made = new Host;
    LCommon::System::InitializeSystem(1);
    LInstallHeap(&made->heap, &made->heap);
    return made;
  }();
  return *host;
}

}  // namespace

void Require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "failed: %s\n", what);
  std::abort();
}

void SetUpHeap() {
  TheHost();
}

void WriteInput(const std::uint8_t* data, std::size_t size) {
  TheHost().machine.files.WriteFile(u"C:\\input.sys", winsim::Bytes(data, data + size));
}

LPtrRef<FileMappingView> MapInput() {
  const auto file = LMakeRef<File>(InputPath, File::accessRead, FILE_SHARE_READ, 0u, OPEN_EXISTING);
  return LMakeRef<FileMappingView>(LMakeRef<FileMapping>(file, FileMapping::accessRead, 0u),
                                   FileMappingView::accessRead, 0u, 0u);
}
