#include "writers/TextWriter.h"

#include <cstddef>
#include <vector>

#include "Encoding.h"
#include "NodeKind.h"
#include "Places.h"
#include "Text.h"
#include "Walk.h"
#include "writers/CommonLosses.h"

namespace cfgtree {
namespace {

constexpr std::string_view kHexDigits = "0123456789ABCDEF";

// Whether the percent sign that begins `text` could be taken for an escaped byte.
bool LooksEscaped(std::string_view text) {
  const std::size_t high = text.size() > 2 ? kHexDigits.find(text[1]) : kHexDigits.npos;
  const std::size_t low = text.size() > 2 ? kHexDigits.find(text[2]) : kHexDigits.npos;
  if (high == kHexDigits.npos || low == kHexDigits.npos) return false;
  const std::size_t byte = 16 * high + low;
  return (byte > 0 && byte < 0x20) || byte >= 0x7F;
}

void AppendBytes(std::string& out, std::string_view bytes) {
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    out += '%';
    out += kHexDigits[byte >> 4];
    out += kHexDigits[byte & 15];
  }
}

}  // namespace

std::string TextName(std::string_view name) {
  if (name.find_first_of("\\%") == name.npos && Printable(name) == name) return std::string(name);
  std::string text;
  for (std::size_t i = 0; i < name.size();) {
    const Utf8Character character = DecodeUtf8(name, i);
    const std::string_view bytes =
        name.substr(i, character.length > 0 ? character.length : std::size_t{1});
    if (bytes == "%") {
      text += LooksEscaped(name.substr(i)) ? "%25" : "%";
    } else if (bytes == "\\" || Printable(bytes) != bytes) {
      AppendBytes(text, bytes);
    } else {
      text += bytes;
    }
    i += bytes.size();
  }
  return text;
}

std::string TextValue(std::string_view value) {
  std::string text;
  for (;;) {
    const std::size_t backslash = value.find('\\');
    text += Printable(value.substr(0, backslash));
    if (backslash == value.npos) return text;
    text += "\\\\";
    value.remove_prefix(backslash + 1);
  }
}

std::string WriteText(Tree_NodePtr& top, const SourceStyle& style, Losses& losses) {
  RequireWritablePaths(top, [](Tree_Node& node) { return node.GetChildCount() == 0; });
  std::string text;
  std::string path;
  std::vector<std::size_t> lengths;  // of the paths of the nodes above
  PathNamer namer(top.get());
  Walk(top, [&](Tree_NodePtr& node, std::size_t depth) {
    if (depth > 0) {
      lengths.resize(depth - 1);
      path.resize(lengths.empty() ? 0 : lengths.back());
      if (depth > 1) path += '\\';
      path += TextName(namer.NameOf(node.get()));
      lengths.push_back(path.size());
    }
    if (node->IsLeaf()) {
      CountChangeFlag(*node, losses);
      const RWCString value = ValueOf(*node);
      text += path;
      text += '\t';
      text += TextValue(View(value));
    } else if (depth > 0 && node->GetChildCount() == 0) {
      text += path;
      text += "\\\t";
    } else {
      return;
    }
    text += LineEnd(style);
    RequireWritableSize(text.size());
  });
  return Encoded(std::move(text), style);
}

}  // namespace cfgtree
