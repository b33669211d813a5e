#include <doctest/doctest.h>

#include "machine/RegFile.h"

using winsim::Bytes;
using winsim::FormatRegFile;
using winsim::FromUtf8;
using winsim::ParseRegFile;
using winsim::Registry;
using winsim::RegistryValue;
using winsim::ToUtf8;

namespace {

const std::string Header = "Windows Registry Editor Version 5.00\r\n\r\n";

/// The bytes of a UTF-16 file with a byte order mark.
std::string Wide(std::string_view text) {
  std::string bytes = "\xFF\xFE";
  for (const char16_t unit : FromUtf8(text)) {
    bytes.push_back(static_cast<char>(unit & 0xFF));
    bytes.push_back(static_cast<char>(unit >> 8));
  }
  return bytes;
}

/// The complaint about a file, empty when there is none.
std::string Complaint(std::string_view bytes) {
  Registry registry;
  try {
    ParseRegFile(bytes, "m.reg", registry);
  } catch (const winsim::RegFileError& error) {
    return error.what();
  }
  return {};
}

/// Everything that an export can contain, as the registry editor spells it.
const std::string Everything =
    Header +
    "[HKEY_LOCAL_MACHINE\\System\\Set]\r\n"
    "@=\"default\"\r\n"
    "\"Back\\\\slash \\\"quoted\\\"\"=\"C:\\\\x \\\"y\\\"\"\r\n"
    "\"Bytes\"=hex:00,01,02,03,04,05,06,07,08,09,0a,0b,0c,0d,0e,0f,10,11,12,13,14,15,\\\r\n"
    "  16,17,18,19,1a,1b,1c,1d,1e,1f,20,21,22,23,24,25,26,27,28,29,2a,2b,2c,2d,2e,\\\r\n"
    "  2f,30\r\n"
    "\"Empty\"=hex:\r\n"
    "\"Expand\"=hex(2):25,00,00,00\r\n"
    "\"Lines\"=\"one\r\ntwo\nthree\"\r\n"
    "\"No end\"=hex(1):61,00\r\n"
    "\"Number\"=dword:89abcdef\r\n"
    "\"Odd kind\"=hex(ffff0007):aa\r\n"
    "\"Short number\"=hex(4):01\r\n"
    "\"\xC3\xBC\"=\"\xE2\x82\xAC\xF0\x9F\x98\x80\"\r\n"
    "\r\n"
    "[HKEY_LOCAL_MACHINE\\System\\Set\\Empty key]\r\n"
    "\r\n"
    "[HKEY_LOCAL_MACHINE\\System\\Set\\[odd]; name]\r\n"
    "\"x\"=\"\"\r\n"
    "\r\n"
    "[HKEY_LOCAL_MACHINE\\System\\Set\\[odd]; name\\inner]\r\n"
    "\r\n";

}  // namespace

TEST_CASE("what an export contains is read, and written again as it was") {
  Registry registry;
  std::uint64_t lastDone = 0;
  ParseRegFile(Wide(Everything), "m.reg", registry, [&](std::uint64_t done, std::uint64_t total) {
    CHECK(done <= total);
    lastDone = done;
  });
  CHECK(lastDone == Wide(Everything).size());
  const std::u16string key = u"System\\Set";
  CHECK(ToUtf8(registry.GetString(key, u"")) == "default");
  CHECK(ToUtf8(registry.GetString(key, u"back\\slash \"quoted\"")) == "C:\\x \"y\"");
  CHECK(registry.GetValue(key, u"Bytes")->data.size() == 49);
  CHECK(registry.GetValue(key, u"Bytes")->data.back() == 0x30);
  CHECK(*registry.GetValue(key, u"Empty") == RegistryValue{3, {}});
  CHECK(*registry.GetValue(key, u"Expand") == RegistryValue{2, {0x25, 0, 0, 0}});
  CHECK(ToUtf8(registry.GetString(key, u"Lines")) == "one\r\ntwo\nthree");
  CHECK(*registry.GetValue(key, u"No end") == RegistryValue{1, {0x61, 0}});
  CHECK(registry.GetNumber(key, u"Number") == 0x89ABCDEF);
  CHECK(*registry.GetValue(key, u"Odd kind") == RegistryValue{0xFFFF0007, {0xAA}});
  CHECK(ToUtf8(registry.GetString(key, u"\u00FC")) == "\xE2\x82\xAC\xF0\x9F\x98\x80");
  CHECK(registry.Find(u"System\\Set\\Empty key") != nullptr);
  CHECK(registry.Find(u"System\\Set\\[odd]; name\\inner") != nullptr);
  CHECK(FormatRegFile(registry) == Wide(Everything));
}

