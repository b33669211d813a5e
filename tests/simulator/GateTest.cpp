#include <doctest/doctest.h>

#include "simulator/LastError.h"
#include "support/MachineSession.h"

namespace {

BOOL Touch() {
  return FreeLibrary(GetModuleHandleW(nullptr));
}

}  // namespace

TEST_CASE("calls are traced with what their arguments stand for and how they ended") {
  MachineSession session;
  const HANDLE mutex = CreateMutexW(nullptr, TRUE, L"m");
  ReleaseMutex(mutex);
  ReleaseMutex(mutex);
  CreateMutexA(nullptr, FALSE, nullptr);
  CloseHandle(mutex);
  CloseHandle(mutex);
  CHECK(session.Trace() == std::vector<std::string>{"CreateMutexW(1, \"m\")", "ReleaseMutex(mutex m)",
                                                    "ReleaseMutex(mutex m) = 288", "CreateMutexA(0, null)",
                                                    "CloseHandle(mutex m)", "CloseHandle(no handle) = 6"});
  CHECK(session.Trace("ReleaseMutex").size() == 2);
  session.Process().handles.CloseAll();
}

TEST_CASE("the planned calls fail and no others") {
  MachineSession session;
  winsim::Gate& gate = session.Machine().gate;
  const auto failures = [](unsigned int calls) {
    std::vector<DWORD> errors;
    for (unsigned int i = 0; i < calls; ++i) {
      const DWORD error = FailureOf(Touch);
      errors.push_back(error == Untouched ? 0 : error);
    }
    return errors;
  };
  gate.FailFunction("FreeLibrary", 5, 2, 1);
  CHECK_FALSE(gate.HasIntervened());
  CHECK(failures(4) == std::vector<DWORD>{0, 5, 5, 0});
  CHECK(gate.HasIntervened());
  gate.FailCall(4, 8);
  CHECK(failures(3) == std::vector<DWORD>{0, 8, 0});
  gate.ResetCount();
  gate.FailCall(3, 8, true);
  CHECK(failures(1) == std::vector<DWORD>{0});
  CHECK(GetTickCount() == 0);  // counted, but it cannot fail and leaves the failure to the next one
  CHECK(gate.Calls() == 3);
  CHECK(failures(2) == std::vector<DWORD>{8, 8});
  gate.Restore();
  CHECK(failures(1) == std::vector<DWORD>{0});
  CHECK_FALSE(gate.HasIntervened());
}

TEST_CASE("without power every call fails and nothing changes") {
  MachineSession session;
  winsim::Gate& gate = session.Machine().gate;
  const HANDLE mutex = CreateMutexW(nullptr, TRUE, L"m");
  gate.CutPowerAt(2);
  CHECK(Touch() == FALSE);
  CHECK(gate.IsPowerOff());
  CHECK(FailureOf([&] { return CloseHandle(mutex); }) == ERROR_NOT_READY);
  CHECK(RegCloseKey(HKEY_LOCAL_MACHINE) == ERROR_NOT_READY);
  CHECK(GetACP() == 1252);
  gate.Restore();
  CHECK((ReleaseMutex(mutex) == TRUE && CloseHandle(mutex) == TRUE));
}
