#include <algorithm>

#include "api/Call.h"
#include "machine/CodePages.h"

// Code pages. Text that is converted is not traced: it is data, and often has no terminator.

using namespace winsim;

namespace {

constexpr UINT CP_THREAD_ACP = 3;
constexpr DWORD MB_PRECOMPOSED = 1;
constexpr DWORD MB_COMPOSITE = 2;
constexpr DWORD MB_USEGLYPHCHARS = 4;
constexpr DWORD WC_NO_BEST_FIT_CHARS = 0x400;
constexpr DWORD WC_ERR_INVALID_CHARS = 0x80;

const CodePage* FindPage(const Thread& thread, UINT number) {
  const Settings& settings = thread.GetMachine().settings;
  switch (number) {
    case CP_ACP:
    case CP_THREAD_ACP:
      return CodePage::Find(settings.ansiCodePage);
    case CP_OEMCP:
      return CodePage::Find(settings.oemCodePage);
    default:
      return CodePage::Find(number);
  }
}

/// Number of units to convert: up to and with the terminator for a negative length.
template <class Unit>
std::size_t SourceLength(const Unit* source, int length) {
  if (length >= 0) {
    return static_cast<std::size_t>(length);
  }
  std::size_t end = 0;
  while (source[end] != 0) {
    ++end;
  }
  return end + 1;
}

template <class Source, class Target>
bool AreArgumentsValid(const Source* source, int sourceLength, const Target* target, int targetLength) {
  return source != nullptr && sourceLength != 0 && targetLength >= 0 &&
         (target != nullptr || targetLength == 0) &&
         static_cast<const void*>(source) != static_cast<const void*>(target);
}

}  // namespace

UINT WINAPI GetACP() {
  return PlainCall("GetACP", {}, [](Thread& thread) { return thread.GetMachine().settings.ansiCodePage; });
}

UINT WINAPI GetOEMCP() {
  return PlainCall("GetOEMCP", {}, [](Thread& thread) { return thread.GetMachine().settings.oemCodePage; });
}

BOOL WINAPI AreFileApisANSI() {
  return PlainCall("AreFileApisANSI", {}, [](Thread& thread) -> BOOL {
    return thread.GetMachine().settings.fileApisUseAnsi ? TRUE : FALSE;
  });
}

BOOL WINAPI GetCPInfo(UINT codePage, LPCPINFO information) {
  return BoolCall("GetCPInfo", {codePage}, [&](Thread& thread) -> DWORD {
    const CodePage* const page = FindPage(thread, codePage);
    if (page == nullptr || information == nullptr) {
      return ERROR_INVALID_PARAMETER;
    }
    *information = {page->MaximalCharacterSize(), {'?', 0}, {}};
    std::copy(page->LeadByteRanges().begin(), page->LeadByteRanges().end(), information->LeadByte);
    return ERROR_SUCCESS;
  });
}

int WINAPI MultiByteToWideChar(UINT codePage, DWORD flags, LPCCH source, int sourceLength, LPWSTR target,
                               int targetLength) {
  return ValueCall(
      "MultiByteToWideChar", {codePage, flags, sourceLength, targetLength}, 0,
      [&](Thread& thread, DWORD& error) {
        const CodePage* const page = FindPage(thread, codePage);
        if (page == nullptr || !AreArgumentsValid(source, sourceLength, target, targetLength)) {
          error = ERROR_INVALID_PARAMETER;
          return 0;
        }
        const DWORD known =
            MB_ERR_INVALID_CHARS |
            (page->Number() == CP_UTF8 ? 0 : MB_PRECOMPOSED | MB_COMPOSITE | MB_USEGLYPHCHARS);
        if ((flags & ~known) != 0) {
          error = ERROR_INVALID_FLAGS;
          return 0;
        }
        bool malformed = false;
        const std::u16string text = page->Decode({source, SourceLength(source, sourceLength)}, &malformed);
        if (malformed && (flags & MB_ERR_INVALID_CHARS) != 0) {
          error = ERROR_NO_UNICODE_TRANSLATION;
          return 0;
        }
        const auto length = static_cast<int>(text.size());
        for (int i = 0; i < std::min(length, targetLength); ++i) {
          target[i] = static_cast<wchar_t>(text[static_cast<std::size_t>(i)]);
        }
        if (targetLength != 0 && length > targetLength) {
          error = ERROR_INSUFFICIENT_BUFFER;
          return 0;
        }
        return length;
      });
}

int WINAPI WideCharToMultiByte(UINT codePage, DWORD flags, LPCWCH source, int sourceLength, LPSTR target,
                               int targetLength, LPCCH defaultCharacter, LPBOOL usedDefault) {
  return ValueCall(
      "WideCharToMultiByte", {codePage, flags, sourceLength, targetLength}, 0,
      [&](Thread& thread, DWORD& error) {
        const CodePage* const page = FindPage(thread, codePage);
        const bool toUtf8 = page != nullptr && page->Number() == CP_UTF8;
        const bool asksForDefault = defaultCharacter != nullptr || usedDefault != nullptr;
        if (page == nullptr || !AreArgumentsValid(source, sourceLength, target, targetLength) ||
            (toUtf8 && asksForDefault && !thread.GetMachine().settings.version.IsAtLeast1709())) {
          error = ERROR_INVALID_PARAMETER;
          return 0;
        }
        if ((flags & ~(toUtf8 ? WC_ERR_INVALID_CHARS : WC_NO_BEST_FIT_CHARS)) != 0) {
          error = ERROR_INVALID_FLAGS;
          return 0;
        }
        std::string substitute = "?";
        if (defaultCharacter != nullptr) {
          const bool twoBytes = page->IsLeadByte(static_cast<BYTE>(defaultCharacter[0]));
          substitute.assign(defaultCharacter, twoBytes ? 2 : 1);
        }
        const std::u16string text = FromWide(source, SourceLength(source, sourceLength));
        bool substituted = false;
        std::string bytes = page->Encode(text, substitute, &substituted);
        if (substituted && (flags & WC_ERR_INVALID_CHARS) != 0) {
          error = ERROR_NO_UNICODE_TRANSLATION;
          return 0;
        }
        const bool fits = targetLength == 0 || bytes.size() <= static_cast<std::size_t>(targetLength);
        if (!fits) {
          bytes = page->Encode(text, substitute, &substituted, static_cast<std::size_t>(targetLength));
          error = ERROR_INSUFFICIENT_BUFFER;
        }
        if (usedDefault != nullptr) {
          *usedDefault = substituted ? TRUE : FALSE;
        }
        std::copy_n(bytes.begin(), targetLength == 0 ? 0 : bytes.size(), target);
        return fits ? static_cast<int>(bytes.size()) : 0;
      });
}
