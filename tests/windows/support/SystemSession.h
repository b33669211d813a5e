#pragma once

#include "system/Platform.h"

/// The system layer started for this process, as the program's entry point starts it, until the end of the
/// session. On Windows itself there is no machine to set up: the tests meet the one that they run on.
class SystemSession {
 public:
  SystemSession() { LCommon::System::InitializeSystem(1); }
  ~SystemSession() { LCommon::System::UninitializeSystem(); }
  SystemSession(const SystemSession&) = delete;
  SystemSession& operator=(const SystemSession&) = delete;
};
