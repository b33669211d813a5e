#include <algorithm>
#include <optional>
#include <set>
#include <span>

#include "api/Call.h"
#include "api/PseudoHandles.h"
#include "machine/CodePages.h"
#include "machine/Waiting.h"

// Mutexes, waits and the tick count.

using namespace winsim;

namespace {

constexpr std::size_t LongestAnsiName = MAX_PATH;

bool IsOpenToAll(const SECURITY_ATTRIBUTES* attributes) {
  if (attributes == nullptr || attributes->lpSecurityDescriptor == nullptr) {
    return false;
  }
  const auto& descriptor = *static_cast<const SECURITY_DESCRIPTOR*>(attributes->lpSecurityDescriptor);
  return (descriptor.Control & SE_DACL_PRESENT) != 0 && descriptor.Dacl == nullptr;
}

HANDLE MakeMutex(Thread& thread, const SECURITY_ATTRIBUTES* attributes, BOOL initialOwner,
                 const std::u16string& name, DWORD& error) {
  std::shared_ptr<Mutex> mutex;
  bool created = false;
  error = thread.GetMachine().names.OpenOrCreateMutex(*thread.process, name, IsOpenToAll(attributes), mutex,
                                                      created);
  if (error != 0) {
    return nullptr;
  }
  if (created && initialOwner != FALSE) {
    mutex->Acquire(thread);
  }
  // The one function whose success speaks through the last error.
  thread.lastError = created ? ERROR_SUCCESS : ERROR_ALREADY_EXISTS;
  return thread.process->handles.Add<HANDLE>(mutex);
}

DWORD Wait(Thread& thread, const std::vector<std::shared_ptr<Waitable>>& objects, bool all, DWORD timeout,
           bool alertable, DWORD& error) {
  if (std::find(objects.begin(), objects.end(), nullptr) != objects.end()) {
    error = ERROR_INVALID_HANDLE;
    return WAIT_FAILED;
  }
  if (all && std::set(objects.begin(), objects.end()).size() != objects.size()) {
    error = ERROR_INVALID_PARAMETER;
    return WAIT_FAILED;
  }
  const WaitOutcome outcome = WaitFor(thread, objects, all, timeout, alertable);
  error = outcome.error;
  return outcome.result;
}

}  // namespace

HANDLE WINAPI CreateMutexA(LPSECURITY_ATTRIBUTES security, BOOL initialOwner, LPCSTR name) {
  return ValueCall<HANDLE>("CreateMutexA", {initialOwner, name}, nullptr,
                           [&](Thread& thread, DWORD& error) -> HANDLE {
                             const std::u16string wideName = FromAnsi(thread.GetMachine(), name);
                             if (wideName.size() >= LongestAnsiName) {
                               error = ERROR_FILENAME_EXCED_RANGE;
                               return nullptr;
                             }
                             return MakeMutex(thread, security, initialOwner, wideName, error);
                           });
}

HANDLE WINAPI CreateMutexW(LPSECURITY_ATTRIBUTES security, BOOL initialOwner, LPCWSTR name) {
  return ValueCall<HANDLE>("CreateMutexW", {initialOwner, name}, nullptr, [&](Thread& thread, DWORD& error) {
    return MakeMutex(thread, security, initialOwner, FromWide(name), error);
  });
}

BOOL WINAPI ReleaseMutex(HANDLE mutex) {
  return BoolCall("ReleaseMutex", {Argument::Handle(mutex)}, [&](Thread& thread) -> DWORD {
    const auto object = thread.process->handles.Find<Mutex>(mutex);
    return object == nullptr ? ERROR_INVALID_HANDLE : object->Release(thread);
  });
}

DWORD WINAPI WaitForSingleObject(HANDLE object, DWORD timeout) {
  return ValueCall<DWORD>("WaitForSingleObject", {Argument::Handle(object), timeout}, WAIT_FAILED,
                          [&](Thread& thread, DWORD& error) {
                            return Wait(thread, {FindObject<Waitable>(thread, object)}, false, timeout, false,
                                        error);
                          });
}

DWORD WINAPI WaitForMultipleObjectsEx(DWORD count, const HANDLE* objects, BOOL waitAll, DWORD timeout,
                                      BOOL alertable) {
  return ValueCall<DWORD>("WaitForMultipleObjectsEx", {count, waitAll, timeout, alertable}, WAIT_FAILED,
                          [&](Thread& thread, DWORD& error) -> DWORD {
                            if (count == 0 || count > MAXIMUM_WAIT_OBJECTS || objects == nullptr) {
                              error = ERROR_INVALID_PARAMETER;
                              return WAIT_FAILED;
                            }
                            // The constant for the process itself is none of the handles that this one takes.
                            std::vector<std::shared_ptr<Waitable>> found;
                            for (const HANDLE object : std::span(objects, count)) {
                              found.push_back(thread.process->handles.Find<Waitable>(object));
                            }
                            return Wait(thread, found, waitAll != FALSE, timeout, alertable != FALSE, error);
                          });
}

DWORD WINAPI GetTickCount() {
  return PlainCall("GetTickCount", {}, [](Thread& thread) { return thread.GetMachine().clock.TickCount(); });
}
