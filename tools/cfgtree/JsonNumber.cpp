#include "JsonNumber.h"

#include <cstddef>

namespace cfgtree {
namespace {

// Goes behind a run of digits; false when there is none.
bool SkipDigits(std::string_view& text) {
  std::size_t count = 0;
  while (count < text.size() && IsDigit(text[count])) ++count;
  text.remove_prefix(count);
  return count > 0;
}

bool Skip(std::string_view& text, std::string_view characters) {
  if (text.empty() || characters.find(text[0]) == characters.npos) return false;
  text.remove_prefix(1);
  return true;
}

}  // namespace

bool IsJsonNumber(std::string_view text) {
  Skip(text, "-");
  if (!Skip(text, "0") && !SkipDigits(text)) return false;
  if (Skip(text, ".") && !SkipDigits(text)) return false;
  if (Skip(text, "eE")) {
    Skip(text, "+-");
    if (!SkipDigits(text)) return false;
  }
  return text.empty();
}

}  // namespace cfgtree
