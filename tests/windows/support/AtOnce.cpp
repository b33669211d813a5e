#include "support/AtOnce.h"

#include "system/WindowsApi.h"

namespace {

DWORD WINAPI Run(void* body) {
  (*static_cast<const std::function<void()>*>(body))();
  return 0;
}

}  // namespace

void RunAtOnce(const std::vector<std::function<void()>>& bodies) {
  std::vector<HANDLE> threads;
  for (const std::function<void()>& body : bodies) {
    threads.push_back(CreateThread(nullptr, 0, Run, const_cast<std::function<void()>*>(&body), 0, nullptr));
  }
  for (const HANDLE thread : threads) {
    WaitForSingleObject(thread, INFINITE);
    CloseHandle(thread);
  }
}
