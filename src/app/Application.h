#pragma once

#include "foundation/Object.h"

namespace Main {

/// The program when it does not run as a service. One instance, made for one run.
class Application : public LObject {
 public:
  /// Asserts "g_instance == 0".
  static void CreateInstance();
  /// Asserts "g_instance != 0".
  static Application& Instance();
  /// Asserts "g_instance != 0".
  static void DeleteInstance();

  /// Does what the command line asks for and returns the exit code: `DoCanRemoveNow` for exactly the one
  /// argument "can-remove-now" in any case, else `DoDefault`.
  int DoMain();

  /// Tells by the exit code whether every managed driver has expired: 0 yes, 1 no, -1 the check failed.
  int DoCanRemoveNow();
  /// Shows what the service is for; always 1.
  int DoDefault();

 private:
  Application() = default;

  static Application* g_instance;
};

}  // namespace Main
