#pragma once

#include <windows.h>

#include "machine/Process.h"

namespace winsim {

/// The constant that stands for the calling process.
inline HANDLE CurrentProcessHandle() {
  return reinterpret_cast<HANDLE>(static_cast<std::intptr_t>(-1));
}

/// The object behind a handle of `thread`'s process when it is of kind T, else null; knows the handle that
/// stands for the process itself.
template <class T>
std::shared_ptr<T> FindObject(const Thread& thread, HANDLE handle) {
  if (handle == CurrentProcessHandle()) {
    return std::dynamic_pointer_cast<T>(std::shared_ptr<Object>(thread.process));
  }
  return thread.process->handles.Find<T>(handle);
}

}  // namespace winsim
