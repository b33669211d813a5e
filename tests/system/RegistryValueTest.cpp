#include <doctest/doctest.h>

#include <string>
#include <string_view>
#include <tuple>

#include "support/FailedCondition.h"
#include "support/TestHeap.h"
#include "support/Utf8.h"
#include "system/RegistryKey.h"

using namespace std::string_view_literals;
using Value = LCommon::System::RegistryKey::Value;

namespace {

LBuffer Bytes(std::string_view bytes) {
  return LBuffer(bytes.data(), static_cast<unsigned int>(bytes.size()));
}

}  // namespace

TEST_CASE("a value holds its type and its bytes") {
  TestHeap heap;
  LUnicodeString terminatorOnly(L"x");
  terminatorOnly.Delete(0);
  const std::tuple<Value, unsigned int, std::string_view> cases[] = {
      {Value(0x12345678u), 4, "\x78\x56\x34\x12"sv},
      {Value(Bytes("\x00\xFFz"sv)), 3, "\x00\xFFz"sv},
      {Value(LBuffer()), 3, ""sv},
      {Value(L"aB", Value::typeString), 1, "a\0B\0\0\0"sv},
      {Value(L"%x%", Value::typeExpandString), 2, "%\0x\0%\0\0\0"sv},
      {Value(LUnicodeString(), Value::typeString), 1, "\0\0"sv},
      {Value(terminatorOnly, Value::typeExpandString), 2, "\0\0"sv},
      {Value(7, Bytes("a\0\0\0\0\0"sv)), 7, "a\0\0\0\0\0"sv}};
  for (const auto& [value, type, bytes] : cases) {
    CAPTURE(type);
    CHECK(value.GetType() == type);
    const LBuffer data = value.GetData();
    CHECK(std::string(reinterpret_cast<const char*>(data.Data()), data.Size()) == bytes);
  }
}

TEST_CASE("stored text reads as well-formed text whatever the bytes are") {
  TestHeap heap;
  const std::pair<std::string_view, std::string> cases[] = {{"a\0b\0\0\0"sv, "ab"},
                                                            {"a\0b\0"sv, "ab"},
                                                            {"a\0b\0c"sv, "ab"},
                                                            {"a\0\0\0b\0"sv, "a"},
                                                            {"\0\0a\0\0\0"sv, ""},
                                                            {"a"sv, ""},
                                                            {""sv, ""},
                                                            {"\xE4\0\x20\xAC"sv, "\xC3\xA4\xEA\xB0\xA0"}};
  for (const auto& [bytes, expected] : cases) {
    CAPTURE(expected);
    CHECK(Utf8(Value(1, Bytes(bytes)).GetStringData()) == expected);
    CHECK(Utf8(Value(2, Bytes(bytes)).GetExpandStringData()) == expected);
  }
}

TEST_CASE("an accessor insists on its type and on enough bytes") {
  TestHeap heap;
  const LBuffer fourBytes = Bytes("abcd");
  for (const unsigned int type : {1u, 2u, 3u, 4u, 7u}) {
    CAPTURE(type);
    const Value value(type, fourBytes);
    const auto demands = [&](unsigned int wanted, const char* name) {
      return type == wanted ? "nothing" : std::string("m_type == ") + name;
    };
    CHECK(FailedCondition([&] { value.GetStringData(); }) == demands(1, "typeString"));
    CHECK(FailedCondition([&] { value.GetExpandStringData(); }) == demands(2, "typeExpandString"));
    CHECK(FailedCondition([&] { value.GetBinaryData(); }) == demands(3, "typeBinary"));
    CHECK(FailedCondition([&] { value.GetInt32Data(); }) == demands(4, "typeInt32"));
  }
  const Value twoBytes(Value::typeInt32, Bytes("ab"));
  CHECK(FailedCondition([&] { twoBytes.GetInt32Data(); }) == "m_data.Size() >= sizeof( uint32 )");
  CHECK(Value(Value::typeInt32, Bytes("\x01\x80\x02\xFFmore")).GetInt32Data() == 0xFF028001u);
  CHECK(Value(Value::typeBinary, fourBytes).GetBinaryData().Data() == fourBytes.Data());
}
