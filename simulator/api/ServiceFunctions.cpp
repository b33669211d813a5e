#include <algorithm>
#include <array>

#include "api/ServiceCall.h"

// The service control manager.

using namespace winsim;

namespace {

using ManagerPointer = std::shared_ptr<ServiceManagerObject>;
using ServicePointer = std::shared_ptr<ServiceObject>;

/// The service behind `handle`: 6 when there is none, 5 when the handle was not opened for `access`.
DWORD FindService(Thread& thread, SC_HANDLE handle, DWORD access, ServicePointer& service) {
  service = thread.process->handles.Find<ServiceObject>(handle);
  if (service == nullptr) {
    return ERROR_INVALID_HANDLE;
  }
  return (service->Access() & access) == access ? ERROR_SUCCESS : ERROR_ACCESS_DENIED;
}

std::optional<std::u16string> Optional(LPCWSTR text) {
  return text == nullptr ? std::nullopt : std::optional(FromWide(text));
}

std::optional<std::uint32_t> Optional(DWORD number) {
  return number == SERVICE_NO_CHANGE ? std::nullopt : std::optional<std::uint32_t>(number);
}

std::optional<std::vector<std::u16string>> OptionalList(LPCWSTR list) {
  if (list == nullptr) {
    return std::nullopt;
  }
  std::vector<std::u16string> texts;
  while (*list != 0) {
    texts.push_back(FromWide(list));
    list += texts.back().size() + 1;
  }
  return texts;
}

/// The right that a control needs; 0 for one that programs cannot send.
DWORD AccessFor(DWORD control) {
  switch (control) {
    case SERVICE_CONTROL_STOP:
      return SERVICE_STOP;
    case SERVICE_CONTROL_PAUSE:
    case SERVICE_CONTROL_CONTINUE:
    case 6:  // SERVICE_CONTROL_PARAMCHANGE
    case 7:  // and the four for network bindings
    case 8:
    case 9:
    case 10:
      return SERVICE_PAUSE_CONTINUE;
    case SERVICE_CONTROL_INTERROGATE:
      return SERVICE_INTERROGATE;
    default:
      return control >= 128 && control <= 255 ? SERVICE_USER_DEFINED_CONTROL : 0;
  }
}

/// The texts of a configuration in the order in which they lie behind the record.
std::array<std::u16string, 5> TextsOf(const ServiceConfig& config, std::u16string_view service) {
  std::u16string dependencies;
  for (const std::u16string& dependency : config.dependencies) {
    dependencies += dependency;
    dependencies += u'\0';
  }
  return {config.imagePath, config.group, dependencies, config.account,
          config.displayName.empty() ? std::u16string(service) : config.displayName};
}

}  // namespace

SC_HANDLE WINAPI OpenSCManagerW(LPCWSTR machine, LPCWSTR database, DWORD access) {
  return ValueCall<SC_HANDLE>(
      "OpenSCManagerW", {machine, database, access}, nullptr, [&](Thread& thread, DWORD& error) -> SC_HANDLE {
        std::shared_ptr<Object> manager;
        if (!FromWide(machine).empty()) {
          error = RPC_S_SERVER_UNAVAILABLE;
        } else if (database == nullptr || EqualsIgnoringCase(FromWide(database), u"ServicesActive")) {
          error = thread.GetMachine().services.OpenManager(access, manager);
        } else {
          error = EqualsIgnoringCase(FromWide(database), u"ServicesFailed") ? ERROR_DATABASE_DOES_NOT_EXIST
                                                                            : ERROR_INVALID_NAME;
        }
        if (error != 0) {
          return nullptr;
        }
        thread.lastError = ERROR_SUCCESS;
        return thread.process->handles.Add<SC_HANDLE>(std::move(manager));
      });
}

SC_HANDLE WINAPI OpenServiceW(SC_HANDLE manager, LPCWSTR name, DWORD access) {
  return ValueCall<SC_HANDLE>(
      "OpenServiceW", {name, access}, nullptr, [&](Thread& thread, DWORD& error) -> SC_HANDLE {
        std::shared_ptr<Object> service;
        if (thread.process->handles.Find<ServiceManagerObject>(manager) == nullptr) {
          error = ERROR_INVALID_HANDLE;
        } else if (name == nullptr) {
          error = ERROR_INVALID_ADDRESS;
        } else {
          error = thread.GetMachine().services.Open(FromWide(name), access, service);
        }
        return error != 0 ? nullptr : thread.process->handles.Add<SC_HANDLE>(std::move(service));
      });
}

