#pragma once

#include "foundation/Exception.h"
#include "foundation/Object.h"
#include "system/WindowsApi.h"

namespace LCommon::System {

/// One security descriptor in the platform's absolute format; it must live until the call that uses it
/// returns. A failing platform call throws `Exception` with its code.
class SecurityDescriptor : public LRefObject {
 public:
  class Exception : public WindowsErrorException {
   public:
    using WindowsErrorException::WindowsErrorException;
  };

  /// A descriptor without owner, group and lists.
  SecurityDescriptor();

  /// Gives every account full access.
  void SetNullDacl();

  PSECURITY_DESCRIPTOR Get() { return &m_descriptor; }

 private:
  SECURITY_DESCRIPTOR m_descriptor;
};

}  // namespace LCommon::System
