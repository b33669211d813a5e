#include <setupapi.h>

#include <algorithm>
#include <cstring>

#include "api/Call.h"

// Device nodes.

using namespace winsim;

namespace {

constexpr DWORD DigcfAllClasses = 0x4;
constexpr DWORD DigcfDeviceInterface = 0x10;
constexpr DWORD DoDefault = 0xE000020E;

/// A set of device nodes as they were when it was made; a node is known by its place, beginning with 1.
class DeviceSetObject : public Object {
 public:
  explicit DeviceSetObject(std::vector<std::u16string> instances) : m_instances(std::move(instances)) {}
  std::string Describe() const override { return "device set"; }

  const std::u16string* At(std::size_t index) const {
    return index < m_instances.size() ? &m_instances[index] : nullptr;
  }
  /// The node that `device` stands for, or null.
  const std::u16string* Find(const SP_DEVINFO_DATA* device) const {
    return device != nullptr && device->cbSize == sizeof *device && device->Reserved == device->DevInst
               ? At(device->DevInst - std::size_t{1})
               : nullptr;
  }

 private:
  std::vector<std::u16string> m_instances;
};

GUID ToGuid(const Guid& guid) {
  GUID result;
  static_assert(sizeof result == sizeof guid.bytes);
  std::memcpy(&result, guid.bytes, sizeof result);
  return result;
}

Guid FromGuid(const GUID& guid) {
  Guid result;
  std::memcpy(result.bytes, &guid, sizeof result.bytes);
  return result;
}

/// Names of the values behind the properties, by their numbers.
const char16_t* ValueName(DWORD property) {
  static constexpr const char16_t* names[] = {
      u"DeviceDesc", u"HardwareID", u"CompatibleIDs", nullptr,        u"Service", nullptr,        nullptr,
      u"Class",      u"ClassGUID",  u"Driver",        u"ConfigFlags", u"Mfg",     u"FriendlyName"};
  return property < std::size(names) ? names[property] : nullptr;
}

}  // namespace

BOOL WINAPI SetupDiClassGuidsFromNameW(PCWSTR className, LPGUID list, DWORD capacity, PDWORD needed) {
  return BoolCall("SetupDiClassGuidsFromNameW", {className, capacity}, [&](Thread& thread) -> DWORD {
    if (className == nullptr || needed == nullptr || (list == nullptr && capacity > 0)) {
      return ERROR_INVALID_PARAMETER;
    }
    const std::vector<Guid> classes = thread.GetMachine().deviceNodes.ClassesNamed(FromWide(className));
    *needed = static_cast<DWORD>(classes.size());
    std::transform(classes.begin(), classes.begin() + std::min<std::ptrdiff_t>(capacity, std::ssize(classes)),
                   list, ToGuid);
    return classes.size() > capacity ? ERROR_INSUFFICIENT_BUFFER : ERROR_SUCCESS;
  });
}

HDEVINFO WINAPI SetupDiGetClassDevsW(const GUID* classGuid, PCWSTR enumerator, HWND, DWORD flags) {
  return ValueCall<HDEVINFO>(
      "SetupDiGetClassDevsW", {enumerator, flags}, INVALID_HANDLE_VALUE,
      [&](Thread& thread, DWORD& error) -> HDEVINFO {
        const bool allClasses = (flags & DigcfAllClasses) != 0;
        if (classGuid == nullptr && !allClasses) {
          error = ERROR_INVALID_PARAMETER;
          return INVALID_HANDLE_VALUE;
        }
        std::vector<std::u16string> instances;
        if ((flags & DigcfDeviceInterface) == 0) {
          instances = thread.GetMachine().deviceNodes.Instances(
              allClasses ? std::nullopt : std::optional(FromGuid(*classGuid)), FromWide(enumerator));
        }
        return thread.process->handles.Add<HDEVINFO>(std::make_shared<DeviceSetObject>(std::move(instances)));
      });
}

