#include "machine/Paths.h"

#include <algorithm>

#include "machine/Text.h"

namespace winsim {
namespace {

bool IsSlash(char16_t unit) {
  return unit == u'\\' || unit == u'/';
}

/// Number of units at the start of a path with two leading backslashes that ".." cannot take away.
std::size_t FixedPartOfUnc(std::u16string_view path) {
  const std::size_t afterServer = path.find(u'\\', 2);
  if (afterServer == std::u16string_view::npos) {
    return path.size();
  }
  const std::size_t afterShare = path.find(u'\\', afterServer + 1);
  return afterShare == std::u16string_view::npos ? path.size() : afterShare + 1;
}

/// Resolves what follows the fixed part: repeated backslashes, "." and "..", trailing dots and spaces.
std::u16string Collapse(std::u16string_view path, std::size_t fixedPart) {
  const bool endsInBackslash = path.size() > fixedPart && path.back() == u'\\';
  std::vector<std::u16string> kept;
  for (std::u16string& piece : SplitAtBackslashes(path.substr(fixedPart))) {
    if (piece.empty() || piece == u".") {
      continue;
    }
    if (piece == u"..") {
      if (!kept.empty()) {
        kept.pop_back();
      }
      continue;
    }
    kept.push_back(std::move(piece));
  }
  std::u16string result(path.substr(0, fixedPart));
  for (std::size_t i = 0; i < kept.size(); ++i) {
    const bool isLast = i + 1 == kept.size();
    if (!isLast || endsInBackslash) {
      // A folder's name loses a single dot, not several.
      if (kept[i].ends_with(u'.') && !kept[i].ends_with(u"..")) {
        kept[i].pop_back();
      }
      result += kept[i] + u'\\';
    } else {
      result += kept[i];
    }
  }
  while (result.size() > fixedPart && (result.back() == u'.' || result.back() == u' ')) {
    result.pop_back();
  }
  return result;
}

/// Part of a path that is only the current directory's or a drive's to give.
std::u16string MakeAbsolute(std::u16string_view path, std::u16string_view currentDirectory) {
  const std::u16string base =
      std::u16string(currentDirectory) + (currentDirectory.ends_with(u'\\') ? u"" : u"\\");
  if (path.starts_with(u"\\")) {
    return RootOfPath(base) + std::u16string(path.substr(1));
  }
  if (!IsDrive(path.substr(0, 2))) {
    return base + std::u16string(path);
  }
  const std::u16string_view rest = path.substr(2);
  if (EqualsIgnoringCase(path.substr(0, 2), base.substr(0, 2))) {
    return base + std::u16string(rest);
  }
  return std::u16string{FoldCase(path[0]), u':', u'\\'} + std::u16string(rest);
}

// In search patterns Windows has three more wildcards, which FindFirstFile puts in for what a user writes:
// one for any text up to the last dot, one for a unit or the end of a part, and one for a dot or the end.
constexpr char16_t AnyToLastDot = u'<';
constexpr char16_t UnitOrEnd = u'>';
constexpr char16_t DotOrEnd = u'"';

std::u16string TranslatePattern(std::u16string_view pattern) {
  if (pattern == u"*.*") {
    return u"*";
  }
  std::u16string result(pattern);
  for (std::size_t i = 0; i < result.size(); ++i) {
    const char16_t next = i + 1 < pattern.size() ? pattern[i + 1] : u'\0';
    if (pattern[i] == u'?') {
      result[i] = UnitOrEnd;
    } else if (pattern[i] == u'.' && (next == u'?' || next == u'*')) {
      result[i] = DotOrEnd;
    } else if (pattern[i] == u'*' && next == u'.') {
      result[i] = AnyToLastDot;
    }
  }
  return result;
}

bool Matches(std::u16string_view name, std::u16string_view pattern) {
  if (pattern.empty()) {
    return name.empty();
  }
  const char16_t first = pattern[0];
  const std::u16string_view rest = pattern.substr(1);
  switch (first) {
    case u'*':
      for (std::size_t taken = 0; taken <= name.size(); ++taken) {
        if (Matches(name.substr(taken), rest)) {
          return true;
        }
      }
      return false;
    case AnyToLastDot: {
      // It ends in front of a dot with no other behind it that it could take, or at the end.
      for (std::size_t taken = 0; taken <= name.size(); ++taken) {
        const bool ends =
            taken == name.size() || (name[taken] == u'.' && name.find(u'.', taken + 1) == name.npos);
        if (ends && Matches(name.substr(taken), rest)) {
          return true;
        }
      }
      return rest == u"." && name.find(u'.') == name.npos;
    }
    case UnitOrEnd:
      return name.empty() || name[0] == u'.' ? Matches(name, rest) : Matches(name.substr(1), rest);
    case DotOrEnd:
      return (!name.empty() && name[0] == u'.' && Matches(name.substr(1), rest)) ||
             (name.empty() && Matches(name, rest));
    default:
      return !name.empty() && FoldCase(name[0]) == FoldCase(first) && Matches(name.substr(1), rest);
  }
}

}  // namespace

std::u16string FullPath(std::u16string_view name, std::u16string_view currentDirectory) {
  while (name.ends_with(u' ')) {
    name.remove_suffix(1);
  }
  if (name.empty()) {
    return {};
  }
  std::u16string path(name);
  std::replace(path.begin(), path.end(), u'/', u'\\');
  if (path == u"\\\\." || path == u"\\\\?") {
    return path + u'\\';
  }
  if (path.starts_with(u"\\\\.\\") || path.starts_with(u"\\\\?\\")) {
    return Collapse(path, 4);
  }
  if (path.starts_with(u"\\\\")) {
    return Collapse(path, FixedPartOfUnc(path));
  }
  if (!(IsDrive(path.substr(0, 2)) && path.size() > 2 && path[2] == u'\\')) {
    path = MakeAbsolute(path, currentDirectory);
  }
  return Collapse(path, path.starts_with(u"\\\\") ? FixedPartOfUnc(path) : 3);
}

std::size_t FilePartOffset(std::u16string_view fullPath) {
  const std::size_t backslash = fullPath.rfind(u'\\');
  return backslash == std::u16string_view::npos || backslash < 2 ? fullPath.size() : backslash + 1;
}

std::u16string RootOfPath(std::u16string_view fullPath) {
  if (IsDrive(fullPath.substr(0, 2))) {
    return std::u16string(fullPath.substr(0, 2)) + u'\\';
  }
  if (!fullPath.starts_with(u"\\\\")) {
    return {};
  }
  const bool isDevice = fullPath.starts_with(u"\\\\.\\") || fullPath.starts_with(u"\\\\?\\");
  const bool isUnc = !isDevice || EqualsIgnoringCase(fullPath.substr(4, 4), u"UNC\\");
  std::size_t end = !isDevice ? 2 : isUnc ? 8 : 4;
  if (isUnc) {
    end = fullPath.find(u'\\', end);
    if (end == std::u16string_view::npos || ++end == fullPath.size()) {
      return {};
    }
  }
  return std::u16string(fullPath.substr(0, fullPath.find(u'\\', end))) + u'\\';
}

std::u16string NtPath(std::u16string_view name, std::u16string_view currentDirectory) {
  if (name.starts_with(u"\\\\?\\") || name.starts_with(u"\\??\\")) {
    return u"\\??\\" + std::u16string(name.substr(4));
  }
  const std::u16string full = FullPath(name, currentDirectory);
  if (full.empty()) {
    return {};
  }
  if (full.starts_with(u"\\\\.\\") || full.starts_with(u"\\\\?\\")) {
    return u"\\??\\" + full.substr(4);
  }
  return full.starts_with(u"\\\\") ? u"\\??\\UNC" + full.substr(1) : u"\\??\\" + full;
}

std::vector<std::u16string> SplitAtBackslashes(std::u16string_view text) {
  std::vector<std::u16string> result;
  for (std::size_t start = 0; !text.empty() && start <= text.size();) {
    const std::size_t end = std::min(text.find(u'\\', start), text.size());
    result.emplace_back(text.substr(start, end - start));
    start = end + 1;
  }
  return result;
}

bool IsValidFileName(std::u16string_view name) {
  return !name.empty() && name.size() <= 255 && name != u"." && name != u".." &&
         std::none_of(name.begin(), name.end(), [](char16_t unit) {
           return unit < 0x20 || IsSlash(unit) ||
                  std::u16string_view(u"<>:\"|?*").find(unit) != std::u16string_view::npos;
         });
}

bool IsDrive(std::u16string_view text) {
  return text.size() == 2 && text[1] == u':' && FoldCase(text[0]) >= u'A' && FoldCase(text[0]) <= u'Z';
}

bool MatchesPattern(std::u16string_view name, std::u16string_view pattern) {
  return Matches(name, TranslatePattern(pattern));
}

}  // namespace winsim
