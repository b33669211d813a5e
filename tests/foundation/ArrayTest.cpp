#include <doctest/doctest.h>

#include <cstring>

#include "foundation/ClassArray.h"
#include "foundation/UnicodeStringArray.h"
#include "support/TestHeap.h"
#include "support/Throws.h"
#include "support/Utf8.h"

namespace {

std::string Joined(const LClassArray<LUnicodeString, LUnicodeString, 16>& array) {
  std::string result;
  for (unsigned int index = 0; index < array.Length(); ++index)
    result += Utf8(array[index]) + "|";
  return result;
}

LUnicodeStringArray Array(std::initializer_list<const wchar_t*> texts) {
  LUnicodeStringArray result;
  for (const wchar_t* const text : texts)
    result.Append(text);
  return result;
}

}  // namespace

TEST_CASE("elements are filled, removed and released one by one") {
  TestHeap heap;
  LUnicodeStringArray array = Array({L"x", L"y", L"z"});
  const LUnicodeStringArray copy = array;
  CHECK(array.Remove(0) == 2);
  CHECK(Joined(array) == "y|z|");
  CHECK(array.Remove(1) == 1);
  const LUnicodeString fill = L"fill";
  array.SetSize(3, &fill);
  array.SetSize(4);
  CHECK(Joined(array) == "y|fill|fill||");
  array.SetSize(2);
  CHECK(Joined(array) == "y|fill|");
  CHECK(Joined(copy) == "x|y|z|");
  for (const unsigned int index : {2u, ~0u}) {
    CHECK(Thrown([&] { array[index]; }) == "idx>=0&&idx<used");
    CHECK(Thrown([&] { array.Remove(index); }) == "idx>=0&&idx<used");
  }
  array = copy;
  array.Append(array[2]);
  CHECK(Joined(array) == "x|y|z|z|");
  LUnicodeStringArray many = copy;
  many.SetSize(32);
  heap.FailAfter(0);
  CHECK_THROWS_AS(many.Append(L""), std::bad_alloc);
  CHECK_THROWS_AS(LUnicodeStringArray{copy}, std::bad_alloc);
  heap.StopFailing();
  for (const unsigned int size : {0x60000000u, ~0u})
    CHECK_THROWS_AS(many.SetSize(size), std::bad_alloc);
  CHECK(Joined(many) == "x|y|z|" + std::string(29, '|'));
}

TEST_CASE("a multi-string becomes an array and comes back") {
  TestHeap heap;
  LUnicodeStringArray array = Array({L"old"});
  const auto check = [&](const wchar_t* units, const std::string& elements, unsigned int bytes) {
    CAPTURE(elements);
    array.FromMultiString(units);
    CHECK(Joined(array) == elements);
    const LBuffer back = array.ToMultiString();
    CHECK(back.Size() == bytes);
    // A first empty element is the one thing the form loses.
    const unsigned int skipped = elements.starts_with('|') ? 1 : 0;
    CHECK((back.IsEmpty() || std::memcmp(back.Data(), units + skipped, back.Size()) == 0));
  };
  check(nullptr, "", 0);
  check(L"\0\0", "|", 2);
  check(L"\0b\0\0", "|b|", 6);
  check(L"a\0b\0\0", "a|b|", 10);
  array = Array({L"a", L"", L"b"});
  const LBuffer compact = array.ToMultiString();
  CHECK(compact.Size() == 10);
  CHECK(std::memcmp(compact.Data(), L"a\0b\0", 10) == 0);
}
