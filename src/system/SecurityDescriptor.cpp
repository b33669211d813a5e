#include "system/SecurityDescriptor.h"

namespace LCommon::System {

SecurityDescriptor::SecurityDescriptor() {
  if (!InitializeSecurityDescriptor(&m_descriptor, SECURITY_DESCRIPTOR_REVISION)) {
    throw Exception(L_HERE, GetLastError());
  }
}

void SecurityDescriptor::SetNullDacl() {
  if (!SetSecurityDescriptorDacl(&m_descriptor, TRUE, nullptr, FALSE))
    throw Exception(L_HERE, GetLastError());
}

}  // namespace LCommon::System
