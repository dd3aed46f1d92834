#include "writers/CommonLosses.h"

#include <vector>

#include "Encoding.h"
#include "Error.h"
#include "Names.h"
#include "System.h"
#include "Text.h"
#include "Walk.h"

namespace cfgtree {

void RequireWritableSize(std::size_t bytes) {
  if (bytes > os::kMaxFileSize) {
    throw Error("the new file", "would be larger than 2 GiB; nothing is written");
  }
}

void RequireWritablePaths(Tree_NodePtr& top, const std::function<bool(Tree_Node&)>& is_written) {
  std::size_t total = 0;
  std::vector<std::size_t> lengths;  // of the paths of the nodes above
  Walk(top, [&](Tree_NodePtr& node, std::size_t depth) {
    lengths.resize(depth);
    lengths.push_back(depth == 0 ? 0 : lengths.back() + 1 + node->GetKeyName().length());
    if (is_written(*node)) RequireWritableSize(total += lengths.back());
  });
}

void CountKind(Tree_Node& node, Losses& losses) {
  switch (KindOf(node)) {
    case NodeKind::kArray:
      losses.Count("array becomes a sub-tree", "arrays become sub-trees");
      break;
    case NodeKind::kNumber:
    case NodeKind::kBoolean:
    case NodeKind::kNull:
      losses.Count("number, boolean or null becomes a text",
                   "numbers, booleans and nulls become texts");
      break;
    case NodeKind::kBareKey:
      losses.Count("key without a value gets an empty one", "keys without a value get empty ones");
      break;
    case NodeKind::kPlain:
    case NodeKind::kImpliedKey:
      break;
  }
}

std::string NameOrLoss(Tree_Node& node, Losses& losses) {
  const std::string_view name = View(node.GetKeyName());
  if (name.find(kEscapedAt) != name.npos) {
    losses.Count("name that is really @ becomes that of a default value",
                 "names that are really @ become those of default values");
  }
  return DecodeName(name);
}

std::string TextOrLoss(std::string_view text, Losses& losses) {
  if (FindInvalidUtf8(text) == text.npos) return std::string(text);
  losses.Count("text is not UTF-8; its stray bytes become U+FFFD",
               "texts are not UTF-8; their stray bytes become U+FFFD");
  return ReplaceInvalidUtf8(text);
}

std::string_view CutAtZero(std::string_view text, Losses& losses) {
  const std::size_t zero = text.find('\0');
  if (zero != text.npos) {
    losses.Count("value is cut at its zero byte", "values are cut at their zero bytes");
  }
  return text.substr(0, zero);
}

}  // namespace cfgtree
