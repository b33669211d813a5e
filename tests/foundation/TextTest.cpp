#include <doctest/doctest.h>

#include <functional>

#include "foundation/String.h"
#include "foundation/TextConversion.h"
#include "foundation/UnicodeString.h"
#include "support/FailedCondition.h"
#include "support/TestHeap.h"
#include "support/Utf8.h"

namespace {

/// A double-byte code page: 0x81 and a byte make one unit 0x3000 + byte, every other byte is a unit.
class DoubleByteConversion : public LTextConversion {
 public:
  DoubleByteConversion() { LInstallTextConversion(this); }
  ~DoubleByteConversion() override { LInstallTextConversion(nullptr); }

  unsigned int ToWide(const char* source, unsigned int length, wchar_t* target,
                      unsigned int capacity) override {
    unsigned int count = 0;
    for (unsigned int index = 0; index < length; ++index, ++count) {
      const bool lead = static_cast<unsigned char>(source[index]) == 0x81;
      const unsigned int unit = lead ? 0x3000u + static_cast<unsigned char>(source[++index])
                                     : static_cast<unsigned char>(source[index]);
      if (capacity != 0) target[count] = static_cast<wchar_t>(unit);
    }
    return count - (capacity != 0 ? shortfall : 0);
  }

  unsigned int ToNarrow(const wchar_t* source, unsigned int length, char* target,
                        unsigned int capacity) override {
    if (failing) return 0;
    unsigned int count = 0;
    for (unsigned int index = 0; index < length; ++index) {
      const bool wide = source[index] >= 0x3000;
      if (capacity != 0 && wide) target[count] = static_cast<char>(0x81);
      count += wide ? 2 : 1;
      if (capacity != 0) target[count - 1] = static_cast<char>(source[index] & 0xFF);
    }
    return count - (capacity != 0 ? shortfall : 0);
  }