SC_HANDLE WINAPI CreateServiceW(SC_HANDLE manager, LPCWSTR name, LPCWSTR displayName, DWORD access,
                                DWORD type, DWORD start, DWORD errorControl, LPCWSTR binaryPath,
                                LPCWSTR loadOrderGroup, LPDWORD tag, LPCWSTR dependencies, LPCWSTR account,
                                LPCWSTR) {
  return ValueCall<SC_HANDLE>(
      "CreateServiceW",
      {name, displayName, access, type, start, errorControl, binaryPath, loadOrderGroup, account}, nullptr,
      [&](Thread& thread, DWORD& error) -> SC_HANDLE {
        const ManagerPointer object = thread.process->handles.Find<ServiceManagerObject>(manager);
        if (object == nullptr) {
          error = ERROR_INVALID_HANDLE;
          return nullptr;
        }
        if (name == nullptr || binaryPath == nullptr) {
          error = ERROR_INVALID_ADDRESS;
          return nullptr;
        }
        if ((object->Access() & SC_MANAGER_CREATE_SERVICE) == 0) {
          error = ERROR_ACCESS_DENIED;
          return nullptr;
        }
        const Services::Change entry{type,
                                     start,
                                     errorControl,
                                     FromWide(binaryPath),
                                     Optional(loadOrderGroup),
                                     OptionalList(dependencies),
                                     Optional(account),
                                     Optional(displayName),
                                     tag != nullptr};
        std::shared_ptr<Object> service;
        std::uint32_t newTag = 0;
        error = thread.GetMachine().services.Create(FromWide(name), entry, access, thread.process->wow64,
                                                    service, newTag);
        if (error != 0) {
          return nullptr;
        }
        if (tag != nullptr) {
          *tag = newTag;
        }
        return thread.process->handles.Add<SC_HANDLE>(std::move(service));
      });
}

BOOL WINAPI ChangeServiceConfigW(SC_HANDLE handle, DWORD type, DWORD start, DWORD errorControl,
                                 LPCWSTR binaryPath, LPCWSTR loadOrderGroup, LPDWORD tag,
                                 LPCWSTR dependencies, LPCWSTR account, LPCWSTR, LPCWSTR displayName) {
  return BoolCall(
      "ChangeServiceConfigW",
      {Argument::Handle(handle), type, start, errorControl, binaryPath, loadOrderGroup, account, displayName},
      [&](Thread& thread) -> DWORD {
        ServicePointer service;
        if (const DWORD error = FindService(thread, handle, SERVICE_CHANGE_CONFIG, service); error != 0) {
          return error;
        }
        const Services::Change change{
            Optional(type),       Optional(start),          Optional(errorControl),
            Optional(binaryPath), Optional(loadOrderGroup), OptionalList(dependencies),
            Optional(account),    Optional(displayName),    tag != nullptr};
        std::uint32_t newTag = 0;
        const DWORD error = thread.GetMachine().services.ChangeConfig(service->Record(), change, newTag);
        if (error == 0 && tag != nullptr) {
          *tag = newTag;
        }
        return error;
      });
}

BOOL WINAPI ChangeServiceConfig2W(SC_HANDLE handle, DWORD level, LPVOID information) {
  return BoolCall("ChangeServiceConfig2W", {Argument::Handle(handle), level}, [&](Thread& thread) -> DWORD {
    ServicePointer service;
    if (const DWORD error = FindService(thread, handle, SERVICE_CHANGE_CONFIG, service); error != 0) {
      return error;
    }
    if (level != SERVICE_CONFIG_DESCRIPTION) {
      return ERROR_INVALID_LEVEL;
    }
    const auto* const description = static_cast<const SERVICE_DESCRIPTIONW*>(information);
    if (description == nullptr || description->lpDescription == nullptr) {
      return ERROR_SUCCESS;
    }
    return thread.GetMachine().services.ChangeDescription(service->Record(),
                                                          FromWide(description->lpDescription));
  });
}

