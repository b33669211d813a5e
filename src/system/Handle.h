#pragma once

#include "foundation/Object.h"
#include "system/WindowsApi.h"

namespace LCommon::System {

/// Owns one platform handle, which is closed with the last reference. Null and `INVALID_HANDLE_VALUE` stand
/// for no handle and are never closed.
///
/// Memory for the object can run out, so make the object first and let it adopt the handle as it is opened:
///
///     const LPtrRef<Handle> handle = LMakeRef<Handle>();
///     if (!handle->Adopt(CreateFileU(...))) ...
class Handle : public LRefObject {
 public:
  Handle() = default;
  /// Adopts `handle`.
  explicit Handle(HANDLE handle) : m_handle(handle) {}
  ~Handle() override;

  /// Owns `handle` from now on; the one held so far is closed. Returns whether `handle` is one.
  bool Adopt(HANDLE handle);

  HANDLE Get() const { return m_handle; }
  bool IsValid() const { return m_handle != nullptr && m_handle != INVALID_HANDLE_VALUE; }

 private:
  void Close();

  HANDLE m_handle = nullptr;
};

}  // namespace LCommon::System
