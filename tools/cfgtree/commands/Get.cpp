#include "Error.h"
#include "JsonWriter.h"
#include "NodeKind.h"
#include "Places.h"
#include "Text.h"
#include "commands/Commands.h"

namespace cfgtree {

void RunGet(const Options& options, const Style& style, Output& out) {
  LoadedFile& file = LoadForGood(options.files[0], options.format);
  Tree_NodePtr node = FindNode(file.top, options.path, file.name);
  if (!node->IsLeaf()) {
    const std::string shown = options.path.empty() ? "the top" : options.path;
    throw Error(file.name,
                shown + " is a sub-tree with " +
                    Counted(static_cast<std::uint64_t>(node->GetChildCount()), "entry", "entries") +
                    ", not a value");
  }

  // The empty path from the leaf itself: the node may be one that only a [N] reaches.
  RWCString here;
  const RWCString value = node->GetValue(here, node);
  if (options.json) {
    JsonWriter json(out);
    json.BeginObject();
    json.Field("path", options.path);
    json.Field("kind", KindName(*node));
    json.Field("value", View(value));
    json.EndObject();
    json.Finish();
    return;
  }
  if (style.columns) {
    out << Printable(View(value));
  } else {
    out << View(value);
  }
  out << '\n';
}

}  // namespace cfgtree
