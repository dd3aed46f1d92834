#include "Names.h"

namespace cfgtree {
namespace {

struct Escape {
  std::string_view code;
  char character;
};
constexpr Escape kEscapes[] = {{"%5C", '\\'}, {"%00", '\0'}, {"%25", '%'}, {"%40", '@'}};

// The escape that stands at the start of `text`, or null.
const Escape* EscapeAt(std::string_view text) {
  for (const Escape& escape : kEscapes) {
    if (text.substr(0, escape.code.size()) == escape.code) return &escape;
  }
  return nullptr;
}

}  // namespace

std::string_view EncodeName(std::string_view name, std::string& storage) {
  if (name.empty()) return "%";
  if (name == "%") return "%25";
  constexpr std::string_view kSpecial("\\\0%", 3);
  if (name.find_first_of(kSpecial) == name.npos) return name;

  storage.clear();
  for (std::size_t i = 0; i < name.size(); ++i) {
    if (name[i] == '\\') {
      storage += "%5C";
    } else if (name[i] == '\0') {
      storage += "%00";
    } else if (name[i] == '%' && EscapeAt(name.substr(i)) != nullptr) {
      storage += "%25";
    } else {
      storage += name[i];
    }
  }
  return storage;
}

std::string DecodeName(std::string_view node_name) {
  if (node_name == "%") return "";
  std::string name;
  for (std::size_t i = 0; i < node_name.size();) {
    if (const Escape* escape = EscapeAt(node_name.substr(i))) {
      name += escape->character;
      i += escape->code.size();
    } else {
      name += node_name[i++];
    }
  }
  return name;
}

}  // namespace cfgtree
