// kvlab: what client applications do with the managed drivers, and what the lab needs besides, each as a verb
// on the command line. Standard output tells what came of it.

#include <cstdio>
#include <cstring>
#include <cwchar>
#include <optional>

#include "Drivers.h"
#include "WindowsSide.h"
#include "components/RemovalService.h"
#include "drivermanagement/Lock.h"
#include "system/Platform.h"

namespace {

using DriverManagement::Lock;
using DriverManagement::Locker;
namespace kvdel01 = DriverManagement::Gen4::WinNT::kvdel01;

using Arguments = const wchar_t* const*;

// Waits for a line of standard input, or its end.
void ReadLine(char (&line)[32]) {
  if (std::fgets(line, sizeof line, stdin) == nullptr) line[0] = 0;
}

// DRIVER IMAGE CLIENT FILE
void Install(Arguments arguments) {
  const Locker locker(LMakeRef<Lock>());
  const ClientDriver driver = MakeDriver(arguments[0], arguments[2], arguments[3], arguments[1]);
  std::printf("installed %d", driver.manager->Install(0));
  NameImageForWine(arguments[0]);
  std::printf(", then %d", driver.manager->Install(1));
  std::printf(", up to date %u\n", driver.manager->IsInstalledUpToDate());
}

// IMAGE
void InstallService(Arguments arguments) {
  const Locker locker(LMakeRef<Lock>());
  std::printf("installed %d\n",
              LMakeRef<kvdel01::Manager>(LMakeRef<ImageContainer>(arguments[0]))->Install(0));
}

void PrintLoaded(Arguments) {
  for (const wchar_t* const name : DriverNames) {
    const ClientDriver driver = MakeDriver(name, L"", L"");
    if (!driver.manager->IsActive()) continue;
    std::printf("%ls %s\n", name, driver.manager->IsActiveUpToDate() ? "up-to-date" : "outdated");
  }
}

// DRIVER CLIENT FILE
void Attach(Arguments arguments) {
  MakeDriver(arguments[0], arguments[1], arguments[2]).manager->Touch();
  Say("attached");
}

void Detach(Arguments arguments) {
  MakeDriver(arguments[0], arguments[1], arguments[2]).lifeTime->Detach();
  Say("detached");
}

// DRIVER: opens the main device as a client does and keeps it open until there is a line of standard input.
void Open(Arguments arguments) {
  const auto device =
      LDynamicCast<DriverManagement::BaseOpenable>(MakeDriver(arguments[0], L"", L"").manager)->Open();
  Say("open", arguments[0]);
  char line[32];
  ReadLine(line);
}

// Holds the installation lock until it is told to leave it, or to "die" with it.
void HoldLock(Arguments) {
  const Locker locker(LMakeRef<Lock>());
  Say("locked");
  char line[32];
  ReadLine(line);
  if (std::strncmp(line, "die", 3) == 0) TerminateProcess(GetCurrentProcess(), 3);
}

// DRIVER: the service cannot get ahead of this, because it waits for the lock.
void KillServiceAt(Arguments arguments) {
  std::optional<Locker> locker(LMakeRef<Lock>());
  StartRemovalService();
  HeldRemovalService service(arguments[0]);
  locker.reset();
  service.Kill();
}

void AskExpired(Arguments) {
  const auto service = LMakeRef<kvdel01::Manager>(LMakeRef<DriverManagement::NullPeModuleContainer>());
  std::printf("expired %u\n", service->IsExpired());
}

struct Verb {
  const wchar_t* name;
  int arguments;
  void (*run)(Arguments);
};

constexpr Verb Verbs[] = {
    {L"install", 4, Install},
    {L"install-service", 1, InstallService},
    {L"loaded", 0, PrintLoaded},
    {L"attach", 3, Attach},
    {L"detach", 3, Detach},
    {L"open", 1, Open},
    {L"lock", 0, HoldLock},
    {L"expired", 0, AskExpired},
    {L"make-device-node", 1, [](Arguments arguments) { MakeDeviceNode(arguments[0]); }},
    {L"deny-writing", 1, [](Arguments arguments) { DenyWriting(arguments[0]); }},
    {L"marked", 0, [](Arguments) { PrintMarkedForDeletion(); }},
    {L"start-service", 0, [](Arguments) { StartRemovalService(); }},
    {L"service-state", 0, [](Arguments) { PrintRemovalServiceState(false); }},
    {L"await-service", 0, [](Arguments) { PrintRemovalServiceState(true); }},
    {L"kill-service", 0, [](Arguments) { KillRemovalService(); }},
    {L"kill-service-at", 1, KillServiceAt},
    {L"message-box", 0, [](Arguments) { AnswerMessageBox(); }},
};

}  // namespace

extern "C" int wmain(int count, wchar_t** arguments) {
  for (const Verb& verb : Verbs) {
    if (count != verb.arguments + 2 || std::wcscmp(arguments[1], verb.name) != 0) continue;
    LCommon::System::InitializeSystem(1);
    int exitCode = 0;
    try {
      verb.run(arguments + 2);
    } catch (const LBaseException& exception) {
      std::printf("failed: %s, line %u\n", exception.Function(), exception.Line());
      exitCode = 1;
    }
    LCommon::System::UninitializeSystem();
    return exitCode;
  }
  std::printf("no such verb, or another number of arguments\n");
  return 2;
}
