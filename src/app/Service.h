#pragma once

#include <exception>

#include "foundation/Exception.h"
#include "foundation/Object.h"
#include "system/WindowsApi.h"

namespace Main {

/// The service host: one run of the removal pass under the service control manager, which can neither stop
/// nor pause it. One instance, made for one run.
///
/// The status is written by the service's thread and read by the control handler, on the main thread, without
/// a lock: a query answered while it changes gets the old or the new state, and both are true then.
class Service : public LObject {
 public:
  class Exception : public LCommon::System::WindowsErrorException {
   public:
    using WindowsErrorException::WindowsErrorException;
  };
  /// The process was not started by the service control manager, or there is none on this system.
  class NotServiceException : public Exception {
   public:
    using Exception::Exception;
  };

  /// Asserts "g_instance == 0".
  static void CreateInstance();
  /// Asserts "g_instance != 0".
  static Service& Instance();
  /// Asserts "g_instance != 0".
  static void DeleteInstance();

  /// Connects the process to the service control manager and returns 0 when the service has stopped. The
  /// instance lives as long as the call. Throws `NotServiceException`, `Exception` for every other failure to
  /// connect, and what left the service's work.
  static int Run();

  /// The platform's entry to the service, on a thread of its own.
  static void WINAPI ServiceMain(DWORD argumentCount, LPWSTR* arguments);
  /// Answers every request of the service control manager with the current status.
  static void WINAPI ControlHandler(DWORD control);

  /// Reports the service as running, does the work and reports it as stopped, however the work ends; what
  /// leaves it is kept for `Run`. Without a control handler there is nobody to report to, and nothing is
  /// done.
  void Execute();
  /// The removal pass.
  void DoWork();

 private:
  Service() = default;
  void Report(DWORD state);

  static Service* g_instance;

  SERVICE_STATUS m_status = {};
  SERVICE_STATUS_HANDLE m_statusHandle = nullptr;
  std::exception_ptr m_failure;  // written before the service is reported as stopped, read after
};

}  // namespace Main
