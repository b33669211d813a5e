#include <doctest/doctest.h>

#include <algorithm>

#include "support/SystemSession.h"
#include "system/ErrorCases.h"
#include "system/Mutex.h"

using namespace LCommon::System;
using winsim::Settings;

namespace {

LPtrRef<Mutex> Global(const wchar_t* name, LPtrRef<SecurityDescriptor> descriptor = nullptr) {
  return LMakeRef<Mutex>(name, Mutex::nsGlobal, 0u, descriptor);
}

}  // namespace

TEST_CASE("the namespace goes in front of the name from Windows 2000 on") {
  const struct {
    Settings settings;
    const wchar_t* name;
    Mutex::NsType ns;
    const char* call;
  } cases[] = {
      {Settings::Windows10(), L"N", Mutex::nsGlobal, R"(CreateMutexW(0, "Global\N"))"},
      {Settings::Windows2000(), L"N", Mutex::nsGlobal, R"(CreateMutexW(0, "Global\N"))"},
      {Settings::Windows2000(), L"N", Mutex::nsLocal, R"(CreateMutexW(0, "Local\N"))"},
      {Settings::Windows10(), L"N", Mutex::nsDefault, R"(CreateMutexW(0, "N"))"},
      {Settings::Windows10(), L"", Mutex::nsGlobal, "CreateMutexW(0, null)"},
      {Settings::WindowsNt4(), L"N", Mutex::nsGlobal, R"(CreateMutexW(0, "N"))"},
      {Settings::WindowsNt4(), L"N", Mutex::nsLocal, R"(CreateMutexW(0, "N"))"},
      {Settings::Windows98(), L"N", Mutex::nsGlobal, R"(CreateMutexA(0, "N"))"},
  };
  for (const auto& each : cases) {
    SystemSession session(each.settings);
    LMakeRef<Mutex>(each.name, each.ns, 0u, nullptr);
    const std::vector<std::string> trace = session.Trace();
    CHECK(std::count(trace.begin(), trace.end(), each.call) == 1);
  }
}

TEST_CASE("a mutex is shared with another account's program only through a null DACL") {
  SystemSession session;
  winsim::NamedObjects& names = session.Machine().names;
  const auto mine = names.HoldMutex(u"Global\\mine", u"SYSTEM", false);
  const auto open = names.HoldMutex(u"Global\\open", u"someone", true);
  const auto closed = names.HoldMutex(u"Global\\closed", u"someone", false);
  const std::string denied = Exactly<Mutex::AccessDeniedException>(5);
  CHECK(Thrown([] { Global(L"mine"); }) == "nothing");
  CHECK(Thrown([] { Global(L"open"); }) == "nothing");
  CHECK(Thrown([] { Global(L"closed"); }) == denied);

  const LPtrRef<SecurityDescriptor> descriptor = LMakeRef<SecurityDescriptor>();
  const LPtrRef<Mutex> none = Global(L"none"), unset = Global(L"unset", descriptor);
  descriptor->SetNullDacl();
  const LPtrRef<Mutex> shared = Global(L"shared", descriptor);
  session.Process().account = u"someone else";
  CHECK(Thrown([] { Global(L"none"); }) == denied);
  CHECK(Thrown([] { Global(L"unset"); }) == denied);
  CHECK(Thrown([] { Global(L"shared"); }) == "nothing");
}

TEST_CASE("failures of the mutex and descriptor functions become their families' exceptions") {
  SystemSession session;
  const LPtrRef<Mutex> mutex = Global(L"N");
  const LPtrRef<Handle> handle = mutex->GetHandle();
  const ErrorCase denied = {5, Exactly<Mutex::AccessDeniedException>(5)};
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
