#include "Text.h"

#include <cstdio>

#include "Encoding.h"

namespace cfgtree {
namespace {

struct Range {
  char32_t first;
  char32_t last;
};

template <std::size_t N>
bool IsIn(const Range (&ranges)[N], char32_t code) {
  for (const Range& range : ranges) {
    if (code >= range.first && code <= range.last) return true;
  }
  return false;
}

// Controls, line separators, and what changes the direction of the text around it.
constexpr Range kUnprintable[] = {{0x00, 0x1F},     {0x7F, 0x9F},     {0x061C, 0x061C},
                                  {0x200E, 0x200F}, {0x2028, 0x202E}, {0x2066, 0x2069},
                                  {0xFEFF, 0xFEFF}, {0xFFF9, 0xFFFB}, {0xE0000, 0xE007F}};

// Characters that stand on the one before them, or show nothing.
constexpr Range kNoColumn[] = {
    {0x0300, 0x036F}, {0x0483, 0x0489}, {0x0591, 0x05BD}, {0x0610, 0x061A}, {0x064B, 0x065F},
    {0x06D6, 0x06DC}, {0x0900, 0x0902}, {0x093C, 0x093C}, {0x0941, 0x0948}, {0x094D, 0x094D},
    {0x0E31, 0x0E31}, {0x0E34, 0x0E3A}, {0x0E47, 0x0E4E}, {0x1AB0, 0x1AFF}, {0x1DC0, 0x1DFF},
    {0x200B, 0x200D}, {0x20D0, 0x20FF}, {0xFE00, 0xFE0F}, {0xFE20, 0xFE2F}};

// East Asian wide characters and emoji.
constexpr Range kTwoColumns[] = {
    {0x1100, 0x115F},   {0x2E80, 0x303E},   {0x3041, 0xA4CF},  {0xA960, 0xA97F}, {0xAC00, 0xD7A3},
    {0xF900, 0xFAFF},   {0xFE30, 0xFE6F},   {0xFF00, 0xFF60},  {0xFFE0, 0xFFE6}, {0x1F300, 0x1F64F},
    {0x1F680, 0x1F6FF}, {0x1F900, 0x1F9FF}, {0x20000, 0x3FFFD}};

std::size_t ColumnsOf(char32_t code) {
  if (code < 0x0300) return 1;
  if (IsIn(kNoColumn, code)) return 0;
  return IsIn(kTwoColumns, code) ? 2 : 1;
}

void AppendEscaped(std::string& out, char32_t code) {
  char escape[16];
  if (code == '\n') {
    out += "\\n";
  } else if (code == '\r') {
    out += "\\r";
  } else if (code == '\t') {
    out += "\\t";
  } else {
    std::snprintf(escape, sizeof escape, code < 0x100 ? "\\x%02x" : "\\u%04x",
                  static_cast<unsigned>(code));
    out += escape;
  }
}

std::string OneDecimal(double number, const char* unit) {
  char text[64];
  std::snprintf(text, sizeof text, "%.1f %s", number, unit);
  return text;
}

}  // namespace

std::string_view Trimmed(std::string_view text, std::string_view blanks) {
  const std::size_t first = text.find_first_not_of(blanks);
  if (first == text.npos) return text.substr(text.size());
  return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

std::string LowerCase(std::string_view text) {
  std::string lower(text);
  for (char& c : lower) c = LowerCase(c);
  return lower;
}

std::string Printable(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size();) {
    const Utf8Character character = DecodeUtf8(text, i);
    if (character.length == 0) {
      AppendEscaped(out, static_cast<unsigned char>(text[i++]));
      continue;
    }
    if (IsIn(kUnprintable, character.code)) {
      AppendEscaped(out, character.code);
    } else {
      out.append(text, i, character.length);
    }
    i += character.length;
  }
  return out;
}

std::size_t DisplayWidth(std::string_view text) {
  std::size_t width = 0;
  for (std::size_t i = 0; i < text.size();) {
    const Utf8Character character = DecodeUtf8(text, i);
    width += ColumnsOf(character.code);
    i += character.length == 0 ? 1 : character.length;
  }
  return width;
}

std::string CutToWidth(std::string_view text, std::size_t width) {
  std::size_t columns = 0;
  std::size_t fits = 0;  // bytes that leave a column for the ellipsis
  for (std::size_t i = 0; i < text.size();) {
    const Utf8Character character = DecodeUtf8(text, i);
    columns += ColumnsOf(character.code);
    if (columns > width) return width == 0 ? "" : std::string(text.substr(0, fits)) + "…";
    i += character.length == 0 ? 1 : character.length;
    if (columns < width) fits = i;
  }
  return std::string(text);
}

std::string Grouped(std::uint64_t number) {
  std::string text = std::to_string(number);
  for (std::size_t i = text.size(); i > 3;) {
    i -= 3;
    text.insert(i, 1, ',');
  }
  return text;
}

std::string Counted(std::uint64_t number, std::string_view one, std::string_view many) {
  std::string text = Grouped(number);
  text += ' ';
  text += number == 1 ? one : many;
  return text;
}

std::string ByteSize(std::uint64_t bytes) {
  if (bytes < 1024) return Counted(bytes, "byte", "bytes");
  double size = static_cast<double>(bytes) / 1024;
  for (const char* unit : {"KiB", "MiB"}) {
    if (size < 1024) return OneDecimal(size, unit);
    size /= 1024;
  }
  return OneDecimal(size, "GiB");
}

std::string Duration(double seconds) {
  return seconds < 1 ? OneDecimal(seconds * 1000, "ms") : OneDecimal(seconds, "s");
}

}  // namespace cfgtree
