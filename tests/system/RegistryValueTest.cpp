#include <doctest/doctest.h>

#include <string>
#include <string_view>

#include "support/TestHeap.h"
#include "support/Utf8.h"
#include "system/RegistryKey.h"

namespace {

using Value = LCommon::System::RegistryKey::Value;

LBuffer Bytes(std::string_view bytes) {
  return LBuffer(bytes.data(), static_cast<unsigned int>(bytes.size()));
}

}  // namespace

TEST_CASE("stored text reads as well-formed text whatever the bytes are") {
  TestHeap heap;
  using namespace std::string_view_literals;
  const struct {
    std::string_view bytes;
    std::string expected;
  } cases[] = {
      {"a\0b\0\0\0"sv, "ab"},
      {"a\0b\0"sv, "ab"},
      {"a\0b\0c"sv, "ab"},
      {"a\0\0\0b\0"sv, "a"},
      {"\0\0a\0\0\0"sv, ""},
      {"a"sv, ""},
      {""sv, ""},
      {"\xE4\0\x20\xAC"sv, "\xC3\xA4\xEA\xB0\xA0"},
  };
  for (const auto& each : cases) {
    CAPTURE(each.expected);
    CHECK(Utf8(Value(1, Bytes(each.bytes)).GetStringData()) == each.expected);
    CHECK(Utf8(Value(2, Bytes(each.bytes)).GetExpandStringData()) == each.expected);
  }
}

TEST_CASE("numbers are read from the first four bytes") {
  TestHeap heap;
  CHECK(Value(0xFEDCBA98u).GetInt32Data() == 0xFEDCBA98u);
  CHECK(Value(Value::typeInt32, Bytes("\x01\x80\x02\xFFmore")).GetInt32Data() == 0xFF028001u);
}