BOOL WINAPI SetupDiEnumDeviceInfo(HDEVINFO set, DWORD index, PSP_DEVINFO_DATA device) {
  return BoolCall("SetupDiEnumDeviceInfo", {Argument::Handle(set), index}, [&](Thread& thread) -> DWORD {
    const auto object = thread.process->handles.Find<DeviceSetObject>(set);
    if (object == nullptr) {
      return ERROR_INVALID_HANDLE;
    }
    if (device == nullptr) {
      return ERROR_INVALID_PARAMETER;
    }
    if (device->cbSize != sizeof *device) {
      return ERROR_INVALID_USER_BUFFER;
    }
    const std::u16string* const instance = object->At(index);
    if (instance == nullptr) {
      return ERROR_NO_MORE_ITEMS;
    }
    const std::optional<Guid> guid = thread.GetMachine().deviceNodes.ClassOf(*instance);
    device->ClassGuid = ToGuid(guid.value_or(Guid()));
    device->DevInst = index + 1;
    device->Reserved = device->DevInst;
    return ERROR_SUCCESS;
  });
}

BOOL WINAPI SetupDiGetDeviceRegistryPropertyW(HDEVINFO set, PSP_DEVINFO_DATA device, DWORD property,
                                              PDWORD type, BYTE* buffer, DWORD size, PDWORD needed) {
  return BoolCall("SetupDiGetDeviceRegistryPropertyW", {Argument::Handle(set), property, size},
                  [&](Thread& thread) -> DWORD {
                    const auto object = thread.process->handles.Find<DeviceSetObject>(set);
                    if (object == nullptr) {
                      return ERROR_INVALID_HANDLE;
                    }
                    const std::u16string* const instance = object->Find(device);
                    if (instance == nullptr || (buffer == nullptr && size != 0)) {
                      return ERROR_INVALID_PARAMETER;
                    }
                    const char16_t* const name = ValueName(property);
                    if (name == nullptr) {
                      return ERROR_INVALID_REG_PROPERTY;
                    }
                    const RegistryValue* const value =
                        thread.GetMachine().deviceNodes.Property(*instance, name);
                    if (value == nullptr) {
                      return ERROR_INVALID_DATA;
                    }
                    if (type != nullptr) {
                      *type = value->type;
                    }
                    if (needed != nullptr) {
                      *needed = static_cast<DWORD>(value->data.size());
                    }
                    if (value->data.size() > size) {
                      return ERROR_INSUFFICIENT_BUFFER;
                    }
                    std::copy(value->data.begin(), value->data.end(), buffer);
                    return ERROR_SUCCESS;
                  });
}

BOOL WINAPI SetupDiCallClassInstaller(DI_FUNCTION function, HDEVINFO set, PSP_DEVINFO_DATA device) {
  return BoolCall("SetupDiCallClassInstaller", {function, Argument::Handle(set)},
                  [&](Thread& thread) -> DWORD {
                    if (thread.process->wow64) {
                      return ERROR_IN_WOW64;
                    }
                    const auto object = thread.process->handles.Find<DeviceSetObject>(set);
                    if (object == nullptr) {
                      return ERROR_INVALID_HANDLE;
                    }
                    if (function != DIF_REMOVE) {
                      return DoDefault;
                    }
                    const std::u16string* const instance = object->Find(device);
                    return instance == nullptr ? ERROR_INVALID_PARAMETER
                                               : thread.GetMachine().deviceNodes.Remove(*instance);
                  });
}

BOOL WINAPI SetupDiDestroyDeviceInfoList(HDEVINFO set) {
  return BoolCall("SetupDiDestroyDeviceInfoList", {Argument::Handle(set)}, [&](Thread& thread) -> DWORD {
    if (!thread.process->handles.Close<DeviceSetObject>(set)) {
      return ERROR_INVALID_HANDLE;
    }
    thread.lastError = ERROR_SUCCESS;
    return ERROR_SUCCESS;
  });
}
