#include <doctest/doctest.h>

#include <string>

#include "support/TestHeap.h"
#include "support/Utf8.h"
#include "system/File.h"

namespace {

using LCommon::System::File;

/// Applies `rule` to a text in UTF-8.
std::string Apply(LUnicodeString (*rule)(LUnicodeString), const std::string& path) {
  return Utf8(rule(Utf16(path)));
}

}  // namespace

TEST_CASE("the small path rules change slashes as they say and nothing else") {
  TestHeap heap;
  const struct {
    LUnicodeString (*rule)(LUnicodeString);
    std::string path;
    const char* expected;
  } cases[] = {
      {File::SlashesToBackslashes, R"(a/b\c/)", R"(a\b\c\)"},
      {File::SlashesToBackslashes, "", ""},
      {File::CollapseSlashes, R"(\\\\srv\\share)", R"(\\srv\share)"},
      {File::CollapseSlashes, R"(//\a)", R"(//a)"},
      {File::CollapseSlashes, R"(a\/\b)", R"(a\b)"},
      {File::CollapseSlashes, R"(\a\\b)", R"(\a\b)"},
      {File::CollapseSlashes, R"(C:\\x)", R"(C:\x)"},
      {File::TrimLeadingSlashes, R"(/\a\)", R"(a\)"},
      {File::TrimLeadingSlashes, R"(\\/)", ""},
      {File::TrimTrailingSlashes, R"(\a\/)", R"(\a)"},
      {File::TrimTrailingSlashes, R"(\\)", ""},
      {File::WithTrailingBackslash, R"(C:)", R"(C:\)"},
      {File::WithTrailingBackslash, R"(C:\/\)", R"(C:\)"},
      {File::WithTrailingBackslash, "", R"(\)"},
  };
  for (const auto& each : cases) {
    CAPTURE(each.path);
    CHECK(Apply(each.rule, each.path) == each.expected);
  }
}

TEST_CASE("a path has one normalized spelling") {
  TestHeap heap;
  const struct {
    std::string path;
    const char* expected;
  } cases[] = {
      {"", ""},
      {R"(C:\)", "C:"},
      {"C:/a//b/", R"(C:\a\b)"},
      {R"(\\\\srv\\share)", R"(\\srv\share)"},
      {R"(\??\C:\Windows\)", R"(C:\Windows)"},
      {R"(/??/C:/Windows)", R"(C:\Windows)"},
      {R"(\\?\C:\x\)", R"(C:\x)"},
      {R"(\\.\C:)", "C:"},
      {R"(\\?\UNC\server\share)", R"(\\server\share)"},
      {R"(\??\UNC\server\share)", R"(\\server\share)"},
      {R"(\\.\unc\srv\share)", R"(\\srv\share)"},
      {R"(\\.\uncle\srv)", R"(\\.\uncle\srv)"},
      {R"(\\.\PhysicalDrive0)", R"(\\.\PhysicalDrive0)"},
      {R"(\\?\Volume{1}\f)", R"(\\.\Volume{1}\f)"},
      {R"(\??\)", R"(\??)"},
      {R"(x\??\C:\f)", R"(x\??\C:\f)"},
      {R"(\\.\CC:)", R"(\\.\CC:)"},
  };
  for (const auto& each : cases) {
    CAPTURE(each.path);
    CHECK(Apply(File::NormalizePath, each.path) == each.expected);
  }
}

TEST_CASE("network paths go on after two backslashes") {
  TestHeap heap;
  const struct {
    std::string path;
    bool expected;
  } cases[] = {
      {R"(\\srv\share)", true},
      {R"(//s)", true},
      {R"(\??\UNC\srv\share)", true},
      {R"(\\.\Device)", true},
      {R"(\\)", false},
      {R"(\\\\)", false},
      {R"(C:\)", false},
      {R"(\a)", false},
      {R"(\\?\C:\x)", false},
      {"", false},
  };
  for (const auto& each : cases) {
    CAPTURE(each.path);
    CHECK(File::IsNetworkPath(Utf16(each.path)) == each.expected);
  }
}

TEST_CASE("a path splits into its drive and the rest") {
  TestHeap heap;
  const struct {
    std::string path;
    const char* drive;
    const char* rest;
  } cases[] = {
      {R"(C:\\dir\\f)", "C:", R"(dir\f)"}, {R"(\\?\d:\f\)", "d:", "f"},  {"C:f", "C:", "f"}, {"C:", "C:", ""},
      {R"(\\srv\s)", "", R"(\\srv\s)"},    {R"(dir/f)", "", R"(dir\f)"}, {"", "", ""},
  };
  for (const auto& each : cases) {
    CAPTURE(each.path);
    LUnicodeString drive(L"left over");
    LUnicodeString rest(L"left over");
    File::SplitDrive(Utf16(each.path), drive, rest);
    CHECK(Utf8(drive) == each.drive);
    CHECK(Utf8(rest) == each.rest);
  }
}

TEST_CASE("a path splits into its non-empty components") {
  TestHeap heap;
  const struct {
    std::string path;
    const char* expected;
  } cases[] = {
      {R"(\\srv/share\dir\\f)", "srv|share|dir|f|"},
      {R"(C:\a\)", "C:|a|"},
      {"name", "name|"},
      {R"(\/\)", ""},
      {"", ""},
  };
  for (const auto& each : cases) {
    CAPTURE(each.path);
    const LUnicodeStringArray components = File::SplitPathComponents(Utf16(each.path));
    std::string joined;
    for (unsigned int index = 0; index < components.Length(); ++index) {
      joined += Utf8(components[index]) + "|";
    }
    CHECK(joined == each.expected);
  }
}
