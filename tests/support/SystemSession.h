#pragma once

#include <string>
#include <string_view>

#include "foundation/UnicodeString.h"
#include "support/MachineSession.h"

/// A machine session with the system layer started for its process, as the program's entry point starts it,
/// until the end of the session. The trace begins after the start.
class SystemSession : public MachineSession {
 public:
  explicit SystemSession(winsim::Settings settings = winsim::Settings::Windows10());
  ~SystemSession();
};

/// The same text as the machine's inspection functions have it, and back.
std::u16string MachineText(const LUnicodeString& text);
LUnicodeString SystemText(std::u16string_view text);