BOOL WINAPI QueryServiceConfigW(SC_HANDLE handle, LPQUERY_SERVICE_CONFIGW result, DWORD size,
                                LPDWORD needed) {
  return BoolCall("QueryServiceConfigW", {Argument::Handle(handle), size}, [&](Thread& thread) -> DWORD {
    ServicePointer service;
    if (const DWORD error = FindService(thread, handle, SERVICE_QUERY_CONFIG, service); error != 0) {
      return error;
    }
    if (needed == nullptr || (result == nullptr && size != 0)) {
      return ERROR_INVALID_ADDRESS;
    }
    ServiceConfig config;
    Services& services = thread.GetMachine().services;
    if (const DWORD error = services.Config(service->Record(), config); error != 0) {
      return error;
    }
    const std::array<std::u16string, 5> texts = TextsOf(config, service->Name());
    std::size_t total = sizeof *result;
    for (const std::u16string& text : texts) {
      total += (text.size() + 1) * sizeof(wchar_t);
    }
    *needed = static_cast<DWORD>(total);
    if (size < total) {
      return ERROR_INSUFFICIENT_BUFFER;
    }
    auto* room = reinterpret_cast<wchar_t*>(result + 1);
    std::array<LPWSTR, 5> places{};
    for (std::size_t i = 0; i < texts.size(); ++i) {
      places[i] = room;
      CopyToWide(texts[i], room);
      room += texts[i].size() + 1;
    }
    *result = {config.type, config.start, config.errorControl, places[0], places[1],
               config.tag,  places[2],    places[3],           places[4]};
    return ERROR_SUCCESS;
  });
}

BOOL WINAPI QueryServiceStatus(SC_HANDLE handle, LPSERVICE_STATUS status) {
  return ServiceCall("QueryServiceStatus", {Argument::Handle(handle)}, [&](Thread& thread) -> DWORD {
    ServicePointer service;
    const DWORD error = FindService(thread, handle, SERVICE_QUERY_STATUS, service);
    if (service != nullptr && status == nullptr) {
      return ERROR_INVALID_ADDRESS;  // looked at before the right
    }
    if (error != 0) {
      return error;
    }
    *status = ToWindows(thread.GetMachine().services.Status(service->Record()));
    return ERROR_SUCCESS;
  });
}

BOOL WINAPI StartServiceW(SC_HANDLE handle, DWORD argumentCount, LPCWSTR* arguments) {
  return BoolCall("StartServiceW", {Argument::Handle(handle), argumentCount}, [&](Thread& thread) -> DWORD {
    ServicePointer service;
    if (const DWORD error = FindService(thread, handle, SERVICE_START, service); error != 0) {
      return error;
    }
    if (arguments == nullptr && argumentCount != 0) {
      return ERROR_INVALID_ADDRESS;
    }
    std::vector<std::u16string> texts(argumentCount);
    std::transform(arguments, arguments + argumentCount, texts.begin(),
                   [](LPCWSTR argument) { return FromWide(argument); });
    return thread.GetMachine().services.Start(thread, service->Record(), std::move(texts));
  });
}

BOOL WINAPI ControlService(SC_HANDLE handle, DWORD control, LPSERVICE_STATUS status) {
  return ServiceCall("ControlService", {Argument::Handle(handle), control}, [&](Thread& thread) -> DWORD {
    if (AccessFor(control) == 0) {
      return ERROR_INVALID_PARAMETER;
    }
    ServicePointer service;
    if (const DWORD error = FindService(thread, handle, AccessFor(control), service); error != 0) {
      return error;
    }
    if (status == nullptr) {
      return ERROR_INVALID_ADDRESS;
    }
    ServiceStatus current;
    const DWORD error = thread.GetMachine().services.Control(thread, service->Record(), control, current);
    if (error == 0 || error == ERROR_INVALID_SERVICE_CONTROL || error == ERROR_SERVICE_CANNOT_ACCEPT_CTRL ||
        error == ERROR_SERVICE_NOT_ACTIVE) {
      *status = ToWindows(current);
    }
    return error;
  });
}

BOOL WINAPI DeleteService(SC_HANDLE handle) {
  return ServiceCall("DeleteService", {Argument::Handle(handle)}, [&](Thread& thread) -> DWORD {
    ServicePointer service;
    if (const DWORD error = FindService(thread, handle, DELETE, service); error != 0) {
      return error;
    }
    return thread.GetMachine().services.Delete(service->Record());
  });
}

BOOL WINAPI CloseServiceHandle(SC_HANDLE handle) {
  return ServiceCall("CloseServiceHandle", {Argument::Handle(handle)}, [&](Thread& thread) -> DWORD {
    HandleTable& handles = thread.process->handles;
    const bool closed = handles.Close<ServiceObject>(handle) || handles.Close<ServiceManagerObject>(handle);
    return closed ? ERROR_SUCCESS : ERROR_INVALID_HANDLE;
  });
}
