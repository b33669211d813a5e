#include "machine/CodePages.h"

#include <doctest/doctest.h>

#include "machine/Text.h"

using winsim::CodePage;

TEST_CASE("a code page has its characters both ways") {
  const struct {
    std::uint32_t page;
    std::string_view bytes;
    std::u16string_view text;
  } cases[] = {{437, "A\x81\xFF", u"A\u00FC\u00A0"},
               {1251, "\xC0\xFF", u"\u0410\u044F"},
               {1252, "\x80\x81\xE9", u"\u20AC\u0081\u00E9"},
               {932, "\\~\x83\x65\xB1", u"\\~\u30C6\uFF71"},
               {65001, "\xC3\xA9\xF0\x9F\x98\x80", u"\u00E9\U0001F600"}};
  for (const auto& test : cases) {
    CAPTURE(test.page);
    const auto& [number, bytes, text] = test;
    const CodePage* const page = CodePage::Find(number);
    REQUIRE(page != nullptr);
    bool malformed = true;
    bool substituted = true;
    CHECK(winsim::ToUtf8(page->Decode(bytes, &malformed)) == winsim::ToUtf8(text));
    CHECK(page->Encode(text, "?", &substituted) == bytes);
    CHECK_FALSE((malformed || substituted));
  }
  CHECK(CodePage::Find(1259) == nullptr);
}

TEST_CASE("what a code page lacks is replaced and told") {
  const struct {
    std::uint32_t page;
    std::string_view bytes;
    std::u16string_view decoded;
  } malformed[] = {{932, "a\x81", u"a\u30FB"},
                   {932, std::string_view("\x81\0b", 3), std::u16string_view(u"\u30FB\0b", 3)},
                   {936, "\x81\x20z", u"?z"},
                   {65001, "a\xC3", u"a\uFFFD"}};
  for (const auto& [page, bytes, decoded] : malformed) {
    bool told = false;
    CHECK(winsim::ToUtf8(CodePage::Find(page)->Decode(bytes, &told)) == winsim::ToUtf8(decoded));
    CHECK(told);
  }
  const struct {
    std::uint32_t page;
    std::u16string_view text;
    std::string_view encoded;
  } missing[] = {{1252, u"x\u0416y", "x*y"}, {437, u"\U0001F600", "**"}, {65001, u"\xD800", "\xEF\xBF\xBD"}};
  for (const auto& [page, text, encoded] : missing) {
    bool told = false;
    CHECK(CodePage::Find(page)->Encode(text, "*", &told) == encoded);
    CHECK(told);
  }
}
