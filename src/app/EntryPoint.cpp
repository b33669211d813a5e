#include "app/EntryPoint.h"

#include "app/Application.h"
#include "app/Arguments.h"
#include "app/Service.h"
#include "system/Library.h"
#include "system/Platform.h"

namespace Main {

namespace {

int RunApplication() {
  Application::CreateInstance();
  try {
    const int exitCode = Application::Instance().DoMain();
    Application::DeleteInstance();
    return exitCode;
  } catch (...) {
    Application::DeleteInstance();
    throw;
  }
}

bool IsServiceAskedFor() {
  const LUnicodeStringArray arguments = GetArguments();
  return arguments.Length() >= 2 && arguments[1] == LUnicodeString(L"svc");
}

}  // namespace

int Dispatch() {
  if (!IsServiceAskedFor()) return RunApplication();
  try {
    return Service::Run();
  } catch (const Service::NotServiceException&) {
    return RunApplication();
  }
}

int RunProcess() {
  int exitCode = -1;
  bool started = false;
  try {
    LCommon::System::SearchOnlySystemDirectory();
    LCommon::System::InitializeSystem(1);
    started = true;
    exitCode = Dispatch();
  } catch (...) {
    exitCode = -1;
  }
  if (started) LCommon::System::UninitializeSystem();
  return exitCode;
}

}  // namespace Main
