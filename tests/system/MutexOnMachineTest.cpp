#include "system/Mutex.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <tuple>
#include <vector>

#include "support/Threads.h"
#include "system/ErrorCases.h"
#include "system/Handle.h"
#include "system/PlatformApi.h"
#include "system/Waiter.h"

using namespace LCommon::System;
using winsim::Settings;

namespace {

LPtrRef<Mutex> Global(const wchar_t* name) {
  return LMakeRef<Mutex>(name, Mutex::nsGlobal, 0u, nullptr);
}

LPtrRef<Mutex> NewMutex() {
  return LMakeRef<Mutex>(LUnicodeString(), Mutex::nsDefault, 0u, nullptr);
}

}  // namespace

TEST_CASE("the namespace goes in front of the name from Windows 2000 on") {
  const std::tuple<Settings, const wchar_t*, Mutex::NsType, const char*> cases[] = {
      {Settings::Windows10(), L"N", Mutex::nsGlobal, R"(CreateMutexW(0, "Global\N"))"},
      {Settings::Windows2000(), L"N", Mutex::nsLocal, R"(CreateMutexW(0, "Local\N"))"},
      {Settings::Windows10(), L"N", Mutex::nsDefault, R"(CreateMutexW(0, "N"))"},
      {Settings::Windows10(), L"", Mutex::nsGlobal, "CreateMutexW(0, null)"},
      {Settings::WindowsNt4(), L"N", Mutex::nsGlobal, R"(CreateMutexW(0, "N"))"},
      {Settings::WindowsNt4(), L"N", Mutex::nsLocal, R"(CreateMutexW(0, "N"))"},
      {Settings::Windows98(), L"N", Mutex::nsGlobal, R"(CreateMutexA(0, "N"))"}};
  for (const auto& [settings, name, ns, call] : cases) {
    SystemSession session(settings);
    LMakeRef<Mutex>(name, ns, 0u, nullptr);
    const std::vector<std::string> trace = session.Trace();
    CHECK(std::count(trace.begin(), trace.end(), call) == 1);
  }
}

TEST_CASE("failures of the mutex and descriptor functions become their families' exceptions") {
  SystemSession session;
  const LPtrRef<Mutex> mutex = Global(L"N");
  const LPtrRef<Handle> handle = mutex->GetHandle();
  const ErrorCase denied = Throws<Mutex::AccessDeniedException>(5);
  CheckErrors<Mutex::Exception>(session, "CreateMutexW", {denied},
                                [&] { mutex->Initialize(L"M", Mutex::nsGlobal, 0, nullptr); });
  CHECK(mutex->GetHandle().Get() == handle.Get());
  CheckErrors<Mutex::Exception>(session, "ReleaseMutex", {denied}, [&] { mutex->Leave(); });

  const LPtrRef<SecurityDescriptor> descriptor = LMakeRef<SecurityDescriptor>();
  CheckErrors<SecurityDescriptor::Exception>(session, "InitializeSecurityDescriptor", {},
                                             [] { LMakeRef<SecurityDescriptor>(); });
  CheckErrors<SecurityDescriptor::Exception>(session, "SetSecurityDescriptorDacl", {},
                                             [&] { descriptor->SetNullDacl(); });
}

TEST_CASE("an interrupted wait goes on for the time that is left") {
  SystemSession session;
  const LPtrRef<Mutex> mutex = NewMutex();
  TestThread holder([&] {
    CHECK(mutex->Wait(0, 0));
    Pause(5000);
    mutex->Leave();
  });
  Pause(1);
  const std::string forever = "0xFFFFFFFF";
  // Time-out, arrivals of calls from the start, elapsed time, the time-outs of the platform's waits.
  const std::tuple<DWORD, std::vector<unsigned int>, DWORD, std::vector<std::string>> cases[] = {
      {1000, {400, 999}, 1000, {"0x3E8", "0x258", "1"}},
      {1000, {1000}, 1000, {"0x3E8"}},
      {0, {0}, 0, {"0"}},
      {INFINITE, {100, 300}, 2999, {forever, forever, forever}}};
  for (const auto& [timeout, calls, elapsed, waits] : cases) {
    session.Machine().gate.StartTrace();
    for (const unsigned int call : calls) {
      QueueCallToThisThread(call);
    }
    const DWORD start = GetTickCount();
    CHECK(mutex->Wait(timeout, 1) == (timeout == INFINITE));
    CHECK(GetTickCount() - start == elapsed);
    std::vector<std::string> expected;
    for (const std::string& wait : waits) {
      expected.push_back("WaitForMultipleObjectsEx(1, 1, " + wait + ", 1)");
    }
    CHECK(session.Trace("WaitForMultipleObjectsEx") == expected);
  }
}

TEST_CASE("a handle object closes what it owns once, and only real handles") {
  SystemSession session;
  const auto closed = [&] { return session.Trace("CloseHandle").size(); };
  {
    LPtrRef<Handle> first = LMakeRef<Handle>(CreateMutexU(nullptr, FALSE, nullptr));
    CHECK(first->IsValid());
    LPtrRef<Handle> second = first;
    first = nullptr;
    CHECK(closed() == 0);
    CHECK(second->Adopt(CreateMutexU(nullptr, FALSE, nullptr)));
    CHECK(closed() == 1);
    CHECK_FALSE(second->Adopt(INVALID_HANDLE_VALUE));
    CHECK(closed() == 2);
    CHECK_FALSE(second->Adopt(nullptr));
    CHECK_FALSE(second->IsValid());
  }
  CHECK(closed() == 2);
}
