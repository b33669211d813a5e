#include "system/File.h"

#include "system/EnumTable.h"
#include "system/FileErrors.h"
#include "system/Growth.h"
#include "system/OptionalText.h"
#include "system/PlatformApi.h"

namespace LCommon::System {

namespace {

FILETIME ToFileTime(std::uint64_t time) {
  return {static_cast<DWORD>(time), static_cast<DWORD>(time >> 32)};
}

}  // namespace

File::File(LUnicodeString name, unsigned int access, unsigned int share, unsigned int flagsAndAttributes,
           unsigned int disposition)
    : m_handle(LMakeRef<Handle>()) {
  static constexpr DWORD masks[] = {GENERIC_READ, GENERIC_READ | GENERIC_WRITE,
                                    GENERIC_READ | GENERIC_EXECUTE,
                                    GENERIC_READ | GENERIC_WRITE | GENERIC_EXECUTE};
  if (!m_handle->Adopt(CreateFileU(OptionalText(name), EntryFor(masks, access), share, nullptr, disposition,
                                   flagsAndAttributes, nullptr))) {
    openErrors.Throw(L_HERE, GetLastError());
  }
}

unsigned int File::TypicalShare(unsigned int access) {
  static constexpr unsigned int shares[] = {FILE_SHARE_READ, 0, FILE_SHARE_READ, 0};
  return EntryFor(shares, access);
}

std::uint64_t File::GetSize() const {
  DWORD high = 0;
  // A low half of all ones is a size as well as the failure mark; only the last error tells them apart.
  SetLastError(NO_ERROR);
  const DWORD low = GetFileSize(m_handle->Get(), &high);
  if (low == INVALID_FILE_SIZE) {
    const DWORD error = GetLastError();
    if (error != NO_ERROR) throw Exception(L_HERE, error);
  }
  return static_cast<std::uint64_t>(high) << 32 | low;
}

unsigned int File::Write(const void* data, unsigned int size) {
  DWORD written = 0;
  if (!WriteFile(m_handle->Get(), data, size, &written, nullptr)) accessErrors.Throw(L_HERE, GetLastError());
  return written;
}

unsigned int File::Write(LBuffer data) {
  return Write(data.Data(), data.Size());
}

void File::SetTime(std::uint64_t creation, std::uint64_t lastAccess, std::uint64_t lastWrite) {
  const FILETIME times[] = {ToFileTime(creation), ToFileTime(lastAccess), ToFileTime(lastWrite)};
  if (!SetFileTime(m_handle->Get(), &times[0], &times[1], &times[2])) {
    attributeErrors.Throw(L_HERE, GetLastError());
  }
}

LBuffer File::Control(unsigned int code, LBuffer input, unsigned int outputSize,
                      unsigned int growOnMoreData) {
  LBuffer output;
  output.SetSize(outputSize);
  for (;;) {
    DWORD returned = 0;
    BOOL done;
    DWORD error;
    {
      const LBufferLock lock(output);
      done = DeviceIoControl(m_handle->Get(), code, const_cast<unsigned char*>(input.Data()), input.Size(),
                             lock.Data(), output.Size(), &returned, nullptr);
      error = GetLastError();
    }
    if (done) {
      output.SetSize(returned);
      return output;
    }
    if (error != ERROR_MORE_DATA || !growOnMoreData) requestErrors.Throw(L_HERE, error);
    output.SetSize(output.IsEmpty() ? 64 : Doubled(output.Size()));
  }
}

LBuffer File::Control(unsigned int code, unsigned int outputSize, unsigned int growOnMoreData) {
  return Control(code, LBuffer(), outputSize, growOnMoreData);
}

void File::Control(unsigned int code, LBuffer input) {
  try {
    Control(code, input, 0, 0);
  } catch (const MoreDataException&) {
    // The driver has output to give; the request itself was carried out.
  }
}

}  // namespace LCommon::System
