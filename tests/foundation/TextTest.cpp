#include <doctest/doctest.h>

#include <algorithm>
#include <functional>
#include <tuple>

#include "foundation/String.h"
#include "foundation/TextConversion.h"
#include "foundation/UnicodeString.h"
#include "support/TestHeap.h"
#include "support/Throws.h"
#include "support/Utf8.h"

namespace {

/// UTF-8 as the code page, so that the lengths of the two forms differ.
class Utf8Conversion : public LTextConversion {
 public:
  unsigned int shortfall = 0;
  bool failing = false;

  Utf8Conversion() { LInstallTextConversion(this); }
  ~Utf8Conversion() override { LInstallTextConversion(nullptr); }

  unsigned int ToWide(const char* source, unsigned int length, wchar_t* target, unsigned int room) override {
    const LUnicodeString wide = Utf16({source, length});
    if (room != 0) std::copy_n(wide.Data(), wide.Length(), target);
    return wide.Length() - (room != 0 ? shortfall : 0);
  }
  unsigned int ToNarrow(const wchar_t* source, unsigned int length, char* target,
                        unsigned int room) override {
    const std::string narrow = failing ? "" : Utf8(LUnicodeString(source, length));
    if (room != 0) narrow.copy(target, room);
    return static_cast<unsigned int>(narrow.size()) - (room != 0 ? shortfall : 0);
  }
};

/// Empty text in a block of its own, which deleting everything leaves behind.
LUnicodeString TerminatorOnly() {
  LUnicodeString text(L"x");
  text.Delete(0);
  return text;
}

}  // namespace

TEST_CASE("equality of two texts ignores the case of ASCII letters only") {
  TestHeap heap;
  const auto equal = [](const char* one, const char* other) {
    const LUnicodeString first = Utf16(one), second = Utf16(other);
    CHECK((first != second) == !(first == second));
    return first == second;
  };
  using Pair = std::pair<const char*, const char*>;
  for (const auto& [one, other] : {Pair("", ""), Pair("aBz9.SYS", "AbZ9.sys"), Pair("ä", "ä")})
    CHECK(equal(one, other));
  for (const auto& [one, other] : {Pair("Ä", "ä"), Pair("AB", "ABC"), Pair("ABC", "AB"), Pair("@", "`"),
                                   Pair("[", "{"), Pair("", "a"), Pair("a1", "a2")})
    CHECK_FALSE(equal(one, other));
  CHECK(TerminatorOnly() == LUnicodeString());
}

TEST_CASE("taking, deleting and joining parts") {
  TestHeap heap;
  constexpr std::tuple<unsigned int, unsigned int, const char*, const char*> Parts[] = {
      {0, 4, "abcd", ""}, {2, 100, "cd", "ab"}, {4, 1, "", "abcd"},
      {1, 2, "bc", "ad"}, {9, 1, "", "abcd"},   {1, 0, "", "abcd"},
      {0, 1, "a", "bcd"}, {1, ~0u, "bcd", "a"}, {~0u, ~0u, "", "abcd"}};
  for (const auto& [index, count, mid, left] : Parts) {
    const LUnicodeString text = L"abcd";
    LUnicodeString rest = text;
    rest.Delete(index, count);
    CHECK(Utf8(text.Mid(index, count)) == mid);
    CHECK(Utf8(rest) == left);
    CHECK(rest.Data()[rest.Length()] == 0);
    CHECK(Utf8(text) == "abcd");
  }
  LUnicodeString text;
  text.Append(L'a');
  text.Append(L"bc");
  text.Append(text);
  const LUnicodeString before = text;
  text.Append(L'd');
  CHECK(Utf8(text) == "abcabcd");
  CHECK(Utf8(before) == "abcabc");
  CHECK(Utf8(before + L"x" + L'y' + LUnicodeString(L"z") + TerminatorOnly()) == "abcabcxyz");
  CHECK(Utf8(TerminatorOnly() + L'a') == "a");
  CHECK((LUnicodeString() + LUnicodeString()).Buffer().Size() == 2);
}

TEST_CASE("a unit is written in place within the stored text only") {
  TestHeap heap;
  LUnicodeString text = L"abc";
  const LUnicodeString copy = text;
  text[0u] = L'x';
  text[2] = L'z';
  CHECK(text[3u] == 0);
  CHECK(Utf8(text) == "xbz");
  CHECK(Utf8(copy) == "abc");
  const std::string tooHigh = "( index + 1 ) * sizeof( wchar_t ) <= m_buffer.Size()";
  for (const unsigned int index : {4u, 0x7FFFFFFFu, ~0u})
    CHECK(Thrown([&] { text[index]; }) == tooHigh);
  CHECK(Thrown([&] { text[-1]; }) == "index >= 0 && " + tooHigh);
}

TEST_CASE("a text that cannot grow stays as it was") {
  TestHeap heap;
  const LUnicodeString original = L"0123456";
  LUnicodeString text = original;
  const std::function<void()> changes[] = {[&] { text.Append(L'x'); }, [&] { text.Append(L"xyz"); },
                                           [&] { text.Delete(2, 2); }, [&] { text.Assign(L"other"); },
                                           [&] { text[1] = L'x'; }};
  for (const auto& change : changes) {
    text = original;
    heap.FailAfter(0);
    CHECK_THROWS_AS(change(), std::bad_alloc);
    heap.StopFailing();
    CHECK((text == L"0123456"));
    change();
    CHECK_FALSE((text == L"0123456"));
  }
}

TEST_CASE("8-bit and wide text convert both ways with the installed conversion") {
  TestHeap heap;
  CHECK(Thrown([] { LUnicodeString text(LString("a")); }) == "newLength == length");
  Utf8Conversion conversion;
  const LString narrow("ab\u3042z");
  LUnicodeString wide(narrow);
  CHECK(Utf8(wide) == "ab\u3042z");
  LString back(wide);
  CHECK(std::string(back.Data()) == narrow.Data());
  CHECK(LUnicodeString(LString()).IsEmpty());

  conversion.shortfall = 1;
  CHECK(Thrown([&] { wide.Assign(LString("xy")); }) == "newLength == length");
  CHECK(Thrown([&] { back.Assign(LUnicodeString(L"xy")); }) == "newLength == length");
  CHECK(Utf8(wide) == "ab\u3042z");
  CHECK(back.Length() == 6);
  conversion.failing = true;
  CHECK(LString(wide).IsEmpty());
}

TEST_CASE("8-bit text is written only while nobody shares it") {
  TestHeap heap;
  LString text("abcdef", 3);
  LString copy = text;
  CHECK(Thrown([&] { text.str(); }) == "string->GetRefCount()==1||string->GetRefCount()==-1");
  copy.Lock()[3] = 'x';
  copy.str()[0] = 'X';
  CHECK(Thrown([&] { LString other(copy); }) == "!string.IsLocked()");
  CHECK(Thrown([&] { copy.Lock(); }) == "m_refscount != ~0u");
  copy.Unlock();
  CHECK(std::string(copy.str()) == "Xbc");
  CHECK(std::string(text.str()) == "abc");
  text = copy;
  text.SetLength(2);
  text.SetLength(40);
  CHECK(std::string(text.str(), 2) == "Xb");
  CHECK(text.str()[40] == '\0');
}