TEST_CASE("other spellings of a registry file") {
  const auto sameAs = [](std::string_view bytes) {
    Registry registry;
    ParseRegFile(bytes, "m.reg", registry);
    return FormatRegFile(registry);
  };
  std::string unixLines;
  for (const char c : Everything) {
    if (c != '\r') unixLines.push_back(c);
  }
  CHECK(sameAs(Everything) == Wide(Everything));
  CHECK(sameAs("\xEF\xBB\xBF" + Everything) == Wide(Everything));
  // UTF-16 without a mark, and the other way round, with one and without.
  std::string swapped = Wide(Everything);
  CHECK(sameAs(swapped.substr(2)) == Wide(Everything));
  for (std::size_t i = 0; i < swapped.size(); i += 2)
    std::swap(swapped[i], swapped[i + 1]);
  CHECK(sameAs(swapped) == Wide(Everything));
  CHECK(sameAs(swapped.substr(2)) == Wide(Everything));
  Registry expected;
  ParseRegFile(Everything, "m.reg", expected);
  expected.SetString(u"System\\Set", u"Lines", u"one\ntwo\nthree");
  CHECK(sameAs(unixLines) == FormatRegFile(expected));

  const std::string loose =
      Header +
      "; a comment\r\n  [hkey_local_machine\\A] ; one more\r\n\t\"x\" = DWORD:0000000A ; and one\r\n"
      "\"y\"=hex(7):61,00,\\\r\n\\\r\n 00 , 00\r\n\"z\"=hex:\\\r\n "
      "01\r\n[HKEY_LOCAL_MACHINE\\a]\r\n\"X\"=\"later\"";
  Registry registry;
  ParseRegFile(loose, "m.reg", registry);
  CHECK(ToUtf8(registry.GetString(u"A", u"x")) == "later");
  CHECK(*registry.GetValue(u"A", u"y") == RegistryValue{7, {0x61, 0, 0, 0}});
  CHECK(*registry.GetValue(u"A", u"z") == RegistryValue{3, {1}});

  // The old format has everything in an ANSI code page, also the bytes of texts.
  const std::string old =
      "REGEDIT4\n\n[HKEY_LOCAL_MACHINE\\A]\n\"b\"=hex:80,00\n\"e\"=hex(2):80,00\n\"\xFC\"=\"\x80\"\n";
  struct Page {
    std::uint32_t number;
    std::u16string name, text;
  };
  for (const Page& page : {Page{1252, u"\u00FC", u"\u20AC"}, Page{1251, u"\u044C", u"\u0402"}}) {
    CAPTURE(page.number);
    Registry ansi;
    CHECK(ParseRegFile(old, "m.reg", ansi, {}, page.number) == 5);
    CHECK(ToUtf8(ansi.GetString(u"A", page.name)) == ToUtf8(page.text));
    CHECK(ansi.GetValue(u"A", u"e")->Text() == page.text);
    CHECK(*ansi.GetValue(u"A", u"b") == RegistryValue{3, {0x80, 0}});
  }
  Registry plain;
  CHECK(ParseRegFile(old.substr(0, old.find("\"e\"")), "m.reg", plain) == 0);
}

