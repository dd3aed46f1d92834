#include <algorithm>
#include <climits>
#include <memory>
#include <string>
#include <vector>

#include "Error.h"
#include "JsonWriter.h"
#include "Places.h"
#include "Text.h"
#include "Walk.h"
#include "commands/Commands.h"
#include "commands/NodeFields.h"

namespace cfgtree {
namespace {

// A String_Arr keeps 255 bytes of a text; a text of that length may have been longer.
constexpr std::size_t kCutAt = 255;

// Follows `path` from every node, as Tree_Node::Search does and in its order, and keeps
// the nodes: from their paths alone, places below siblings of one name could not be told
// apart.
struct Places {
  std::vector<Tree_Node*> nodes;
  std::size_t shown_bytes = 0;  // of the paths that are to be shown, about
};

Places FindPlaces(Tree_NodePtr& top, const RWCString& path, std::size_t limit) {
  Places places;
  std::vector<std::size_t> lengths;  // of the path of the last node seen at each depth
  Walk(top, [&](Tree_NodePtr& start, std::size_t depth) {
    lengths.resize(depth);
    const std::size_t above = lengths.empty() ? 0 : lengths.back() + 1;
    lengths.push_back(above + start->GetKeyName().length());
    Tree_Path steps(path);
    Tree_Node* const place = start->GetRelativeNodeByRef(steps, start).get();
    if (place == nullptr) return;
    if (places.nodes.size() < limit) {
      places.shown_bytes += lengths.back() - lengths.front() + path.length();
    }
    places.nodes.push_back(place);
  });
  return places;
}

// What the library's own search tells about the places.
class LibraryPaths {
 public:
  LibraryPaths(Tree_NodePtr& top, const RWCString& path) : m_array(top->Search(path, top, 1)) {}

  // How many places it found.
  std::size_t Count() const {
    return m_array == nullptr ? 0 : static_cast<std::size_t>(m_array->GetArrLen());
  }

  // The path of place `i`, which is `node`, from below the top.
  std::string At(std::size_t i, const Tree_Node& node) const {
    const std::string_view kept = m_array->GetStr(static_cast<int>(i));
    if (kept.size() < kCutAt) return std::string(kept);
    const RWCString path = node.GetPath();
    const std::size_t separator = path.index('\\');
    const std::size_t start = separator == RW_NPOS ? 0 : separator + 1;
    return std::string(View(path).substr(start));
  }

 private:
  std::unique_ptr<String_Arr> m_array;
};

}  // namespace

void RunSearch(const Options& options, const Style& style, Output& out) {
  if (options.path.empty()) throw UsageError("search needs a PATH that is not empty");
  LoadedFile& file = LoadForGood(options.files[0], options.format);
  const RWCString path = ToRWCString(options.path);
  const auto limit = static_cast<std::size_t>(options.limit.value_or(INT_MAX));
  const Places found = FindPlaces(file.top, path, limit);
  const std::vector<Tree_Node*>& places = found.nodes;
  if (places.empty()) throw Error(file.name, "found nowhere: " + options.path);
  out.RequireRoom(found.shown_bytes);
  const LibraryPaths paths(file.top, path);
  if (paths.Count() != places.size()) {
    throw Error(file.name, "the library's search and a walk through the tree disagree");
  }

  const std::size_t shown = std::min(places.size(), limit);
  PathNamer namer(file.top.get());
  if (options.json) {
    JsonWriter json(out);
    json.BeginObject();
    json.Field("search", options.path);
    json.Key("places").BeginArray();
    for (std::size_t i = 0; i < shown; ++i) {
      json.BeginObject();
      json.Field("path", paths.At(i, *places[i]));
      json.Field("select", namer.PathOf(places[i]));
      WriteNodeFields(json, *places[i]);
      json.EndObject();
    }
    json.EndArray();
    if (shown < places.size()) json.Field("omitted", places.size() - shown);
    json.EndObject();
    json.Finish();
    return;
  }

  Table table(style, out);
  table.Heading({"PATH", "VALUE"});
  for (std::size_t i = 0; i < shown; ++i) {
    Tree_Node& node = *places[i];
    const bool leaf = node.IsLeaf();
    table.Row({{Printable(namer.PathOf(&node)), leaf ? Colour::kName : Colour::kTree},
               {leaf ? ValueText(node) : EntriesText(node), leaf ? Colour::kValue : Colour::kDim}});
  }
  table.Finish();
  if (style.columns) {
    std::string total = Counted(places.size(), "place", "places");
    if (shown < places.size()) total += "; the first " + Grouped(shown) + " are shown";
    out << Painted(total, Colour::kDim, style) << '\n';
  }
}

}  // namespace cfgtree
