/* A small driver with everything that a signature has an opinion about: imports from two modules, base relocations
   in read-only and in writable sections, zero-filled data. */

#include <ntddk.h>

typedef NTSTATUS (*Step)(PDRIVER_OBJECT driver);

static NTSTATUS Announce(PDRIVER_OBJECT driver) {
  DbgPrint("sample: driver object %p\n", driver);
  return STATUS_SUCCESS;
}

static NTSTATUS Wait(PDRIVER_OBJECT driver) {
  (void)driver;
  KeStallExecutionProcessor(1);
  return STATUS_SUCCESS;
}

static void NTAPI Unload(PDRIVER_OBJECT driver) {
  DbgPrint("sample: %p goes\n", driver);
}

/* Addresses in a read-only and in a writable section: each is a base relocation. */
const Step Steps[] = {Announce, Wait, Announce};
PDRIVER_UNLOAD volatile UnloadRoutine = Unload;
volatile ULONG Calls;
volatile char Zeros[0x1800];

NTSTATUS NTAPI DriverEntry(PDRIVER_OBJECT driver, PUNICODE_STRING path) {
  Zeros[path->Length] = 1;
  driver->DriverUnload = UnloadRoutine;
  return Steps[Calls++ % 3](driver);
}