  unsigned int shortfall = 0;
  bool failing = false;
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
  struct Pair {
    const char *first, *second;
    bool equal;
  };
  constexpr Pair Pairs[] = {{"", "", true},       {"ABC", "abc", true}, {"kvLnk03.SYS", "KVlnk03.sys", true},
                            {"Ä", "ä", false},    {"ä", "ä", true},     {"AB", "ABC", false},
                            {"ABC", "AB", false}, {"@", "`", false},    {"[", "{", false},
                            {"az", "AZ", true},   {"", "a", false},     {"a1", "a2", false}};
  for (const Pair& pair : Pairs) {
    CAPTURE(pair.first);
    CAPTURE(pair.second);
    const LUnicodeString first = Utf16(pair.first), second = Utf16(pair.second);
    CHECK((first == second) == pair.equal);
    CHECK((first != second) != pair.equal);
  }
  CHECK(TerminatorOnly() == LUnicodeString());
}

TEST_CASE("comparing with zero-terminated text is exact") {
  TestHeap heap;
  const LUnicodeString text = L"abc";
  CHECK((text == L"abc"));
  for (const wchar_t* other : {L"ABC", L"ab", L"abcd", L"abd", L"", static_cast<const wchar_t*>(nullptr)}) {
    CHECK_FALSE((text == other));
  }
  CHECK((LUnicodeString() == L""));
  CHECK((LUnicodeString(L"") == static_cast<const wchar_t*>(nullptr)));
  CHECK_FALSE((TerminatorOnly() == L""));
  CHECK_FALSE((LUnicodeString(L"a\0b", 3) == L"a"));
}

TEST_CASE("texts are made from pointers, counts and bytes") {
  TestHeap heap;
  CHECK(LUnicodeString(L"").Data() == nullptr);
  CHECK(LUnicodeString(L"abc", 0).Data() == nullptr);
  const LUnicodeString text(L"abcd", 3);
  CHECK(Utf8(text) == "abc");
  CHECK(text.Buffer().Size() == 8);
  CHECK(text.Data()[3] == 0);
  struct Bytes {
    const char* data;
    unsigned int size;
    const char* text;
  };
  constexpr Bytes Cases[] = {{"", 0, ""},         {"\0\0", 2, ""},        {"a", 1, ""},    {"a\0b", 3, "a"},
                             {"a\0b\0", 4, "ab"}, {"a\0\0\0c\0", 6, "a"}, {"\0a", 2, "愀"}};
  for (const Bytes& bytes : Cases) {
    CHECK(Utf8(LUnicodeString::FromZeroTerminated(LBuffer(bytes.data, bytes.size))) == bytes.text);
  }
}

TEST_CASE("the tests' own conversion keeps every kind of unit") {
  TestHeap heap;
  const LUnicodeString text = L"a\u00E9\u20AC\xD83D\xDE00\xDE00x";
  CHECK(Utf8(text) == "a\u00E9\u20AC\U0001F600\xED\xB8\x80x");
  CHECK((Utf16(Utf8(text)) == text.Data()));
}

TEST_CASE("taking, deleting and joining parts") {
  TestHeap heap;
  struct Part {
    unsigned int index, count;
    const char *mid, *rest;
  };
  constexpr Part Parts[] = {{0, 4, "abcd", ""},   {2, 100, "cd", "ab"},  {4, 1, "", "abcd"},
                            {1, 2, "bc", "ad"},   {2, 5, "cd", "ab"},    {9, 1, "", "abcd"},
                            {1, 0, "", "abcd"},   {0, 1, "a", "bcd"},    {3, 1, "d", "abc"},
                            {1, ~0u, "bcd", "a"}, {~0u, ~0u, "", "abcd"}};
  for (const Part& part : Parts) {
    CAPTURE(part.index);
    CAPTURE(part.count);
    const LUnicodeString text = L"abcd";
    LUnicodeString rest = text;
    rest.Delete(part.index, part.count);
    CHECK(Utf8(text.Mid(part.index, part.count)) == part.mid);
    CHECK(Utf8(rest) == part.rest);
    CHECK(rest.Data()[rest.Length()] == 0);
    CHECK(Utf8(text) == "abcd");
  }
  CHECK(Utf8(LUnicodeString(L"abcd").Mid(1)) == "bcd");
  CHECK(Utf8(LUnicodeString(L"abcd").Mid(5)) == "");
  LUnicodeString one = L"abcd";
  one.Delete(1);
  CHECK(Utf8(one) == "acd");

  LUnicodeString text;
  const LUnicodeString held = text;
  text.Append(L'a');
  text.Append(L"bc");
  text.Append(text);
  const LUnicodeString before = text;
  text.Append(LUnicodeString());
  text.Append(L'd');
  CHECK(Utf8(text) == "abcabcd");
  CHECK(Utf8(before) == "abcabc");
  CHECK(Utf8(before + L"x" + L'y' + LUnicodeString(L"z") + TerminatorOnly()) == "abcabcxyz");
  CHECK(Utf8(TerminatorOnly() + L'a') == "a");
  CHECK(held.IsEmpty());
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
    CHECK(FailedCondition([&] { text[index]; }) == tooHigh);
  for (const int index : {-1, 4, 0x7FFFFFFF}) {
    CHECK(FailedCondition([&] { text[index]; }) == "index >= 0 && " + tooHigh);
  }
  LUnicodeString empty;
  CHECK(FailedCondition([&] { empty[0u]; }) == tooHigh);
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
  CHECK(FailedCondition([] { LUnicodeString text(LString("a")); }) == "newLength == length");
  CHECK(FailedCondition([] { LString text(LUnicodeString(L"a")); }) == "newLength == length");

  DoubleByteConversion conversion;
  const LString narrow("ab\x81\x42z");
  CHECK(narrow.Length() == 5);
  LUnicodeString wide(narrow);
  CHECK(Utf8(wide) == "ab\u3042z");
  LString back(wide);
  CHECK(std::string(back.Data()) == narrow.Data());
  CHECK(LUnicodeString(LString()).IsEmpty());
  CHECK(LString(LUnicodeString()).Data() == nullptr);

  conversion.shortfall = 1;
  CHECK(FailedCondition([&] { wide.Assign(LString("xy")); }) == "newLength == length");
  CHECK(FailedCondition([&] { back.Assign(LUnicodeString(L"xy")); }) == "newLength == length");
  CHECK(Utf8(wide) == "ab\u3042z");
  CHECK(back.Length() == 5);
  conversion.failing = true;
  CHECK(LString(wide).IsEmpty());
}

TEST_CASE("8-bit text is written only while nobody shares it") {
  TestHeap heap;
  LString text("abcdef", 3);
  CHECK(std::string(text.str()) == "abc");
  LString copy = text;
  CHECK(FailedCondition([&] { text.str(); }) == "string->GetRefCount()==1||string->GetRefCount()==-1");
  copy.Lock()[3] = 'x';
  copy.str()[0] = 'X';
  CHECK(FailedCondition([&] { LString other(copy); }) == "!string.IsLocked()");
  CHECK(FailedCondition([&] { text = copy; }) == "!string.IsLocked()");
  CHECK(FailedCondition([&] { copy.Lock(); }) == "m_refscount != ~0u");
  copy.Unlock();
  CHECK(FailedCondition([&] { copy.Unlock(); }) == "m_refscount == ~0");
  CHECK(std::string(copy.str()) == "Xbc");
  CHECK(std::string(text.str()) == "abc");

  text = copy;
  text.SetLength(2);
  CHECK(std::string(text.str()) == "Xb");
  text.SetLength(40);
  CHECK(std::string(text.str(), 2) == "Xb");
  CHECK(text.str()[40] == '\0');
  text.SetLength(0);
  CHECK(text.str() == nullptr);
  CHECK(LString("").Data() == nullptr);
  CHECK(LString(static_cast<const char*>(nullptr)).Length() == 0);
  CHECK(std::string(copy.str()) == "Xbc");
}
