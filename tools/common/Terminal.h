#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "common/Printable.h"

namespace tools {

/// What standard output is: a terminal of some width, which gets colours and wrapped lines, or anything else,
/// which gets plain text in lines as long as they need to be.
class Terminal {
 public:
  /// Standard output as it is; colours only on a terminal, and not when NO_COLOR is set or TERM is "dumb".
  static Terminal ForOutput();
  /// Plain text for `width` columns; lines are never wrapped without one.
  explicit Terminal(std::optional<std::size_t> width = std::nullopt, bool colours = false)
      : m_width(width), m_colours(colours) {}

  enum class Style { heading, good, waiting, warning, bad, quiet };
  /// `text` in the colours of `style`, or as it is.
  std::string Styled(Style style, std::string_view text) const;

  /// `text` (UTF-8) broken at blanks into lines that fit beside an indentation of `indent` columns; a word
  /// that does not fit has a line of its own. Lines after a break are indented by `further` more. Line breaks
  /// in `text` stay. Without a width, breaks only there.
  std::vector<std::string> Wrap(std::string_view text, std::size_t indent, std::size_t further = 0) const;

  /// `lead` followed by `text`, whose further lines are indented to stand below its first, `further` columns
  /// in.
  std::string Hanging(std::string_view lead, std::size_t leadColumns, std::string_view text,
                      std::size_t further = 0) const;

 private:
  std::optional<std::size_t> m_width;
  bool m_colours;
};

/// Columns that UTF-8 text takes, a character each.
std::size_t Columns(std::string_view text);
/// `text` filled up with blanks to `columns`.
std::string Padded(std::string_view text, std::size_t columns);

/// "a", "a and b", "a, b and c".
std::string Join(const std::vector<std::string>& items);

}  // namespace tools
