// A kernel driver that stands for each of the six: it is the one under whose name it is installed. The
// registry key Software\KvLab\NAME says what it does, and is where it leaves what it received:
//
//   StateCode    number: the control code of the state query
//   KeepsLoaded  number: other than 0, it has no unload routine
//   Request N    bytes: the N-th request that is no state query; the control code, then what came with it

#include <ntddk.h>

#include "LabFacts.h"

namespace {

wchar_t g_name[32];
DEVICE_OBJECT* g_mainDevice;
DEVICE_OBJECT* g_interfaceDevice;
ULONG g_stateCode;
ULONG g_requests;

// Text put together from parts that are not longer than names are.
class Text {
 public:
  explicit Text(const wchar_t* first) {
    RtlInitEmptyUnicodeString(&m_text, m_units, sizeof m_units);
    Add(first);
  }
  Text& Add(const wchar_t* part) {
    RtlAppendUnicodeToString(&m_text, part);
    return *this;
  }
  UNICODE_STRING* operator&() { return &m_text; }

 private:
  wchar_t m_units[128];
  UNICODE_STRING m_text;
};

HANDLE OpenLabKey() {
  Text path(L"\\Registry\\Machine\\Software\\KvLab\\");
  path.Add(g_name);
  OBJECT_ATTRIBUTES attributes;
  InitializeObjectAttributes(&attributes, &path, OBJ_CASE_INSENSITIVE | OBJ_KERNEL_HANDLE, nullptr, nullptr);
  HANDLE key = nullptr;
  return NT_SUCCESS(ZwOpenKey(&key, KEY_ALL_ACCESS, &attributes)) ? key : nullptr;
}

// 0 for a value that is not there.
ULONG Setting(HANDLE key, const wchar_t* name) {
  alignas(KEY_VALUE_PARTIAL_INFORMATION) UCHAR bytes[sizeof(KEY_VALUE_PARTIAL_INFORMATION) + sizeof(ULONG)];
  ULONG size = 0;
  Text valueName(name);
  if (!NT_SUCCESS(ZwQueryValueKey(key, &valueName, KeyValuePartialInformation, bytes, sizeof bytes, &size)))
    return 0;
  return *reinterpret_cast<ULONG*>(reinterpret_cast<KEY_VALUE_PARTIAL_INFORMATION*>(bytes)->Data);
}

NTSTATUS LeaveRequest(ULONG code, const void* data, ULONG size) {
  UCHAR record[1024];
  if (size > sizeof record - sizeof code) return STATUS_INVALID_PARAMETER;
  RtlCopyMemory(record, &code, sizeof code);
  RtlCopyMemory(record + sizeof code, data, size);
  const wchar_t digit[] = {static_cast<wchar_t>(L'1' + g_requests++), 0};
  Text name(L"Request ");
  const HANDLE key = OpenLabKey();
  const NTSTATUS status = ZwSetValueKey(key, &name.Add(digit), 0, REG_BINARY, record, size + sizeof code);
  ZwClose(key);
  return status;
}

NTSTATUS Complete(IRP* irp, NTSTATUS status, ULONG_PTR size = 0) {
  irp->IoStatus.Status = status;
  irp->IoStatus.Information = size;
  IoCompleteRequest(irp, IO_NO_INCREMENT);
  return status;
}

NTSTATUS NTAPI CreateOrClose(DEVICE_OBJECT*, IRP* irp) {
  return Complete(irp, STATUS_SUCCESS);
}

NTSTATUS NTAPI Control(DEVICE_OBJECT* device, IRP* irp) {
  if (device != g_interfaceDevice) return Complete(irp, STATUS_INVALID_DEVICE_REQUEST);
  const auto& request = IoGetCurrentIrpStackLocation(irp)->Parameters.DeviceIoControl;
  void* const buffer = irp->AssociatedIrp.SystemBuffer;
  if (request.IoControlCode != g_stateCode) {
    return Complete(irp, LeaveRequest(request.IoControlCode, buffer, request.InputBufferLength));
  }
  if (request.OutputBufferLength < sizeof LabState) return Complete(irp, STATUS_BUFFER_TOO_SMALL);
  RtlCopyMemory(buffer, LabState, sizeof LabState);
  return Complete(irp, STATUS_SUCCESS, sizeof LabState);
}

NTSTATUS MakeDevice(DRIVER_OBJECT* driver, const wchar_t* suffix, DEVICE_OBJECT** device) {
  Text name(L"\\Device\\");
  name.Add(g_name).Add(suffix);
  const NTSTATUS status = IoCreateDevice(driver, 0, &name, FILE_DEVICE_UNKNOWN, 0, FALSE, device);
  if (NT_SUCCESS(status)) ObReferenceObject(*device);
  Text link(L"\\DosDevices\\");
  return NT_SUCCESS(status) ? IoCreateSymbolicLink(&link.Add(g_name).Add(suffix), &name) : status;
}

void DeleteDevice(const wchar_t* suffix, DEVICE_OBJECT* device) {
  Text link(L"\\DosDevices\\");
  IoDeleteSymbolicLink(&link.Add(g_name).Add(suffix));
  if (device != nullptr) IoDeleteDevice(device);
}

// Wine unloads a driver whose files are open or being closed, where Windows waits for them. From here on
// Wine's own routine gets all requests; when it has answered the last one, those before it have left this
// image. The driver and its devices stay for requests that are still to come.
void SendRequestsElsewhere(DRIVER_OBJECT* driver, HANDLE device) {
  static constexpr int ours[] = {IRP_MJ_CREATE, IRP_MJ_CLOSE, IRP_MJ_DEVICE_CONTROL};
  for (const int function : ours)
    driver->MajorFunction[function] = driver->MajorFunction[IRP_MJ_READ];
  IO_STATUS_BLOCK status;
  UCHAR byte;
  ZwReadFile(device, nullptr, nullptr, nullptr, &status, &byte, sizeof byte, nullptr, nullptr);
}

HANDLE OpenMainDevice() {
  Text name(L"\\Device\\");
  name.Add(g_name);
  OBJECT_ATTRIBUTES attributes;
  InitializeObjectAttributes(&attributes, &name, OBJ_KERNEL_HANDLE, nullptr, nullptr);
  IO_STATUS_BLOCK status;
  HANDLE device = nullptr;
  ZwCreateFile(&device, GENERIC_READ | SYNCHRONIZE, &attributes, &status, nullptr, 0, 0, FILE_OPEN,
               FILE_SYNCHRONOUS_IO_NONALERT, nullptr, 0);
  return device;
}

void NTAPI Unload(DRIVER_OBJECT* driver) {
  const HANDLE device = OpenMainDevice();
  SendRequestsElsewhere(driver, device);
  DeleteDevice(L"", g_mainDevice);
  DeleteDevice(L"i", g_interfaceDevice);
  ZwClose(device);
}

}  // namespace

