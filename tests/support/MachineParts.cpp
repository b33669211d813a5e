#include "support/MachineParts.h"

#include "machine/Machine.h"
#include "support/SystemSession.h"

using winsim::Thread;

std::vector<std::string> ValueNames(LUnicodeString path) {
  std::vector<std::string> names;
  for (const auto& each : Thread::Current().GetMachine().registry.Make(MachineText(path)).values)
    names.push_back(winsim::ToUtf8(each.first));
  return names;
}

void AddLegacyDevice(LUnicodeString service, LUnicodeString instance) {
  Thread::Current().GetMachine().deviceNodes.AddLegacy(MachineText(service), MachineText(instance));
}

void MakeFolder(const wchar_t* path) {
  Thread::Current().GetMachine().files.MakeFolder(winsim::FromWide(path));
}

void RemoveFolder(const wchar_t* path) {
  Thread::Current().GetMachine().files.Remove(winsim::FromWide(path));
}

std::shared_ptr<void> UseImage(LUnicodeString path) {
  return Thread::Current().GetMachine().files.UseImage(MachineText(path));
}
