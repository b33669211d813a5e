#include "conformance/Facts.h"

#include <algorithm>
#include <cstdio>
#include <set>

#include "conformance/Differences.h"

namespace {

bool IsWine() {
  return GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr;
}

std::string g_situation;
std::set<std::string> g_facts;
std::set<std::string> g_differences;

std::string ErrorText(DWORD error) {
  return error == Untouched ? "none" : std::to_string(error);
}

template <class Handle, class Close>
std::string HandleText(Handle handle, Handle failure, const std::string& kind, Close close) {
  const DWORD error = GetLastError();
  if (handle == failure) return ErrorText(error);
  CHECK(close(handle));
  return kind;
}

}  // namespace

void Given(const std::string& situation) {
  g_situation = situation;
}

void CheckFact(const std::string& call, const std::function<std::string()>& ask,
               const std::string& expected) {
  const std::string fact = g_situation + ": " + call;
  CHECK_MESSAGE(g_facts.insert(fact).second, "two facts are called: ", fact);
  const Difference* const difference = std::find_if(std::begin(Differences), std::end(Differences),
                                                    [&](const Difference& one) { return fact == one.fact; });
  if (!IsWine() || difference == std::end(Differences)) {
    const std::string answer = ask();
    CHECK_MESSAGE(answer == expected, fact, ": answered ", answer, ", expected ", expected);
    return;
  }
  g_differences.insert(fact);
  if (difference->wine == nullptr) return;
  const std::string answer = ask();
  CHECK_MESSAGE(answer == difference->wine, fact, ": answered ", answer, ", listed ", difference->wine);
  CHECK_MESSAGE(difference->wine != expected, fact, ": listed as a difference and is none");
}

void CheckTotals() {
  CHECK(g_facts.size() >= 200);
  for (const Difference& difference : Differences) {
    const std::string fact = difference.fact;
    CHECK_MESSAGE((!IsWine() || g_differences.count(fact) == 1), "listed and not checked: ", fact);
  }
  std::printf("[conformance] %u facts, %u of them differ as listed\n",
              static_cast<unsigned int>(g_facts.size()), static_cast<unsigned int>(g_differences.size()));
}

std::string BoolText(BOOL answer) {
  const DWORD error = GetLastError();
  return answer != FALSE ? "TRUE" : "FALSE " + ErrorText(error);
}

std::string LengthText(DWORD answer) {
  const DWORD error = GetLastError();
  return answer != 0 ? std::to_string(answer) : "0, " + ErrorText(error);
}

std::string StatusText(LSTATUS answer) {
  return std::to_string(static_cast<DWORD>(answer));
}

std::string FileText(HANDLE file) {
  return HandleText(file, INVALID_HANDLE_VALUE, "file " + ErrorText(GetLastError()), CloseHandle);
}

std::string ObjectText(HANDLE object) {
  return HandleText(object, static_cast<HANDLE>(nullptr), "object " + ErrorText(GetLastError()), CloseHandle);
}

std::string ServiceText(SC_HANDLE service) {
  return HandleText(service, static_cast<SC_HANDLE>(nullptr), "service", CloseServiceHandle);
}

std::string LeftText(bool) {
  return ErrorText(GetLastError());
}

Wide operator+(Wide left, const wchar_t* right) {
  for (std::size_t end = Narrow(left).size(); *right != 0; ++right) {
    REQUIRE(end + 1 < std::size(left.units));
    left.units[end++] = *right;
  }
  return left;
}

Wide InWindows(const wchar_t* name) {
  Wide path;
  REQUIRE(GetWindowsDirectoryW(path.units, MAX_PATH) != 0);
  return path + L"\\" + name;
}

std::string Narrow(const wchar_t* text, unsigned int length) {
  std::string result;
  for (unsigned int i = 0; i < length; ++i) {
    result += text[i] == 0 ? '|' : text[i] < 0x80 ? static_cast<char>(text[i]) : '?';
  }
  return result;
}

std::string Narrow(const wchar_t* text) {
  unsigned int length = 0;
  while (text[length] != 0) {
    ++length;
  }
  return Narrow(text, length);
}

std::string Stored(const wchar_t* path, const wchar_t* value) {
  HKEY key = nullptr;
  if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, path, 0, KEY_READ, &key) != 0) return "no key";
  wchar_t data[600] = {};
  DWORD type = 0;
  DWORD size = sizeof(data);
  const LSTATUS status = RegQueryValueExW(key, value, nullptr, &type, reinterpret_cast<BYTE*>(data), &size);
  CHECK(RegCloseKey(key) == 0);
  if (status != 0) return StatusText(status);
  return std::to_string(type) + ", " + (type == REG_DWORD ? std::to_string(data[0]) : Narrow(data, size / 2));
}
