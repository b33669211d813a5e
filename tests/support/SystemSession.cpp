#include "support/SystemSession.h"

#include "machine/Text.h"
#include "system/Platform.h"

SystemSession::SystemSession(winsim::Settings settings) : MachineSession(std::move(settings)) {
  LCommon::System::InitializeSystem(1);
  Machine().gate.StartTrace();
}

SystemSession::~SystemSession() {
  LCommon::System::UninitializeSystem();
}

std::u16string MachineText(const LUnicodeString& text) {
  return winsim::FromWide(text.Data(), text.Length());
}

LUnicodeString SystemText(std::u16string_view text) {
  LUnicodeString result;
  for (const char16_t unit : text) {
    result.Append(static_cast<wchar_t>(unit));
  }
  return result;
}
