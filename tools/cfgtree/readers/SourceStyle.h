// How a file was written, as far as its tree does not tell: what is needed to write the
// tree again as the file was.

#ifndef CFGTREE_READERS_SOURCESTYLE_H
#define CFGTREE_READERS_SOURCESTYLE_H

#include <optional>
#include <string>
#include <string_view>

#include "readers/FormatDetection.h"

namespace cfgtree {

enum class TextEncoding { kUtf8, kUtf8Bom, kUtf16Little, kUtf16Big };

struct SourceStyle {
  // Text formats.  The newline is the one at the very end.
  TextEncoding encoding = TextEncoding::kUtf8;
  bool crlf = false;
  bool final_newline = true;

  // JSON: whether each value has a line of its own, and what then stands in front of it
  // for each level.
  bool json_lines = true;
  std::string json_indent = "  ";
  // JSON: "a": 1 rather than "a":1, and on one line also [1, 2] rather than [1,2].
  bool json_blanks = true;

  // Registry exports: REGEDIT4 rather than version 5; whether a blank line ends the file;
  // and the comments between the first line and the first key, with their line ends.
  bool regedit4 = false;
  bool reg_blank_end = true;
  std::string reg_comments;

  // Serialized trees: the virtual parent path of the header, when one stands in front.
  std::optional<std::string> tree_header;
};

// How new files of a format are written.  Registry exports come as the registry editor
// writes them: UTF-16 with a byte order mark and CR LF.
SourceStyle DefaultStyle(Format format);

// The style of a text file that was read without an error, judged by its mark, its first
// line end, its first lines and its end.  Of a serialized tree its reader tells the header.
SourceStyle StyleOf(Format format, std::string_view bytes);

// `text`, which is UTF-8 with LF, in the style's encoding.  Line ends are the writers'
// business, since texts may have line breaks of their own.  Bytes that are no UTF-8
// become U+FFFD in UTF-16.
std::string Encoded(std::string text, const SourceStyle& style);

// The line end of the style.
inline std::string_view LineEnd(const SourceStyle& style) {
  return style.crlf ? "\r\n" : "\n";
}

}  // namespace cfgtree

#endif  // CFGTREE_READERS_SOURCESTYLE_H
