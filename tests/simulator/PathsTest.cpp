#include <doctest/doctest.h>

#include "machine/Paths.h"
#include "machine/Text.h"

using winsim::FromUtf8;
using winsim::ToUtf8;

TEST_CASE("a full path is read as Windows reads it") {
  static const struct {
    // filePart is "" when there is none.
    const char *name, *fullPath, *filePart, *ntPath;
  } cases[] = {{"c:/a//b/", "c:\\a\\b\\", "", "\\??\\c:\\a\\b\\"},
               {"C:\\", "C:\\", "", "\\??\\C:\\"},
               {"C:\\a. \\b. . ", "C:\\a. \\b", "b", "\\??\\C:\\a. \\b"},
               {"C:\\a.\\x..\\b", "C:\\a\\x..\\b", "b", "\\??\\C:\\a\\x..\\b"},
               {"file", "C:\\cur\\dir\\file", "file", "\\??\\C:\\cur\\dir\\file"},
               {"..\\file", "C:\\cur\\file", "file", "\\??\\C:\\cur\\file"},
               {"C:file", "C:\\cur\\dir\\file", "file", "\\??\\C:\\cur\\dir\\file"},
               {"d:file", "D:\\file", "file", "\\??\\D:\\file"},
               {"//srv/share/d/../../f", "\\\\srv\\share\\f", "f", "\\??\\UNC\\srv\\share\\f"},
               {"\\\\srv", "\\\\srv", "", "\\??\\UNC\\srv"},
               {"\\\\.\\name", "\\\\.\\name", "name", "\\??\\name"},
               {"\\\\.\\C:\\a\\..\\b", "\\\\.\\C:\\b", "b", "\\??\\C:\\b"},
               {"\\\\?\\C:\\a\\..\\b", "\\\\?\\C:\\b", "b", "\\??\\C:\\a\\..\\b"},
               {"\\??\\C:\\a", "C:\\??\\C:\\a", "a", "\\??\\C:\\a"},
               {"  ", "", "", ""},
               {"", "", "", ""}};
  for (const auto& test : cases) {
    CAPTURE(test.name);
    const std::u16string full = winsim::FullPath(FromUtf8(test.name), u"C:\\cur\\dir");
    CHECK(ToUtf8(full) == test.fullPath);
    CHECK(ToUtf8(full.substr(winsim::FilePartOffset(full))) == test.filePart);
    CHECK(ToUtf8(winsim::NtPath(FromUtf8(test.name), u"C:\\cur\\dir")) == test.ntPath);
  }
}

TEST_CASE("no pattern takes longer than name times pattern") {
  const std::u16string pattern = winsim::SearchPattern(u"*a*a*a*a*a*a*a*a*a*a*a*a*a*a*ab", false);
  const std::u16string name(200, u'a');
  CHECK_FALSE(winsim::MatchesPattern(name, pattern));
  CHECK(winsim::MatchesPattern(name + u"B", pattern));
}
