#include "system/Handle.h"

namespace LCommon::System {

Handle::~Handle() {
  Close();
}

bool Handle::Adopt(HANDLE handle) {
  Close();
  m_handle = handle;
  return IsValid();
}

void Handle::Close() {
  if (IsValid()) CloseHandle(m_handle);
}

}  // namespace LCommon::System
