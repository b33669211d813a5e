#include "api/ServiceCall.h"

// What a service's own process calls.

using namespace winsim;

namespace {

/// Calls a service's entry with the arguments as Windows lays them out.
void CallServiceMain(LPSERVICE_MAIN_FUNCTIONW serviceMain, const std::vector<std::u16string>& arguments) {
  std::vector<std::vector<wchar_t>> texts;
  std::vector<LPWSTR> pointers;
  for (const std::u16string& argument : arguments) {
    texts.emplace_back(argument.size() + 1);
    CopyToWide(argument, texts.back().data());
    pointers.push_back(texts.back().data());
  }
  pointers.push_back(nullptr);
  serviceMain(static_cast<DWORD>(arguments.size()), pointers.data());
}

/// The table's entry for the process's service: in a process of its own the first one, whatever its name is.
const SERVICE_TABLE_ENTRYW* FindEntry(Thread& thread, const SERVICE_TABLE_ENTRYW* table) {
  const std::u16string& service = thread.process->serviceName;
  const ServiceStatus status = thread.GetMachine().services.Status(service);
  if ((status.type & SERVICE_WIN32_SHARE_PROCESS) == 0) {
    return table;
  }
  while (table->lpServiceName != nullptr && !EqualsIgnoringCase(FromWide(table->lpServiceName), service)) {
    ++table;
  }
  return table->lpServiceName == nullptr ? nullptr : table;
}

}  // namespace

BOOL WINAPI StartServiceCtrlDispatcherW(const SERVICE_TABLE_ENTRYW* table) {
  return BoolCall("StartServiceCtrlDispatcherW", {}, [&](Thread& thread) -> DWORD {
    if (table == nullptr || table->lpServiceName == nullptr || table->lpServiceProc == nullptr) {
      return ERROR_INVALID_PARAMETER;
    }
    if (thread.process->serviceName.empty()) {
      return ERROR_FAILED_SERVICE_CONTROLLER_CONNECT;
    }
    const SERVICE_TABLE_ENTRYW* const entry = FindEntry(thread, table);
    if (entry == nullptr) {
      return ERROR_SERVICE_NOT_IN_EXE;
    }
    return thread.GetMachine().services.RunDispatcher(
        thread, [serviceMain = entry->lpServiceProc](const std::vector<std::u16string>& arguments) {
          CallServiceMain(serviceMain, arguments);
        });
  });
}

SERVICE_STATUS_HANDLE WINAPI RegisterServiceCtrlHandlerW(LPCWSTR name, LPHANDLER_FUNCTION handler) {
  return ValueCall<SERVICE_STATUS_HANDLE>("RegisterServiceCtrlHandlerW", {name}, nullptr,
                                          [&](Thread& thread, DWORD& error) -> SERVICE_STATUS_HANDLE {
                                            if (name == nullptr || handler == nullptr) {
                                              error = ERROR_INVALID_PARAMETER;
                                              return nullptr;
                                            }
                                            const std::uintptr_t number =
                                                thread.GetMachine().services.RegisterHandler(thread, handler);
                                            error = number == 0 ? ERROR_SERVICE_NOT_IN_EXE : ERROR_SUCCESS;
                                            return reinterpret_cast<SERVICE_STATUS_HANDLE>(number);
                                          });
}

BOOL WINAPI SetServiceStatus(SERVICE_STATUS_HANDLE service, LPSERVICE_STATUS status) {
  const std::initializer_list<Argument> arguments = {status == nullptr ? Argument(0u)
                                                                       : Argument(status->dwCurrentState)};
  return ServiceCall("SetServiceStatus", arguments, [&](Thread& thread) -> DWORD {
    if (status == nullptr) {
      return ERROR_INVALID_ADDRESS;
    }
    return thread.GetMachine().services.SetStatus(thread, reinterpret_cast<std::uintptr_t>(service),
                                                  FromWindows(*status));
  });
}