TEST_CASE("only keys at the top that hold one key, nothing else, and had no line are left unwritten") {
  const std::string root = "[HKEY_LOCAL_MACHINE\\", inner = root + "A\\B]\r\n\r\n";
  Registry registry;
  registry.Make(u"A");
  CHECK(FormatRegFile(registry) == Wide(Header + root + "A]\r\n\r\n"));
  registry.Make(u"A\\B");
  CHECK(FormatRegFile(registry) == Wide(Header + inner));
  Registry named;
  const std::string lines = "[HKEY_LOCAL_MACHINE]\r\n\r\n[HKEY_LOCAL_MACHINE\\A]\r\n\r\n" + inner;
  ParseRegFile(Header + lines, "m.reg", named);
  CHECK(FormatRegFile(named) == Wide(Header + lines));
  registry.Make(u"C");
  CHECK(FormatRegFile(registry) == Wide(Header + root + "A]\r\n\r\n" + inner + root + "C]\r\n\r\n"));
  registry.DeleteTree(u"C");
  registry.SetNumber(u"A", u"x", 1);
  CHECK(FormatRegFile(registry) == Wide(Header + root + "A]\r\n\"x\"=dword:00000001\r\n\r\n" + inner));
}

TEST_CASE("a fault is told with its line, what it is and what is expected") {
  struct Case {
    std::string_view text, complaint;
  };
  // An @ stands for a key's line.
  static constexpr Case cases[] = {
      {"[HKEY_LOCAL_MACHINE\\A", "3: the key's name is cut off: expected a closing bracket"},
      {"[-HKEY_LOCAL_MACHINE\\A]", "3: deletes a key: expected only keys that exist"},
      {"[HKEY_USERS\\A]", "3: a key below \"HKEY_USERS\": expected one below HKEY_LOCAL_MACHINE"},
      {"[HKEY_LOCAL_MACHINE\\A\\\\B]",
       "3: a part of the key's name is missing: expected one between two backslashes"},
      {"\"x\"=\"y\"", "3: a value before the first key: expected a key in brackets"},
      {"nonsense", "3: expected a key in brackets, a value or a comment"},
      {"@\"x\"", "4: the value is cut off, or a quote is missing: expected \"=\" behind its name"},
      {"@\"x", "4: the text in quotes is cut off: expected a closing quote"},
      {"@\"x\"=", "4: the value is cut off or of no known form: expected a text in quotes, dword: or hex:"},
      {"@\"x\"=-", "4: deletes a value: expected only values that exist"},
      {"@\"x\"=\"a\r\n\"y\"=\"b\"", "4: expected the end of the line behind the value"},
      {"@\"x\"=\"a\r\n[HKEY_LOCAL_MACHINE\\B]\r\n",
       "4: the text in quotes is cut off: expected a closing quote"},
      {"@\"x\"=\"C:\\win\"", "4: a single backslash in a text in quotes: expected \\\\ or \\\""},
      {"@\"x\"=dword:0000001", "4: the number is cut off: expected 8 hexadecimal digits"},
      {"@\"x\"=hex:00,1", "4: the bytes are cut off: expected two hexadecimal digits"},
      {"@\"x\"=hex:00,\\", "4: expected a further line of bytes behind the backslash"},
      {"@\"x\"=hex(2:00", "4: expected the number of a type in parentheses, as in hex(2):"},
      {"@\"x\"=hex(2)00", "4: expected \"):\" behind the number of the type"},
      {"@\"x\"=\"y\" z", "4: expected the end of the line behind the value"}};
  for (const Case& test : cases) {
    CAPTURE(test.text);
    std::string text(test.text);
    if (text[0] == '@') text.replace(0, 1, "[HKEY_LOCAL_MACHINE\\A]\r\n");
    CHECK(Complaint(Wide(Header + text)) == "m.reg:" + std::string(test.complaint));
  }
  const std::string long256(256, 'k');
  CHECK(Complaint(Header + "[HKEY_LOCAL_MACHINE\\" + long256 + "]") ==
        "m.reg:3: a part of the key's name is too long: expected at most 255 characters");
  const std::string notAFile =
      "not a registry file: expected the line \"Windows Registry Editor Version 5.00\"";
  CHECK(Complaint("") == "m.reg:1: " + notAFile);
  CHECK(Complaint("Windows Registry Editor Version 5.001\r\n") == "m.reg:1: " + notAFile);
  CHECK(Complaint(Header + "; fine\r\n; \xFC\r\n") == "m.reg:4: expected UTF-16 or UTF-8");
  CHECK(Complaint(Wide(Header) + "x") ==
        "m.reg:3: the file ends within a character: expected UTF-16 of two bytes each");
}
