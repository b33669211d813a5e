#include "machine/Paths.h"

#include <algorithm>

#include "machine/Text.h"

namespace winsim {
namespace {

bool IsSlash(char16_t unit) {
  return unit == u'\\' || unit == u'/';
}

/// Whether a path begins with a drive, which here may be any character: whether there is such a drive is
/// asked later.
bool BeginsWithDrive(std::u16string_view path) {
  return path.size() >= 2 && path[1] == u':';
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
  if (!BeginsWithDrive(path)) {
    return base + std::u16string(path);
  }
  const std::u16string_view rest = path.substr(2);
  if (EqualsIgnoringCase(path.substr(0, 2), base.substr(0, 2))) {
    return base + std::u16string(rest);
  }
  return std::u16string{FoldCase(path[0]), u':', u'\\'} + std::u16string(rest);
}

// The wildcards of the system beside *, which FindFirstFile puts in for what a user writes.
constexpr char16_t AllButLastDot = u'<';
constexpr char16_t UnitBeforeDot = u'>';
constexpr char16_t DotOrEnd = u'"';

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
  if (!(BeginsWithDrive(path) && path.substr(2, 1) == u"\\")) {
    path = MakeAbsolute(path, currentDirectory);
  }
  return Collapse(path, path.starts_with(u"\\\\") ? FixedPartOfUnc(path) : 3);
}

std::size_t FilePartOffset(std::u16string_view fullPath) {
  const std::size_t backslash = fullPath.rfind(u'\\');
  return backslash == std::u16string_view::npos || backslash < 2 ? fullPath.size() : backslash + 1;
}

std::u16string RootOfPath(std::u16string_view fullPath) {
  if (BeginsWithDrive(fullPath)) {
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

std::u16string_view DosDeviceName(std::u16string_view name) {
  if (name.size() > 1 && IsSlash(name[0]) && IsSlash(name[1])) {
    return {};
  }
  name.remove_prefix(name.find_last_of(u"\\/") + 1);
  name.remove_prefix(IsDrive(name.substr(0, 2)) ? 2 : 0);
  name = name.substr(0, name.find_first_of(u".:"));
  while (name.ends_with(u' ')) {
    name.remove_suffix(1);
  }
  static constexpr std::u16string_view plain[] = {u"AUX", u"CON", u"NUL", u"PRN"};
  static constexpr std::u16string_view numbered[] = {u"COM", u"LPT"};
  const bool hasNumber = name.size() == 4 && name[3] >= u'1' && name[3] <= u'9';
  const auto isName = [&](std::u16string_view device) {
    return EqualsIgnoringCase(name.substr(0, name.size() - (hasNumber ? 1 : 0)), device);
  };
  const bool isDevice = hasNumber ? std::any_of(std::begin(numbered), std::end(numbered), isName)
                                  : std::any_of(std::begin(plain), std::end(plain), isName);
  return isDevice ? name : std::u16string_view();
}

std::u16string SearchPattern(std::u16string_view name, bool endedInDot) {
  if (name == u"*.*") {
    return u"*";
  }
  std::u16string pattern = FoldCase(name);
  for (std::size_t i = 0; i < name.size(); ++i) {
    const char16_t next = i + 1 < name.size() ? name[i + 1] : endedInDot ? u'.' : u'\0';
    if (name[i] == u'?') {
      pattern[i] = UnitBeforeDot;
    } else if (name[i] == u'.' && (next == u'?' || next == u'*')) {
      pattern[i] = DotOrEnd;
    } else if (name[i] == u'*' && next == u'.') {
      pattern[i] = AllButLastDot;
    }
  }
  return pattern;
}

bool MatchesPattern(std::u16string_view name, std::u16string_view pattern) {
  const std::size_t end = pattern.size();
  const std::size_t lastDot = name.rfind(u'.');
  // The places in the pattern that the name can have led to so far, and those behind its next unit.
  std::vector<bool> places(end + 1);
  std::vector<bool> next(end + 1);
  places[0] = true;
  for (std::size_t i = 0; i <= name.size(); ++i) {
    const bool ended = i == name.size();
    const char16_t unit = ended ? u'\0' : FoldCase(name[i]);
    next.assign(end + 1, false);
    for (std::size_t place = 0; place < end; ++place) {
      if (!places[place]) {
        continue;
      }
      bool stays = false;   // takes the unit and goes on
      bool skips = false;   // stands for nothing here
      bool passes = false;  // takes the unit and is done
      switch (pattern[place]) {
        case u'*':
          stays = skips = true;
          break;
        case AllButLastDot:
          stays = i != lastDot;
          skips = true;
          break;
        case UnitBeforeDot:
          skips = ended || unit == u'.';
          passes = !skips;
          break;
        case DotOrEnd:
          skips = ended;
          passes = unit == u'.';
          break;
        default:
          passes = !ended && unit == pattern[place];
      }
      places[place + 1] = places[place + 1] || skips;
      next[place] = next[place] || stays;
      // What skips the rest of the pattern at a dot has taken the dot, too: so "?" finds the folder itself.
      next[place + 1] = next[place + 1] || passes || (skips && place + 1 == end && unit == u'.');
    }
    if (ended) {
      break;
    }
    places.swap(next);
  }
  return places[end];
}

}  // namespace winsim
