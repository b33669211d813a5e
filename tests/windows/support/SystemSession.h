#pragma once

#include <optional>

#include "system/Platform.h"
#include "system/Wow64FsRedirection.h"

/// The system layer started for this process, as the program's entry point starts it, until the end of the
/// session, and the system directory the real one for a 32-bit process too, as all work on it wants it. On
/// Windows itself there is no machine to set up: the tests meet the one that they run on.
class SystemSession {
 public:
  SystemSession() {
    LCommon::System::InitializeSystem(1);
    m_realDirectories.emplace();
  }
  ~SystemSession() {
    m_realDirectories.reset();
    LCommon::System::UninitializeSystem();
  }
  SystemSession(const SystemSession&) = delete;
  SystemSession& operator=(const SystemSession&) = delete;

 private:
  std::optional<LCommon::System::Wow64FsRedirectionDisabler> m_realDirectories;
};
