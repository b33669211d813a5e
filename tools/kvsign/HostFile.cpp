#include "HostFile.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "Errors.h"
#include "common/Output.h"

namespace kvsign {
namespace {

constexpr mode_t Permissions = 0777;

/// A file descriptor, closed at the end.
class Descriptor {
 public:
  explicit Descriptor(int number) : m_number(number) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() { Close(); }

  int Number() const { return m_number; }
  bool IsOpen() const { return m_number >= 0; }
  /// Whether it closed well; nothing happens the second time.
  bool Close() {
    const int number = std::exchange(m_number, -1);
    return number < 0 || close(number) == 0;
  }

 private:
  int m_number;
};

/// Why the last call failed, in lower case as in the middle of a sentence.
std::string LastError() {
  std::string text = std::strerror(errno);
  if (text.size() > 1 && text[1] >= 'a' && text[1] <= 'z') {
    text[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(text[0])));
  }
  return text;
}

bool ReadAll(int descriptor, Bytes& bytes) {
  for (std::size_t done = 0; done < bytes.size();) {
    const ssize_t count = read(descriptor, bytes.data() + done, bytes.size() - done);
    if (count < 0 && errno == EINTR) continue;
    if (count == 0) errno = EIO;  // somebody made the file shorter
    if (count <= 0) return false;
    done += static_cast<std::size_t>(count);
  }
  return true;
}

bool WriteAll(int descriptor, const Bytes& bytes) {
  for (std::size_t done = 0; done < bytes.size();) {
    const ssize_t count = write(descriptor, bytes.data() + done, bytes.size() - done);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return false;
    done += static_cast<std::size_t>(count);
  }
  return true;
}

tools::OutputError NotWritten(const std::string& path, const std::string& why) {
  return tools::OutputError(fmt::format("{}: cannot be written: {}", path, why));
}

}  // namespace

HostFile ReadHostFile(const std::string& path, std::uint64_t maximalSize) {
  // Not waiting for the other end of a pipe, which is refused below.
  const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  struct stat facts = {};
  if (!file.IsOpen() || fstat(file.Number(), &facts) != 0) {
    throw FileError(path, "cannot be opened: " + LastError());
  }
  if (S_ISDIR(facts.st_mode)) throw FileError(path, "is a folder; expected a file");
  if (!S_ISREG(facts.st_mode)) throw FileError(path, "is no regular file; copy its contents to one");
  if (facts.st_size == 0) throw FileError(path, "is empty");
  const auto size = static_cast<std::uint64_t>(facts.st_size);
  if (size > maximalSize) {
    throw FileError(path, fmt::format("has {} bytes; expected at most {}", size, maximalSize));
  }
  HostFile result{Bytes(size), facts.st_mode & Permissions};
  if (!ReadAll(file.Number(), result.bytes)) throw FileError(path, "cannot be read: " + LastError());
  return result;
}

void WriteHostFile(const std::string& path, const Bytes& bytes, mode_t mode) {
  std::error_code error;
  const std::filesystem::path resolved = std::filesystem::canonical(path, error);
  const std::string target = error ? path : resolved.string();
  struct stat facts = {};
  if (stat(target.c_str(), &facts) == 0) {
    if (!S_ISREG(facts.st_mode)) throw NotWritten(path, "it is no regular file");
    mode = facts.st_mode & Permissions;
  }

  std::string temporary = target + ".XXXXXX";
  Descriptor file(mkostemp(temporary.data(), O_CLOEXEC));
  if (!file.IsOpen()) throw NotWritten(path, LastError());
  if (!WriteAll(file.Number(), bytes) || fchmod(file.Number(), mode) != 0 || fsync(file.Number()) != 0 ||
      !file.Close() || std::rename(temporary.c_str(), target.c_str()) != 0) {
    const std::string why = LastError();
    unlink(temporary.c_str());
    throw NotWritten(path, why);
  }
}

}  // namespace kvsign
