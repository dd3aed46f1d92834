#include "readers/SourceStyle.h"

#include <algorithm>

#include "Encoding.h"

namespace cfgtree {
namespace {

TextEncoding EncodingOf(std::string_view bytes) {
  if (StartsWith(bytes, kUtf16LittleBom)) return TextEncoding::kUtf16Little;
  if (StartsWith(bytes, kUtf16BigBom)) return TextEncoding::kUtf16Big;
  if (StartsWith(bytes, kUtf8Bom)) return TextEncoding::kUtf8Bom;
  return TextEncoding::kUtf8;
}

// The white space in front of the first thing inside the first bracket, or behind it,
// tells how a document is laid out.
void JudgeJson(std::string_view text, SourceStyle& style) {
  const std::size_t open = text.find_first_of("{[\"");
  if (open == text.npos || text[open] == '"') return;
  const std::size_t first = text.find_first_not_of(" \t\r\n", open + 1);
  if (first == text.npos || text[first] == '}' || text[first] == ']') return;

  const std::string_view space = text.substr(open + 1, first - open - 1);
  const std::size_t line = space.rfind('\n');
  if (line == space.npos) {
    style.json_lines = false;
  } else {
    style.json_indent = std::string(space.substr(line + 1));
  }

  // The first colon or, in an array on one line, comma that stands outside of texts.
  bool quoted = false;
  for (std::size_t i = first; i < text.size(); ++i) {
    if (text[i] == '\\') {
      ++i;
    } else if (text[i] == '"') {
      quoted = !quoted;
    } else if (!quoted && (text[i] == ':' || (text[i] == ',' && !style.json_lines))) {
      style.json_blanks = text.substr(i + 1, 1) == " ";
      return;
    }
  }
}

void JudgeReg(std::string_view text, SourceStyle& style) {
  style.regedit4 = StartsWith(text, "REGEDIT4");
  const std::string end(LineEnd(style));
  style.reg_blank_end =
      text.size() >= 2 * end.size() && text.substr(text.size() - 2 * end.size()) == end + end;

  // The header and one blank line are always written; what follows up to the first key is
  // kept where it has a comment.
  const std::size_t header = std::min(text.find('\n'), text.size() - 1) + 1;
  std::size_t key = header;
  bool comments = false;
  while (key < text.size()) {
    const std::size_t next = std::min(text.find('\n', key), text.size() - 1) + 1;
    const std::string_view line = text.substr(key, next - key);
    const std::size_t word = line.find_first_not_of(" \t\r\n");
    if (word != line.npos && line[word] != ';') break;
    comments = comments || word != line.npos;
    key = next;
  }
  if (!comments) return;
  std::string_view between = text.substr(header, key - header);
  if (StartsWith(between, end)) between.remove_prefix(end.size());
  style.reg_comments = between;
}

}  // namespace

SourceStyle DefaultStyle(Format format) {
  SourceStyle style;
  if (format == Format::kReg) {
    style.encoding = TextEncoding::kUtf16Little;
    style.crlf = true;
  }
  return style;
}

SourceStyle StyleOf(Format format, std::string_view bytes) {
  SourceStyle style = DefaultStyle(format);
  // XML is written in UTF-8 and with LF, whatever it was: its parser hands out no other.
  if (format == Format::kTree || format == Format::kXml) return style;
  style.encoding = EncodingOf(bytes);
  std::string storage;
  std::string_view text = bytes;
  if (style.encoding == TextEncoding::kUtf8Bom) {
    text.remove_prefix(kUtf8Bom.size());
  } else if (style.encoding != TextEncoding::kUtf8) {
    text = DecodeText("", bytes, storage);
  }
  const std::size_t line = text.find('\n');
  style.crlf = line != text.npos && line > 0 && text[line - 1] == '\r';
  style.final_newline = !text.empty() && text.back() == '\n';
  if (format == Format::kJson) JudgeJson(text, style);
  if (format == Format::kReg) JudgeReg(text, style);
  return style;
}

std::string Encoded(std::string text, const SourceStyle& style) {
  switch (style.encoding) {
    case TextEncoding::kUtf8:
      // A text that begins with the character of the mark needs the mark in front of it, or
      // a reader would take the character for it.
      return StartsWith(text, kUtf8Bom) ? std::string(kUtf8Bom) + text : text;
    case TextEncoding::kUtf8Bom:
      return std::string(kUtf8Bom) + text;
    case TextEncoding::kUtf16Little:
      return Utf8ToUtf16(text, false);
    case TextEncoding::kUtf16Big:
      return Utf8ToUtf16(text, true);
  }
  return text;
}

}  // namespace cfgtree
