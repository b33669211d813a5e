#include "common/Terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <utility>

namespace tools {
namespace {

constexpr std::size_t NarrowestText = 20;

const char* Escape(Terminal::Style style) {
  switch (style) {
    case Terminal::Style::heading:
      return "\x1b[1m";
    case Terminal::Style::good:
      return "\x1b[32m";
    case Terminal::Style::waiting:
      return "\x1b[36m";
    case Terminal::Style::warning:
      return "\x1b[33m";
    case Terminal::Style::bad:
      return "\x1b[31m";
    case Terminal::Style::quiet:
      return "\x1b[2m";
  }
  return "";
}

}  // namespace

Terminal Terminal::ForOutput() {
  if (isatty(STDOUT_FILENO) == 0) {
    return Terminal();
  }
  winsize size{};
  const bool known = ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col != 0;
  const char* const noColour = std::getenv("NO_COLOR");
  const char* const kind = std::getenv("TERM");
  const bool colours =
      (noColour == nullptr || *noColour == '\0') && kind != nullptr && std::string_view(kind) != "dumb";
  return Terminal(known ? size.ws_col : 80, colours);
}

std::string Terminal::Styled(Style style, std::string_view text) const {
  return m_colours ? Escape(style) + std::string(text) + "\x1b[0m" : std::string(text);
}

std::vector<std::string> Terminal::Wrap(std::string_view text, std::size_t indent,
                                        std::size_t further) const {
  const std::size_t width =
      m_width.has_value() ? std::max(*m_width, indent + NarrowestText) - indent : std::string_view::npos;
  std::vector<std::string> lines;
  for (std::size_t begin = 0; begin <= text.size();) {
    const std::size_t end = std::min(text.find('\n', begin), text.size());
    std::string line;
    for (std::size_t word = begin; word <= end;) {
      const std::size_t wordEnd = std::min(text.find(' ', word), end);
      const std::string_view piece = text.substr(word, wordEnd - word);
      if (word != begin && Columns(line) + 1 + Columns(piece) > width) {
        lines.push_back(std::exchange(line, std::string(further, ' ')));
      } else if (word != begin) {
        line += ' ';
      }
      line += piece;
      word = wordEnd + 1;
    }
    lines.push_back(std::move(line));
    begin = end + 1;
  }
  return lines;
}

std::string Terminal::Hanging(std::string_view lead, std::size_t leadColumns, std::string_view text,
                              std::size_t further) const {
  std::string result(lead);
  std::string separator;
  for (const std::string& line : Wrap(text, leadColumns, further)) {
    result += separator + line;
    separator = "\n" + std::string(leadColumns, ' ');
  }
  return result;
}

std::size_t Columns(std::string_view text) {
  return static_cast<std::size_t>(std::count_if(
      text.begin(), text.end(), [](char byte) { return (static_cast<unsigned char>(byte) & 0xC0) != 0x80; }));
}

std::string Padded(std::string_view text, std::size_t columns) {
  return std::string(text) + std::string(columns - std::min(columns, Columns(text)), ' ');
}

std::string Join(const std::vector<std::string>& items) {
  std::string text;
  for (std::size_t i = 0; i < items.size(); ++i) {
    text += (i == 0 ? "" : i + 1 == items.size() ? " and " : ", ") + items[i];
  }
  return text;
}

}  // namespace tools
