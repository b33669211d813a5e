#include <fmt/format.h>

#include <algorithm>
#include <vector>

#include "InfoReport.h"

namespace kvsign {
namespace {

using tools::Terminal;
using Row = std::vector<std::string>;

/// Indented rows under a heading, which is the first row; each column as wide as its widest cell.
std::string Table(const Terminal& terminal, std::vector<Row> rows) {
  std::for_each(rows.begin() + 1, rows.end(), [](Row& row) { row.front().insert(0, "  "); });
  std::vector<std::size_t> widths(rows.front().size());
  for (const Row& row : rows) {
    for (std::size_t column = 0; column < row.size(); ++column) {
      widths[column] = std::max(widths[column], tools::Columns(row[column]));
    }
  }
  std::string text = "\n";
  for (const Row& row : rows) {
    std::string line;
    for (std::size_t column = 0; column < row.size(); ++column) {
      line += tools::Padded(row[column], widths[column] + 2);
    }
    line.erase(line.find_last_not_of(' ') + 1);
    text += (&row == &rows.front() ? terminal.Styled(Terminal::Style::heading, line) : line) + '\n';
  }
  return text;
}

std::string Hex(std::uint64_t number) {
  return fmt::format("{:#x}", number);
}

/// What is not signed counts as zeros. One reason is enough for a line.
std::string Signed(std::optional<bool> covered, const std::vector<std::string>& reasons = {}) {
  if (!covered) return "-";
  return *covered ? "yes" : reasons.empty() ? "no" : "no: " + reasons.front();
}

std::string Value(const FieldFacts& field) {
  if (!field.isVersion) return Hex(field.value);
  const std::uint32_t half = field.size * 4;
  return fmt::format("{}.{}", field.value & ((1u << half) - 1), field.value >> half);
}

/// "60000020 r-x-": readable, writable, executable, discardable.
std::string Flags(std::uint32_t bits) {
  constexpr std::uint32_t execute = 0x20000000;
  constexpr std::uint32_t read = 0x40000000;
  const auto letter = [=](std::uint32_t bit, char sign) { return (bits & bit) != 0 ? sign : '-'; };
  return fmt::format("{:08x} {}{}{}{}", bits, letter(read, 'r'), letter(IMAGE_SCN_MEM_WRITE, 'w'),
                     letter(execute, 'x'), letter(IMAGE_SCN_MEM_DISCARDABLE, 'd'));
}

/// The section that an address lies in, or nothing.
std::string SectionAt(const ImageFacts& facts, std::uint32_t address) {
  for (const SectionFacts& section : facts.sections) {
    const std::uint32_t size = std::max(section.header.Misc.VirtualSize, section.header.SizeOfRawData);
    if (address >= section.header.VirtualAddress && address - section.header.VirtualAddress < size) {
      return tools::OneLine(section.name);
    }
  }
  return {};
}

std::string HeaderTables(const ImageFacts& facts, const Terminal& terminal) {
  std::string text;
  if (!facts.fields.empty()) {
    std::vector<Row> rows = {{"Headers", "offset", "value", "signed"}};
    for (const FieldFacts& field : facts.fields) {
      rows.push_back({field.name, Hex(field.offset), Value(field), Signed(field.covered)});
    }
    text += Table(terminal, rows);
  }
  if (!facts.directories.empty()) {
    std::vector<Row> rows = {{"Data directories", "address", "size", "section"}};
    for (const DirectoryFacts& directory : facts.directories) {
      rows.push_back(
          {directory.name, Hex(directory.address), Hex(directory.size), SectionAt(facts, directory.address)});
    }
    text += Table(terminal, rows);
  }
  if (!facts.sections.empty()) {
    std::vector<Row> rows = {{"Sections", "address", "size", "offset", "raw size", "flags", "signed"}};
    for (const SectionFacts& section : facts.sections) {
      const IMAGE_SECTION_HEADER& header = section.header;
      rows.push_back({tools::OneLine(section.name), Hex(header.VirtualAddress), Hex(header.Misc.VirtualSize),
                      Hex(header.PointerToRawData), Hex(header.SizeOfRawData), Flags(header.Characteristics),
                      Signed(section.covered, section.reasons)});
    }
    text += Table(terminal, rows);
  }
  return text;
}

std::string ImageTables(const ImageFacts& facts, const Terminal& terminal) {
  std::string text;
  if (!facts.thunkArrays.empty()) {
    std::vector<Row> rows = {{"Import thunks", "entries", "section", "signed"}};
    for (const PeRange& range : facts.thunkArrays) {
      const std::uint32_t entries = (range.end - range.begin) / (*facts.plus ? 8 : 4);
      rows.push_back({Hex(range.begin), fmt::format("{}", entries), SectionAt(facts, range.begin), "no"});
    }
    text += Table(terminal, rows);
  }
  std::uint64_t zeros = 0;
  for (const PeRange& range : facts.zeros) {
    zeros += range.end - range.begin;
  }
  text += fmt::format("\n{}\n  {} bytes in memory, {} of them signed, {} base relocations\n",
                      terminal.Styled(Terminal::Style::heading, "Image"), facts.imageSize,
                      facts.imageSize - zeros, facts.relocations);
  const std::size_t half = facts.digest.size() / 2;
  text += fmt::format("\n{}\n  {}\n  {}\n", terminal.Styled(Terminal::Style::heading, "Digest"),
                      facts.digest.substr(0, half), facts.digest.substr(half));
  return text;
}

}  // namespace

std::string FactsText(const std::string& name, const ImageFacts& facts, const Terminal& terminal) {
  std::string text = tools::OneLine(name) + '\n';
  text += fmt::format("  {} bytes{}\n", facts.fileSize,
                      !facts.plus   ? ""
                      : *facts.plus ? ", PE32+"
                                    : ", PE32");
  if (facts.signature) {
    text += fmt::format("  signature at file offset {:#x}; 'kvsign verify' tells whether it is valid\n",
                        *facts.signature);
  } else if (!facts.sections.empty()) {
    text += "  no signature\n";
  }
  if (facts.refusal) {
    text += "  " + terminal.Hanging("", 2, RefusalText(*facts.refusal), 2) + '\n';
  }
  text += HeaderTables(facts, terminal);
  if (!facts.refusal) text += ImageTables(facts, terminal);
  return text;
}

}  // namespace kvsign
