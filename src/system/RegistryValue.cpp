#include "foundation/Assert.h"
#include "system/RegistryKey.h"

namespace LCommon::System {

namespace {

LBuffer Int32Bytes(std::uint32_t number) {
  const unsigned char bytes[] = {static_cast<unsigned char>(number), static_cast<unsigned char>(number >> 8),
                                 static_cast<unsigned char>(number >> 16),
                                 static_cast<unsigned char>(number >> 24)};
  return LBuffer(bytes, sizeof(bytes));
}

// An empty text may have no block, and yet a value needs its terminator.
LBuffer TextBytes(LUnicodeString text) {
  const wchar_t terminator = 0;
  return text.IsEmpty() ? LBuffer(&terminator, sizeof(terminator)) : text.Buffer();
}

}  // namespace

RegistryKey::Value::Value(std::uint32_t number) : Value(typeInt32, Int32Bytes(number)) {}

RegistryKey::Value::Value(LUnicodeString text, Type type) : Value(type, TextBytes(text)) {}

std::uint32_t RegistryKey::Value::GetInt32Data() const {
  L_ASSERT(m_type == typeInt32);
  L_ASSERT_TEXT(m_data.Size() >= sizeof(std::uint32_t), "m_data.Size() >= sizeof( uint32 )");
  const unsigned char* const bytes = m_data.Data();
  return static_cast<std::uint32_t>(bytes[0]) | static_cast<std::uint32_t>(bytes[1]) << 8 |
         static_cast<std::uint32_t>(bytes[2]) << 16 | static_cast<std::uint32_t>(bytes[3]) << 24;
}

LBuffer RegistryKey::Value::GetBinaryData() const {
  L_ASSERT(m_type == typeBinary);
  return m_data;
}

LUnicodeString RegistryKey::Value::GetStringData() const {
  L_ASSERT(m_type == typeString);
  return LUnicodeString::FromZeroTerminated(m_data);
}

LUnicodeString RegistryKey::Value::GetExpandStringData() const {
  L_ASSERT(m_type == typeExpandString);
  return LUnicodeString::FromZeroTerminated(m_data);
}

}  // namespace LCommon::System
