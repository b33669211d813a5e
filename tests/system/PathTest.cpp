#include <doctest/doctest.h>

#include <string>
#include <tuple>
#include <vector>

#include "support/TestHeap.h"
#include "support/Utf8.h"
#include "system/File.h"

using LCommon::System::File;

TEST_CASE("the path rules change a path as they say and nothing else") {
  TestHeap heap;
  // Each text is a path and, behind " > ", what the rule makes of it.
  const std::pair<LUnicodeString (*)(LUnicodeString), std::vector<std::string>> cases[] = {
      {File::SlashesToBackslashes, {R"(a/b\c/ > a\b\c\)", " > "}},
      {File::CollapseSlashes,
       {R"(\\\\srv\\share > \\srv\share)", R"(//\a > //a)", R"(a\/\b > a\b)", R"(\a\\b > \a\b)"}},
      {File::TrimLeadingSlashes, {R"(/\a\ > a\)", R"(\\/ > )"}},
      {File::TrimTrailingSlashes, {R"(\a\/ > \a)", R"(\\ > )"}},
      {File::WithTrailingBackslash, {R"(C: > C:\)", R"(C:\/\ > C:\)", R"( > \)"}},
      {File::NormalizePath,
       {" > ", R"(C:\ > C:)", R"(C:/a//b/ > C:\a\b)", R"(\\\\srv\\share > \\srv\share)",
        R"(/??/C:/Windows > C:\Windows)", R"(\\?\C:\x\ > C:\x)", R"(\\.\C: > C:)",
        R"(\\?\UNC\s\share > \\s\share)", R"(\??\UNC\s\share > \\s\share)", R"(\\.\unc\s\share > \\s\share)",
        R"(\\.\uncle\srv > \\.\uncle\srv)", R"(\\?\Volume{1}\f > \\.\Volume{1}\f)", R"(\??\ > \??)",
        R"(x\??\C:\f > x\??\C:\f)", R"(\\.\CC: > \\.\CC:)"}}};
  for (const auto& [rule, texts] : cases) {
    for (const std::string& text : texts) {
      CAPTURE(text);
      const std::size_t arrow = text.find(" > ");
      CHECK(Utf8(rule(Utf16(text.substr(0, arrow)))) == text.substr(arrow + 3));
    }
  }
}

TEST_CASE("network paths go on after two backslashes") {
  TestHeap heap;
  for (const wchar_t* const path :
       {LR"(\\srv\share)", LR"(//s)", LR"(\??\UNC\srv\share)", LR"(\\.\Device)"}) {
    CHECK(File::IsNetworkPath(path));
  }
  for (const wchar_t* const path : {LR"(\\)", LR"(\\\\)", LR"(C:\)", LR"(\a)", LR"(\\?\C:\x)", L""}) {
    CHECK_FALSE(File::IsNetworkPath(path));
  }
}

TEST_CASE("a path splits into its drive and the rest, and into its non-empty components") {
  TestHeap heap;
  const std::tuple<std::string, std::string, std::string> drives[] = {
      {R"(C:\\dir\\f)", "C:", R"(dir\f)"}, {R"(\\?\d:\f\)", "d:", "f"},  {"C:f", "C:", "f"}, {"C:", "C:", ""},
      {R"(\\srv\s)", "", R"(\\srv\s)"},    {R"(dir/f)", "", R"(dir\f)"}, {"", "", ""}};
  for (const auto& [path, expectedDrive, expectedRest] : drives) {
    LUnicodeString drive(L"left over"), rest(L"left over");
    File::SplitDrive(Utf16(path), drive, rest);
    CHECK(Utf8(drive) == expectedDrive);
    CHECK(Utf8(rest) == expectedRest);
  }
  const std::pair<std::string, std::string> components[] = {
      {R"(\\srv/share\dir\\f)", "srv|share|dir|f|"}, {R"(C:\a\)", "C:|a|"}, {R"(\/\)", ""}, {"", ""}};
  for (const auto& [path, expected] : components) {
    const LUnicodeStringArray parts = File::SplitPathComponents(Utf16(path));
    std::string joined;
    for (unsigned int index = 0; index < parts.Length(); ++index) {
      joined += Utf8(parts[index]) + "|";
    }
    CHECK(joined == expected);
  }
}
