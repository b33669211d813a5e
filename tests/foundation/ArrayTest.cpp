#include <doctest/doctest.h>

#include <cstring>

#include "foundation/ClassArray.h"
#include "foundation/UnicodeStringArray.h"
#include "support/FailedCondition.h"
#include "support/TestHeap.h"
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

TEST_CASE("an array grows to the next step and one more") {
  TestHeap heap;
  constexpr unsigned int Room16[][2] = {{1, 32}, {16, 32}, {17, 48}, {32, 48}, {33, 64}};
  for (const auto& [size, room] : Room16) {
    LClassArray<int, int, 16> array;
    array.SetSize(size);
    CHECK(heap.NewestSize() == room * sizeof(int));
    const unsigned int before = heap.Allocations();
    array.SetSize(room);
    array.SetSize(0);
    array.SetSize(room);
    CHECK(heap.Allocations() == before);
  }
  LClassArray<int, int, 2> small;
  small.SetSize(1);
  CHECK(heap.NewestSize() == 4 * sizeof(int));
  small.SetSize(3);
  small.SetSize(5);
  CHECK(heap.NewestSize() == 8 * sizeof(int));
  small.RemoveAll();
  CHECK(heap.Blocks() == 0);
  CHECK_THROWS_AS(small.SetSize(0x60000000), std::bad_alloc);
  CHECK_THROWS_AS(small.SetSize(~0u), std::bad_alloc);
}

TEST_CASE("elements are filled, removed and released one by one") {
  TestHeap heap;
  LUnicodeStringArray array = Array({L"x", L"y", L"z"});
  const LUnicodeStringArray copy = array;
  CHECK(array[1].Data() == copy[1].Data());
  LUnicodeString removed = array[0];
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
    CHECK(FailedCondition([&] { array[index]; }) == "idx>=0&&idx<used");
    CHECK(FailedCondition([&] { array.Remove(index); }) == "idx>=0&&idx<used");
  }
  array = copy;
  array.Append(array[2]);
  CHECK(Joined(array) == "x|y|z|z|");

  const std::size_t blocks = heap.Blocks();
  array = Array({L"only"});
  array.Remove(0);
  CHECK(heap.Blocks() == blocks);
  LUnicodeStringArray many = copy;
  many.SetSize(32);
  heap.FailAfter(0);
  CHECK_THROWS_AS(many.Append(L""), std::bad_alloc);
  CHECK_THROWS_AS(LUnicodeStringArray{copy}, std::bad_alloc);
  heap.StopFailing();
  CHECK(many.Length() == 32);
  CHECK(Utf8(many[2]) == "z");
}

TEST_CASE("a multi-string becomes an array and comes back") {
  TestHeap heap;
  struct Form {
    const wchar_t* units;
    const char* elements;
    unsigned int bytes;
  };
  constexpr Form Forms[] = {{nullptr, "", 0},
                            {L"\0\0", "|", 2},
                            {L"\0b\0\0", "|b|", 6},
                            {L"a\0b\0\0", "a|b|", 10},
                            {L"long name\0\0", "long name|", 22}};
  LUnicodeStringArray array = Array({L"old"});
  for (const Form& form : Forms) {
    CAPTURE(form.elements);
    array.FromMultiString(form.units);
    CHECK(Joined(array) == form.elements);
    const LBuffer back = array.ToMultiString();
    CHECK(back.Size() == form.bytes);
    // A first empty element is the one thing the form loses.
    const unsigned int skipped = form.elements[0] == '|' ? 1 : 0;
    CHECK((back.IsEmpty() || std::memcmp(back.Data(), form.units + skipped, back.Size()) == 0));
  }
  array = Array({L"a", L"", L"b"});
  array[1] = L"x";
  array[1].Delete(0);
  const LBuffer compact = array.ToMultiString();
  CHECK(compact.Size() == 10);
  CHECK(std::memcmp(compact.Data(), L"a\0b\0", 10) == 0);
}
