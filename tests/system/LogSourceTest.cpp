#include <doctest/doctest.h>

#include <string>

#include "support/SystemSession.h"
#include "support/TestKey.h"
#include "support/Throws.h"
#include "support/Utf8.h"
#include "system/LogSource.h"

namespace {

using LCommon::System::RegistryKey;
using LCommon::System::Log::Source;

constexpr wchar_t log[] = L"kvdel01 test log";
constexpr wchar_t logPath[] = L"System\\CurrentControlSet\\Services\\Eventlog\\kvdel01 test log";

LPtrRef<Source> Full(const wchar_t* source) {
  return Source::Create(log, source, 3, 7, L"%SystemRoot%\\c.dll", L"%SystemRoot%\\e.dll", L"p.dll");
}

/// What every query answers, "-" for a value that is not set.
std::string Summary(LPtrRef<Source> source) {
  const auto unset = Exactly<Source::ConfigNotSetException>(2);
  std::string summary;
  const auto add = [&](auto query) {
    std::string text;
    const std::string thrown = Thrown([&] { text = query(); });
    summary += (thrown == "nothing" ? text : thrown == unset ? "-" : thrown) + " ";
  };
  add([&] { return std::to_string(source->QueryCategoryCount()); });
  add([&] { return std::to_string(source->QueryTypesSupported()); });
  add([&] { return Utf8(source->QueryCategoryMessageFile()); });
  add([&] { return Utf8(source->QueryEventMessageFile()); });
  add([&] { return Utf8(source->QueryParameterMessageFile()); });
  return summary;
}

}  // namespace

TEST_CASE("a registration stores what is set and rewrites what another set before") {
  SystemSession session;
  const TestKey test(logPath);
  CHECK(Summary(Full(L"source")) == "3 7 %SystemRoot%\\c.dll %SystemRoot%\\e.dll p.dll ");
  CHECK(Summary(Source::Create(log, L"source", 0, 1, L"", L"new.dll", L"")) == "- 1 - new.dll - ");
  CHECK(Summary(Source::Create(log, L"source", 0, 0, L"", L"", L"")) == "- - - - - ");
  CHECK(Summary(LMakeRef<Source>(log, L"SOURCE")) == "- - - - - ");

  const LPtrRef<Source> source = Full(L"other");
  CHECK(test.Make(L"other")->GetValue(L"CategoryCount")->GetType() == RegistryKey::Value::typeInt32);
  CHECK(test.Make(L"other")->GetValue(L"TypesSupported")->GetType() == RegistryKey::Value::typeInt32);
  for (const wchar_t* path : {L"CategoryMessageFile", L"EventMessageFile", L"ParameterMessageFile"}) {
    CHECK(test.Make(L"other")->GetValue(path)->GetType() == RegistryKey::Value::typeExpandString);
  }
}

TEST_CASE("each value changes alone, and 0 or nothing unsets it") {
  SystemSession session;
  const TestKey test(logPath);
  const LPtrRef<Source> source = Full(L"source");
  source->ChangeCategoryCount(9);
  source->ChangeEventMessageFile(L"%x%");
  CHECK(Summary(source) == "9 7 %SystemRoot%\\c.dll %x% p.dll ");
  source->ChangeTypesSupported(0);
  source->ChangeTypesSupported(0);
  source->ChangeCategoryMessageFile(L"");
  source->ChangeParameterMessageFile(L"q");
  CHECK(Summary(source) == "9 - - %x% q ");
  source->ChangeTypesSupported(4);
  source->ChangeCategoryCount(0);
  source->ChangeCategoryMessageFile(L"c");
  source->ChangeEventMessageFile(L"");
  source->ChangeParameterMessageFile(L"");
  CHECK(Summary(source) == "- 4 c - - ");
}

TEST_CASE("a value of another type is no value of the source") {
  SystemSession session;
  const TestKey test(logPath);
  const LPtrRef<Source> source = Full(L"source");
  const LPtrRef<RegistryKey> key = test.Make(L"source");
  key->SetStringValue(L"CategoryCount", L"3");
  key->SetBinaryValue(L"TypesSupported", LBuffer("abcd", 4));
  key->SetStringValue(L"CategoryMessageFile", L"x");
  key->SetStringValue(L"EventMessageFile", L"x");
  key->SetInt32Value(L"ParameterMessageFile", 1);
  const std::string invalid = Exactly<Source::InvalidConfigException>(1629) + " ";
  CHECK(Summary(source) == invalid + invalid + invalid + invalid + invalid);
}

TEST_CASE("a missing log and a missing source are told apart") {
  SystemSession session;
  const TestKey test(logPath);
  Full(L"source");
  const auto noLog = Exactly<Source::LogNotFoundException>(2);
  const auto noSource = Exactly<Source::SourceNotFoundException>(2);
  CHECK(Thrown([] { Source(L"kvdel01 none", L"source"); }) == noLog);
  CHECK(Thrown([] { Source::Delete(L"kvdel01 none", L"source"); }) == noLog);
  CHECK(Thrown([] { Source(log, L"none"); }) == noSource);
  CHECK(Thrown([] { Source::Delete(log, L"none"); }) == noSource);
  CHECK_THROWS_AS(Source(log, L"none"), Source::LogNotFoundException);
  CHECK(test->IsChildExist(L"source"));
}

TEST_CASE("deleting a registration takes everything below it and leaves the log") {
  SystemSession session;
  const TestKey test(logPath);
  Full(L"source");
  Full(L"other");
  test.Make(L"source")->Create(L"a\\b", KEY_READ);
  Source::Delete(log, L"source");
  CHECK_FALSE(test->IsChildExist(L"source"));
  Source::Delete(log, L"other");
  CHECK(RegistryText(logPath) == "");
}