extern "C" NTSTATUS NTAPI DriverEntry(DRIVER_OBJECT* driver, UNICODE_STRING* registryPath) {
  USHORT begin = registryPath->Length / sizeof(wchar_t);
  while (begin > 0 && registryPath->Buffer[begin - 1] != L'\\')
    --begin;
  const ULONG nameSize = registryPath->Length - begin * sizeof(wchar_t);
  if (nameSize >= sizeof g_name) return STATUS_OBJECT_NAME_INVALID;
  RtlCopyMemory(g_name, registryPath->Buffer + begin, nameSize);

  const HANDLE key = OpenLabKey();
  if (key == nullptr) return STATUS_OBJECT_NAME_NOT_FOUND;
  ObReferenceObject(driver);  // see SendRequestsElsewhere
  g_stateCode = Setting(key, L"StateCode");
  if (Setting(key, L"KeepsLoaded") == 0) driver->DriverUnload = Unload;
  ZwClose(key);

  driver->MajorFunction[IRP_MJ_CREATE] = CreateOrClose;
  driver->MajorFunction[IRP_MJ_CLOSE] = CreateOrClose;
  driver->MajorFunction[IRP_MJ_DEVICE_CONTROL] = Control;
  NTSTATUS status = MakeDevice(driver, L"", &g_mainDevice);
  if (NT_SUCCESS(status)) status = MakeDevice(driver, L"i", &g_interfaceDevice);
  if (!NT_SUCCESS(status)) Unload(driver);
  return status;
}
