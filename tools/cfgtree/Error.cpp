#include "Error.h"

#include <algorithm>

namespace cfgtree {
namespace {

std::string Join(std::string_view file, const std::string& place, std::string_view what) {
  std::string line(file);
  line += place;
  line += ": ";
  line += what;
  return line;
}

bool StartsCharacter(char c) {
  return (static_cast<unsigned char>(c) & 0xC0) != 0x80;
}

}  // namespace

Error::Error(const std::string& line) : std::runtime_error(line) {}

Error::Error(std::string_view file, std::string_view what) : Error(Join(file, "", what)) {}

Error Error::AtLine(std::string_view file, std::size_t line, std::size_t column,
                    std::string_view what) {
  return Error(Join(file, ":" + std::to_string(line) + ":" + std::to_string(column), what));
}

Error Error::AtText(std::string_view file, std::string_view text, std::size_t offset,
                    std::string_view what) {
  const std::string_view before = text.substr(0, offset);
  const auto newlines = std::count(before.begin(), before.end(), '\n');
  const std::size_t last = before.rfind('\n');
  const std::string_view line = last == before.npos ? before : before.substr(last + 1);
  const auto characters = std::count_if(line.begin(), line.end(), StartsCharacter);
  return AtLine(file, static_cast<std::size_t>(newlines) + 1,
                static_cast<std::size_t>(characters) + 1, what);
}

Error Error::AtByte(std::string_view file, std::size_t offset, std::string_view what) {
  return Error(Join(file, ": byte " + std::to_string(offset), what));
}

}  // namespace cfgtree
