#include <algorithm>
#include <climits>
#include <string>
#include <vector>

#include "JsonWriter.h"
#include "NodeKind.h"
#include "Places.h"
#include "Text.h"
#include "commands/Commands.h"
#include "commands/NodeFields.h"

namespace cfgtree {
namespace {

// The nodes to list: the children, or a leaf itself.
std::vector<Tree_Node*> Listed(Tree_Node* node) {
  if (node->IsLeaf()) return {node};
  std::vector<Tree_Node*> nodes;
  nodes.reserve(static_cast<std::size_t>(node->GetChildCount()));
  for (int i = 0; i < node->GetChildCount(); ++i) nodes.push_back(node->GetChildAt(i).get());
  return nodes;
}

std::string NameOf(PathNamer& namer, Tree_Node* node, Tree_Node* top) {
  return node == top ? std::string(View(node->GetKeyName())) : namer.NameOf(node);
}

}  // namespace

void RunLs(const Options& options, const Style& style, Output& out) {
  LoadedFile& file = LoadForGood(options.files[0], options.format);
  Tree_NodePtr node = FindNode(file.top, options.path, file.name);
  const std::vector<Tree_Node*> nodes = Listed(node.get());
  const auto limit = static_cast<std::size_t>(options.limit.value_or(INT_MAX));
  const std::size_t shown = std::min(nodes.size(), limit);
  PathNamer namer(file.top.get());

  if (options.json) {
    JsonWriter json(out);
    json.BeginObject();
    json.Field("path", options.path);
    json.Key("children").BeginArray();
    for (std::size_t i = 0; i < shown; ++i) {
      json.BeginObject();
      json.Field("name", View(nodes[i]->GetKeyName()));
      json.Field("select", NameOf(namer, nodes[i], file.top.get()));
      WriteNodeFields(json, *nodes[i]);
      json.EndObject();
    }
    json.EndArray();
    if (shown < nodes.size()) json.Field("omitted", nodes.size() - shown);
    json.EndObject();
    json.Finish();
    return;
  }

  Table table(style, out);
  if (shown > 0) table.Heading({"NAME", "KIND", "VALUE"});
  for (std::size_t i = 0; i < shown; ++i) {
    const bool leaf = nodes[i]->IsLeaf();
    table.Row(
        {{Printable(NameOf(namer, nodes[i], file.top.get())), leaf ? Colour::kName : Colour::kTree},
         {leaf ? KindName(*nodes[i]) : EntriesText(*nodes[i]), Colour::kDim},
         {leaf ? ValueText(*nodes[i]) : "", Colour::kValue}});
  }
  table.Finish();
  if (style.columns) {
    RWCString here;
    const auto values = static_cast<std::uint64_t>(node->GetValueNum(here, node));
    const auto trees = static_cast<std::uint64_t>(node->GetSubTreeNum(here, node));
    std::string total =
        Counted(values, "value", "values") + ", " + Counted(trees, "sub-tree", "sub-trees");
    if (shown < nodes.size()) total += "; the first " + Grouped(shown) + " are shown";
    if (!node->IsLeaf()) out << Painted(total, Colour::kDim, style) << '\n';
  }
}

}  // namespace cfgtree
