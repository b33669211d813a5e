#include "app/Application.h"

#include "app/Arguments.h"
#include "app/AutoRemoval.h"
#include "components/RemovalService.h"
#include "foundation/Assert.h"
#include "system/PlatformSystem.h"

namespace Main {

Application* Application::g_instance = nullptr;

void Application::CreateInstance() {
  if (g_instance != nullptr) {
    LReportAssertion({"void __cdecl Main::Application::CreateInstance(void)", __LINE__}, "g_instance == 0");
  }
  g_instance = new Application;
}

Application& Application::Instance() {
  if (g_instance == nullptr) {
    LReportAssertion({"class Main::Application &__cdecl Main::Application::Instance(void)", __LINE__},
                     "g_instance != 0");
  }
  return *g_instance;
}

void Application::DeleteInstance() {
  if (g_instance == nullptr) {
    LReportAssertion({"void __cdecl Main::Application::DeleteInstance(void)", __LINE__}, "g_instance != 0");
  }
  delete g_instance;
  g_instance = nullptr;
}

int Application::DoMain() {
  LUnicodeStringArray arguments = GetArguments();
  if (arguments.Length() < 1) {
    LReportAssertion({"int __cdecl Main::Application::DoMain(void)", __LINE__}, "arguments.Length() >= 1");
  }
  arguments.Remove(0);
  if (arguments.Length() == 1 && arguments[0] == LUnicodeString(L"can-remove-now")) return DoCanRemoveNow();
  return DoDefault();
}

int Application::DoCanRemoveNow() {
  try {
    return DriverManagement::ProjectSpecific::CanRemoveNow() ? 0 : 1;
  } catch (const LBaseException&) {
    return -1;
  }
}

int Application::DoDefault() {
  using namespace DriverManagement::Gen4::WinNT;
  LCommon::System::MessageBoxU(nullptr, kvdel01::Description, kvdel01::DisplayName,
                               MB_OK | MB_ICONINFORMATION);
  return 1;
}

}  // namespace Main
