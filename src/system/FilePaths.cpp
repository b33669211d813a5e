#include "foundation/WideText.h"
#include "system/File.h"

// The spelling of paths. Nothing here asks the platform.

namespace LCommon::System {

namespace {

constexpr bool IsSlash(wchar_t unit) {
  return unit == L'\\' || unit == L'/';
}

bool BeginsWith(const LUnicodeString& path, const wchar_t* prefix) {
  return path.Mid(0, LWideText::Length(prefix)) == prefix;
}

LUnicodeString ReplaceStart(const LUnicodeString& path, unsigned int count, const wchar_t* replacement) {
  return LUnicodeString(replacement) + path.Mid(count);
}

}  // namespace

LUnicodeString File::SlashesToBackslashes(LUnicodeString path) {
  for (unsigned int index = 0; index < path.Length(); ++index) {
    if (path.Data()[index] == L'/') path[index] = L'\\';
  }
  return path;
}

LUnicodeString File::CollapseSlashes(LUnicodeString path) {
  LUnicodeString result;
  for (unsigned int index = 0; index < path.Length(); ++index) {
    const wchar_t unit = path.Data()[index];
    const bool repeated = index > 1 && IsSlash(unit) && IsSlash(path.Data()[index - 1]);
    if (!repeated) result.Append(unit);
  }
  return result;
}

LUnicodeString File::TrimLeadingSlashes(LUnicodeString path) {
  unsigned int index = 0;
  while (index < path.Length() && IsSlash(path.Data()[index])) {
    ++index;
  }
  return path.Mid(index);
}

LUnicodeString File::TrimTrailingSlashes(LUnicodeString path) {
  unsigned int length = path.Length();
  while (length > 0 && IsSlash(path.Data()[length - 1])) {
    --length;
  }
  return path.Mid(0, length);
}

LUnicodeString File::WithTrailingBackslash(LUnicodeString path) {
  return TrimTrailingSlashes(path) + L'\\';
}

LUnicodeString File::NormalizePath(LUnicodeString path) {
  path = TrimTrailingSlashes(CollapseSlashes(SlashesToBackslashes(path)));
  // The order matters: each prefix is brought to the form that the next rule expects.
  if (BeginsWith(path, L"\\??\\") || BeginsWith(path, L"\\\\?\\")) path = ReplaceStart(path, 4, L"\\\\.\\");
  if (path.Mid(0, 8) == LUnicodeString(L"\\\\.\\UNC\\")) path = ReplaceStart(path, 8, L"\\\\");
  if (path.Length() >= 6 && BeginsWith(path, L"\\\\.\\") && path.Data()[5] == L':') path.Delete(0, 4);
  return path;
}

bool File::IsNetworkPath(LUnicodeString path) {
  const LUnicodeString normalized = NormalizePath(path);
  return normalized.Length() > 2 && BeginsWith(normalized, L"\\\\");
}

bool File::HasDrive(const LUnicodeString& path) {
  return path.Length() >= 2 && path.Data()[1] == L':';
}

void File::SplitDrive(LUnicodeString path, LUnicodeString& drive, LUnicodeString& rest) {
  const LUnicodeString normalized = NormalizePath(path);
  const bool hasDrive = HasDrive(normalized);
  drive = normalized.Mid(0, hasDrive ? 2 : 0);
  rest = hasDrive ? TrimLeadingSlashes(normalized.Mid(2)) : normalized;
}

LUnicodeStringArray File::SplitPathComponents(LUnicodeString path) {
  LUnicodeStringArray components;
  unsigned int start = 0;
  for (unsigned int index = 0; index <= path.Length(); ++index) {
    if (index < path.Length() && !IsSlash(path.Data()[index])) continue;
    if (index > start) components.Append(path.Mid(start, index - start));
    start = index + 1;
  }
  return components;
}

}  // namespace LCommon::System
