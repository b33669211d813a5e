#include "app/Service.h"

#include "app/AutoRemoval.h"
#include "components/RemovalService.h"
#include "foundation/Assert.h"
#include "system/PlatformServices.h"

namespace Main {

using LCommon::System::RegisterServiceCtrlHandlerU;
using LCommon::System::StartServiceCtrlDispatcherU;

namespace {

// The platform takes the name for writing, though it only reads it.
wchar_t g_serviceName[sizeof DriverManagement::Gen4::WinNT::kvdel01::ServiceName / sizeof(wchar_t)] =
    L"kvdel01";

void Connect() {
  const SERVICE_TABLE_ENTRYW table[] = {{g_serviceName, Service::ServiceMain}, {nullptr, nullptr}};
  if (StartServiceCtrlDispatcherU(table)) return;
  const DWORD error = GetLastError();
  const LLocation location = {"int __cdecl Main::Service::Run(void)", __LINE__};
  if (error == ERROR_CALL_NOT_IMPLEMENTED || error == ERROR_FAILED_SERVICE_CONTROLLER_CONNECT) {
    throw Service::NotServiceException(location, error);
  }
  throw Service::Exception(location, error);
}

}  // namespace

Service* Service::g_instance = nullptr;

void Service::CreateInstance() {
  if (g_instance != nullptr) {
    LReportAssertion({"void __cdecl Main::Service::CreateInstance(void)", __LINE__}, "g_instance == 0");
  }
  g_instance = new Service;
}

Service& Service::Instance() {
  if (g_instance == nullptr) {
    LReportAssertion({"class Main::Service &__cdecl Main::Service::Instance(void)", __LINE__},
                     "g_instance != 0");
  }
  return *g_instance;
}

void Service::DeleteInstance() {
  if (g_instance == nullptr) {
    LReportAssertion({"void __cdecl Main::Service::DeleteInstance(void)", __LINE__}, "g_instance != 0");
  }
  delete g_instance;
  g_instance = nullptr;
}

int Service::Run() {
  CreateInstance();
  try {
    Connect();
    if (Instance().m_failure) std::rethrow_exception(Instance().m_failure);
  } catch (...) {
    DeleteInstance();
    throw;
  }
  DeleteInstance();
  return 0;
}

void WINAPI Service::ServiceMain(DWORD, LPWSTR*) {
  Instance().Execute();
}

void WINAPI Service::ControlHandler(DWORD) {
  Service& service = Instance();
  SetServiceStatus(service.m_statusHandle, &service.m_status);
}

void Service::Execute() {
  m_status = {};
  m_status.dwServiceType = SERVICE_WIN32_OWN_PROCESS;
  m_status.dwCurrentState = SERVICE_START_PENDING;
  m_statusHandle = RegisterServiceCtrlHandlerU(g_serviceName, ControlHandler);
  if (m_statusHandle == nullptr) return;
  Report(SERVICE_RUNNING);
  try {
    DoWork();
  } catch (...) {
    m_failure = std::current_exception();
  }
  // The last act: the main thread may go on, and the instance go, as soon as this is reported.
  Report(SERVICE_STOPPED);
}

void Service::DoWork() {
  DriverManagement::ProjectSpecific::RemoveExpired();
}

void Service::Report(DWORD state) {
  m_status.dwCurrentState = state;
  SetServiceStatus(m_statusHandle, &m_status);
}

}  // namespace Main
