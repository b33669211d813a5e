#pragma once

#include "foundation/Exception.h"
#include "foundation/UnicodeString.h"

namespace LCommon::System {

/// The environment variables of the process.
class Environment {
 public:
  class Exception : public WindowsErrorException {
   public:
    using WindowsErrorException::WindowsErrorException;
  };
  class VariableNotFoundException : public Exception {
   public:
    using Exception::Exception;
  };

  /// The value of a variable. Throws `VariableNotFoundException` (code 203) when there is none, otherwise
  /// `Exception` with the platform's code, 0 for a variable with an empty value.
  static LUnicodeString GetVariable(LUnicodeString name);

  /// `text` with each %name% replaced by the variable's value, by nothing when there is no such variable, and
  /// each
  /// %% replaced by %. A reference that is still open at the end is dropped. Throws `Exception` as
  /// `GetVariable` does.
  static LUnicodeString ExpandVariables(LUnicodeString text);
};

}  // namespace LCommon::System
