// Trees and errors as text, so that a test's table shows what it expects.

#ifndef CFGTREE_TESTS_READERTEXT_H
#define CFGTREE_TESTS_READERTEXT_H

#include <string>
#include <string_view>

#include "Error.h"
#include "Load.h"
#include "NodeKind.h"
#include "Text.h"
#include "Walk.h"

namespace cfgtree {

// One line per node, two blanks per level.  Leaves are "name = value", inner nodes
// "name/", with the kind in front of the sign where it is not plain: "0:number = 1",
// "list:array/", "word:bare = ".
inline std::string TreeText(Tree_NodePtr& top) {
  const auto mark = [](Tree_Node& node) -> std::string {
    switch (KindOf(node)) {
      case NodeKind::kBareKey:
        return ":bare";
      case NodeKind::kImpliedKey:
        return ":implied";
      case NodeKind::kPlain:
        return "";
      default:
        return std::string(":") + KindName(node);
    }
  };
  std::string text;
  Walk(top, [&](Tree_NodePtr& node, std::size_t depth) {
    text.append(2 * depth, ' ');
    text += View(node->GetKeyName());
    text += mark(*node);
    if (node->IsLeaf()) {
      text += " = ";
      text += View(node->GetTreeValue()->GetValue());
    } else {
      text += '/';
    }
    text += '\n';
  });
  return text;
}

// The tree that the bytes become, below a top "t"; or "error: " and the error's line.
inline std::string Read(Format format, std::string_view bytes) {
  try {
    const Source source = {"f", bytes, nullptr};
    Tree_NodePtr top = BuildTree(source, format, "t");
    return TreeText(top);
  } catch (const Error& error) {
    return std::string("error: ") + error.what();
  }
}

// The bytes of a text in UTF-16 with a byte order mark.  The text is ASCII.
inline std::string Utf16(std::string_view ascii, bool big_endian = false) {
  std::string bytes = big_endian ? "\xFE\xFF" : "\xFF\xFE";
  for (const char c : ascii) {
    bytes += big_endian ? '\0' : c;
    bytes += big_endian ? c : '\0';
  }
  return bytes;
}

struct ReadCase {
  std::string_view bytes;
  std::string_view expected;
};

}  // namespace cfgtree

#endif  // CFGTREE_TESTS_READERTEXT_H
