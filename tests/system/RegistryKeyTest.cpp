#include <doctest/doctest.h>

#include <string>

#include "support/SystemSession.h"
#include "support/TestKey.h"
#include "support/Throws.h"
#include "support/Utf8.h"

namespace {

using LCommon::System::RegistryKey;
using Value = RegistryKey::Value;

constexpr wchar_t testKeyName[] = L"Software\\kvdel01 tests";

std::string Stored(LPtrRef<Value> value) {
  const LBuffer data = value->GetData();
  return {reinterpret_cast<const char*>(data.Data()), data.Size()};
}

/// `size` bytes that are not all the same.
LBuffer Pattern(unsigned int size) {
  LBuffer data;
  for (unsigned int index = 0; index < size; ++index) {
    data.Insert(index, static_cast<unsigned char>(index * 7 + 1), 1);
  }
  return data;
}

}  // namespace

TEST_CASE("values come back as they were written, with type and size") {
  SystemSession session;
  const TestKey key(testKeyName);
  key->SetInt32Value(L"Number", 0x80000001u);
  key->SetStringValue(L"Text", L"some text");
  key->SetExpandStringValue(L"Path", L"%SystemRoot%\\x");
  key->SetStringValue(L"Empty", L"");
  key->SetStringValue(L"", L"of the key itself");
  key->SetValue(L"Other", LMakeRef<Value>(7u, LBuffer(L"a\0b\0", 10)));

  CHECK(key->GetValue(L"number")->GetInt32Data() == 0x80000001u);
  CHECK(Utf8(key->GetValue(L"Text")->GetStringData()) == "some text");
  CHECK(Utf8(key->GetValue(L"Path")->GetExpandStringData()) == "%SystemRoot%\\x");
  CHECK(key->GetValue(L"Empty")->GetData().Size() == 2);
  CHECK(Utf8(key->GetValue(L"")->GetStringData()) == "of the key itself");
  CHECK(key->GetValue(L"Other")->GetType() == 7);
  CHECK(key->GetValue(L"Other")->GetData().Size() == 10);

  for (const unsigned int size : {0u, 1u, 31u, 32u, 33u, 100u, 5000u}) {
    CAPTURE(size);
    const LBuffer data = Pattern(size);
    key->SetBinaryValue(L"Data", data);
    CHECK(Stored(key->GetValue(L"Data")) == Stored(LMakeRef<Value>(data)));
  }
}

TEST_CASE("what does not exist is told apart from what does") {
  SystemSession session;
  const TestKey key(testKeyName);
  const auto keyMissing = Exactly<RegistryKey::KeyNotFoundException>(2);
  const auto valueMissing = Exactly<RegistryKey::ValueNotFoundException>(2);
  CHECK(Thrown([&] { key->Open(L"None", KEY_READ); }) == keyMissing);
  CHECK(Thrown([&] { key->Delete(L"None"); }) == keyMissing);
  CHECK(Thrown([&] { key->DeleteTree(L"None"); }) == keyMissing);
  CHECK(Thrown([&] { key->GetValue(L"None"); }) == valueMissing);
  CHECK(Thrown([&] { key->DeleteValue(L"None"); }) == valueMissing);
  CHECK_FALSE(key->IsChildExist(L"None"));

  const LPtrRef<Value> fallback = LMakeRef<Value>(5u);
  CHECK(key->GetValue(L"None", fallback).Get() == fallback.Get());
  CHECK_FALSE(key->GetValue(L"None", nullptr).Valid());
  key->SetInt32Value(L"None", 6);
  CHECK(key->GetValue(L"None", fallback)->GetInt32Data() == 6);
  key->DeleteValue(L"None");
  CHECK(Thrown([&] { key->GetValue(L"None"); }) == valueMissing);
}

TEST_CASE("creating a key makes its ancestors and opens what exists") {
  SystemSession session;
  const TestKey key(testKeyName);
  key->Create(L"A\\B", KEY_WRITE)->SetInt32Value(L"n", 1);
  CHECK(key->IsChildExist(L"a"));
  CHECK(key->Create(L"a\\b", KEY_READ)->GetValue(L"n")->GetInt32Data() == 1);
}
