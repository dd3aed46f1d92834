#include "Terminal.h"

#include <algorithm>
#include <utility>

#include "System.h"
#include "Text.h"

namespace cfgtree {
namespace {

constexpr std::size_t kGap = 2;

// No column but the last may take more than this share of the line.
constexpr std::size_t kWidestShare = 2;

const char* Sequence(Colour colour) {
  switch (colour) {
    case Colour::kName:
      return "\x1b[36m";
    case Colour::kTree:
      return "\x1b[1;34m";
    case Colour::kValue:
      return "\x1b[32m";
    case Colour::kDim:
      return "\x1b[2m";
    case Colour::kHeading:
      return "\x1b[1m";
    case Colour::kChanged:
      return "\x1b[33m";
    case Colour::kAdded:
      return "\x1b[32m";
    case Colour::kRemoved:
      return "\x1b[31m";
    case Colour::kNone:
      break;
  }
  return "";
}

}  // namespace

Style DetectStyle(ColorMode mode) {
  const bool terminal = os::IsTerminal(os::Stream::kOutput);
  const os::TerminalSize size = os::GetTerminalSize();
  Style style;
  style.columns = terminal || mode == ColorMode::kAlways;
  style.width = static_cast<std::size_t>(size.columns);
  style.height = static_cast<std::size_t>(size.rows);
  style.colour = mode == ColorMode::kAlways ||
                 (mode == ColorMode::kAuto && terminal && os::Environment("NO_COLOR").empty() &&
                  os::Environment("TERM") != "dumb");
  return style;
}

std::string Painted(std::string_view text, Colour colour, const Style& style) {
  if (!style.colour || colour == Colour::kNone || text.empty()) return std::string(text);
  std::string painted = Sequence(colour);
  painted += text;
  painted += "\x1b[0m";
  return painted;
}

void Table::Heading(std::vector<std::string> titles) {
  if (!m_style.columns) return;
  std::vector<Cell> cells;
  cells.reserve(titles.size());
  for (std::string& title : titles) cells.push_back({std::move(title), Colour::kHeading, false});
  m_rows.push_back(std::move(cells));
}

void Table::Row(std::vector<Cell> cells) {
  if (m_style.columns) {
    // No more than this is ever shown, and a table may have many rows.
    for (Cell& cell : cells) cell.text = CutToWidth(cell.text, m_style.width);
    m_rows.push_back(std::move(cells));
    return;
  }
  for (std::size_t i = 0; i < cells.size(); ++i) {
    if (i > 0) m_out << '\t';
    m_out << cells[i].text;
  }
  m_out << '\n';
}

void Table::Finish() {
  const std::vector<std::size_t> widths = Widths();
  for (const std::vector<Cell>& row : m_rows) {
    std::size_t column = 0;
    for (std::size_t i = 0; i < row.size(); ++i) {
      const bool last = i + 1 == row.size();
      // A heading stands as the cells below it do.
      const bool right = row[i].right || (row[i].colour == Colour::kHeading && m_rows.size() > 1 &&
                                          m_rows[1][i].right);
      const std::size_t room = m_style.width > column ? m_style.width - column : 0;
      const std::string text = CutToWidth(row[i].text, last && !right ? room : widths[i]);
      const std::size_t padding = widths[i] - std::min(widths[i], DisplayWidth(text));
      if (right) m_out.Fill(padding, ' ');
      m_out << Painted(text, row[i].colour, m_style);
      const std::size_t gap = room > widths[i] ? std::min(room - widths[i], kGap) : 0;
      if (!last) m_out.Fill((right ? 0 : padding) + gap, ' ');
      column += widths[i] + gap;
    }
    m_out << '\n';
  }
}

std::vector<std::size_t> Table::Widths() const {
  std::vector<std::size_t> widths;
  for (const std::vector<Cell>& row : m_rows) {
    widths.resize(std::max(widths.size(), row.size()));
    for (std::size_t i = 0; i < row.size(); ++i) {
      const std::size_t width = DisplayWidth(row[i].text);
      widths[i] = std::max(widths[i], std::min(width, m_style.width / kWidestShare));
    }
  }
  // Columns that would pass the edge end there.
  std::size_t room = m_style.width;
  for (std::size_t& width : widths) {
    width = std::min(width, room);
    room -= std::min(room, width + kGap);
  }
  return widths;
}

}  // namespace cfgtree
