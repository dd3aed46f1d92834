// What the listings say about one node.

#ifndef CFGTREE_COMMANDS_NODEFIELDS_H
#define CFGTREE_COMMANDS_NODEFIELDS_H

#include <cstdint>
#include <string>

#include "JsonWriter.h"
#include "NodeKind.h"
#include "Text.h"

namespace cfgtree {

inline std::uint64_t EntryCount(Tree_Node& node) {
  return static_cast<std::uint64_t>(node.GetChildCount());
}

// "3 entries", or "array of 3".
inline std::string EntriesText(Tree_Node& node) {
  if (KindOf(node) == NodeKind::kArray) return "array of " + Grouped(EntryCount(node));
  return Counted(EntryCount(node), "entry", "entries");
}

// The value as one line.
inline std::string ValueText(Tree_Node& leaf) {
  const RWCString value = ValueOf(leaf);
  return Printable(View(value));
}

// The same, in quotes where blanks at its ends or its emptiness could not be seen.
inline std::string QuotedValueText(Tree_Node& leaf) {
  std::string value = ValueText(leaf);
  const bool quoted = value.empty() || value.front() == ' ' || value.back() == ' ';
  return quoted ? '"' + value + '"' : value;
}

// "kind", and "value" or "entries".
inline void WriteNodeFields(JsonWriter& json, Tree_Node& node) {
  json.Field("kind", KindName(node));
  if (node.IsLeaf()) {
    const RWCString value = ValueOf(node);
    json.Field("value", View(value));
  } else {
    json.Field("entries", EntryCount(node));
  }
}

}  // namespace cfgtree

#endif  // CFGTREE_COMMANDS_NODEFIELDS_H
