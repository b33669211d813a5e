#include "machine/Machine.h"

namespace winsim {

void Machine::Start(AutoStart autoStart) {
  TurnOff();
  if (gate.IsPowerOff()) {
    gate.Restore();
  }
  clock.MarkStart();
  files.RunPendingOperations();
  if (settings.version.platformId == 1) {
    return;  // no service control manager
  }
  services.RemoveMarked();
  // A driver or service that fails to start is left alone, as on Windows.
  for (const std::u16string& driver : services.DriversInLoadOrder()) {
    services.Launch(driver);
  }
  if (autoStart == AutoStart::run) {
    for (const std::u16string& service : services.AutoStartServices()) {
      services.Launch(service);
      AwaitIdle();
    }
  }
}

void Machine::TurnOff() {
  AwaitIdle();
  services.Clear();
  devices.UnloadAll();
}

}  // namespace winsim
