#ifndef CFGTREE_TERMINAL_H
#define CFGTREE_TERMINAL_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "Output.h"

namespace cfgtree {

enum class ColorMode { kAuto, kAlways, kNever };

// How the output is laid out.  On a terminal: aligned columns that end at its edge,
// headings and totals.  Otherwise: fields separated by tabs, nothing cut, no headings.
struct Style {
  bool columns = false;
  bool colour = false;
  std::size_t width = 80;
  std::size_t height = 24;
};

// The style for standard output.  Colour on a terminal unless NO_COLOR is set or TERM
// says that there is none; kAlways lays everything out as on a terminal.
Style DetectStyle(ColorMode mode);

enum class Colour { kNone, kName, kTree, kValue, kDim, kHeading, kChanged, kAdded, kRemoved };

// `text` between the sequences that switch the colour on and off.
std::string Painted(std::string_view text, Colour colour, const Style& style);

// Rows of printable cells.  The last column takes what the terminal has left.  Rows of
// fields go to the output at once, those of columns with Finish().
class Table {
 public:
  struct Cell {
    std::string text;
    Colour colour = Colour::kNone;
    bool right = false;  // flush right, for numbers
  };

  Table(const Style& style, Output& out) : m_style(style), m_out(out) {}

  // A heading is shown in columns only.
  void Heading(std::vector<std::string> titles);
  void Row(std::vector<Cell> cells);
  void Finish();

 private:
  std::vector<std::size_t> Widths() const;

  Style m_style;
  Output& m_out;
  std::vector<std::vector<Cell>> m_rows;
};

}  // namespace cfgtree

#endif  // CFGTREE_TERMINAL_H
