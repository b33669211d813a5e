#include "Session.h"

#include "system/Platform.h"

namespace kvsign {

Session::Session() : m_process(m_machine.NewProcess(u"kvsign.exe")), m_scope(std::in_place, m_process) {
  LCommon::System::InitializeSystem(1);
}

Session::~Session() {
  LCommon::System::UninitializeSystem();
  m_process->End(0);
  m_scope.reset();
}

LUnicodeString Session::PutFile(const Bytes& bytes) {
  m_machine.files.WriteFile(u"C:\\image.sys", bytes);
  return LUnicodeString(L"C:\\image.sys");
}

}  // namespace kvsign
