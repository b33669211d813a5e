#include <doctest/doctest.h>

#include <string>
#include <string_view>

#include "support/TestHeap.h"
#include "support/Throws.h"
#include "support/Utf8.h"
#include "system/RegistryKey.h"

namespace {

using Value = LCommon::System::RegistryKey::Value;

LBuffer Bytes(std::string_view bytes) {
  return LBuffer(bytes.data(), static_cast<unsigned int>(bytes.size()));
}

std::string Stored(const Value& value) {
  const LBuffer data = value.GetData();
  return {reinterpret_cast<const char*>(data.Data()), data.Size()};
}

}  // namespace

TEST_CASE("a value holds its type and its bytes") {
  TestHeap heap;
  using namespace std::string_view_literals;
  LUnicodeString terminatorOnly(L"x");
  terminatorOnly.Delete(0);
  const struct {
    Value value;
    unsigned int type;
    std::string_view bytes;
  } cases[] = {
      {Value(0x12345678u), 4, "\x78\x56\x34\x12"sv},
      {Value(Bytes("\x00\xFFz"sv)), 3, "\x00\xFFz"sv},
      {Value(LBuffer()), 3, ""sv},
      {Value(L"aB", Value::typeString), 1, "a\0B\0\0\0"sv},
      {Value(L"%x%", Value::typeExpandString), 2, "%\0x\0%\0\0\0"sv},
      {Value(LUnicodeString(), Value::typeString), 1, "\0\0"sv},
      {Value(terminatorOnly, Value::typeExpandString), 2, "\0\0"sv},
      {Value(7, Bytes("a\0\0\0\0\0"sv)), 7, "a\0\0\0\0\0"sv},
  };
  for (const auto& each : cases) {
    CAPTURE(each.type);
    CHECK(each.value.GetType() == each.type);
    CHECK(Stored(each.value) == each.bytes);
  }
}

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

TEST_CASE("an accessor insists on its type and on enough bytes") {
  TestHeap heap;
  const LBuffer fourBytes = Bytes("abcd");
  const struct {
    unsigned int type;
    std::string int32;
    std::string binary;
    std::string string;
    std::string expandString;
  } cases[] = {
      {1, "m_type == typeInt32", "m_type == typeBinary", "nothing", "m_type == typeExpandString"},
      {2, "m_type == typeInt32", "m_type == typeBinary", "m_type == typeString", "nothing"},
      {3, "m_type == typeInt32", "nothing", "m_type == typeString", "m_type == typeExpandString"},
      {4, "nothing", "m_type == typeBinary", "m_type == typeString", "m_type == typeExpandString"},
      {7, "m_type == typeInt32", "m_type == typeBinary", "m_type == typeString",
       "m_type == typeExpandString"},
  };
  for (const auto& expected : cases) {
    CAPTURE(expected.type);
    const Value value(expected.type, fourBytes);
    CHECK(Thrown([&] { value.GetInt32Data(); }) == expected.int32);
    CHECK(Thrown([&] { value.GetBinaryData(); }) == expected.binary);
    CHECK(Thrown([&] { value.GetStringData(); }) == expected.string);
    CHECK(Thrown([&] { value.GetExpandStringData(); }) == expected.expandString);
  }
  const Value twoBytes(Value::typeInt32, Bytes("ab"));
  CHECK(Thrown([&] { twoBytes.GetInt32Data(); }) == "m_data.Size() >= sizeof( uint32 )");
  CHECK(Value(Value::typeBinary, fourBytes).GetBinaryData().Data() == fourBytes.Data());
}
