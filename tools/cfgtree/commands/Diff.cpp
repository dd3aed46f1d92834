// The differences of two trees, a line each:
//
//   ~ net\ports\http = 80 → 8080
//   + net\ports\ftp = 21
//   - net\old (0)
//   1 changed, 1 added, 1 removed

#include <cstdint>
#include <string>

#include "JsonWriter.h"
#include "Text.h"
#include "commands/Commands.h"
#include "commands/LoadAll.h"
#include "commands/NodeFields.h"
#include "commands/TreeDiff.h"

namespace cfgtree {
namespace {

struct Look {
  const char* mark;
  const char* word;
  Colour colour;
};

const Look& LookOf(Change change) {
  static constexpr Look kChanged = {"~", "changed", Colour::kChanged};
  static constexpr Look kAdded = {"+", "added", Colour::kAdded};
  static constexpr Look kRemoved = {"-", "removed", Colour::kRemoved};
  switch (change) {
    case Change::kChanged:
      return kChanged;
    case Change::kAdded:
      return kAdded;
    case Change::kRemoved:
      break;
  }
  return kRemoved;
}

struct Totals {
  std::uint64_t changed = 0;
  std::uint64_t added = 0;
  std::uint64_t removed = 0;

  void Add(Change change) {
    ++(change == Change::kChanged ? changed : change == Change::kAdded ? added : removed);
  }
  std::uint64_t All() const { return changed + added + removed; }
};

std::string InnerText(Tree_Node& node) {
  return KindOf(node) == NodeKind::kArray ? "[0]" : "(0)";
}

// The value as one field: empty for a node that is not there.
std::string Field(Tree_Node* node) {
  if (node == nullptr) return "";
  return node->IsLeaf() ? ValueText(*node) : InnerText(*node);
}

// For people: nothing is cut, since the end of a path or value may be what differs.
void WriteLine(const Difference& difference, const Style& style, Output& out) {
  const Look& look = LookOf(difference.change);
  out << Painted(std::string(look.mark) + ' ', look.colour, style);
  out << Painted(difference.path.empty() ? "the top" : Printable(difference.path), look.colour,
                 style);
  Tree_Node& node = difference.old_node != nullptr ? *difference.old_node : *difference.new_node;
  if (!node.IsLeaf()) {
    out << ' ' << Painted(InnerText(node), Colour::kDim, style) << '\n';
    return;
  }
  out << Painted(" = ", Colour::kDim, style) << QuotedValueText(node);
  if (difference.change == Change::kChanged) {
    out << Painted(" → ", Colour::kDim, style) << QuotedValueText(*difference.new_node);
  }
  out << '\n';
}

// For programs: mark, path, old value, new value.
void WriteFields(const Difference& difference, Output& out) {
  out << LookOf(difference.change).mark << '\t' << Printable(difference.path) << '\t'
      << Field(difference.old_node) << '\t' << Field(difference.new_node) << '\n';
}

void WriteSide(JsonWriter& json, const char* name, Tree_Node* node) {
  if (node == nullptr) return;
  json.Key(name).BeginObject();
  WriteNodeFields(json, *node);
  json.EndObject();
}

Totals WriteJson(LoadedFile& old_file, LoadedFile& new_file, Output& out) {
  Totals totals;
  JsonWriter json(out);
  json.BeginObject();
  json.Field("old", old_file.name);
  json.Field("new", new_file.name);
  json.Key("differences").BeginArray();
  CompareTrees(*old_file.top, *new_file.top, [&](const Difference& difference) {
    totals.Add(difference.change);
    json.BeginObject();
    json.Field("change", LookOf(difference.change).word);
    json.Field("path", difference.path);
    WriteSide(json, "old", difference.old_node);
    WriteSide(json, "new", difference.new_node);
    json.EndObject();
  });
  json.EndArray();
  json.Field("changed", totals.changed);
  json.Field("added", totals.added);
  json.Field("removed", totals.removed);
  json.EndObject();
  json.Finish();
  return totals;
}

Totals WriteLines(LoadedFile& old_file, LoadedFile& new_file, const Style& style, Output& out) {
  Totals totals;
  CompareTrees(*old_file.top, *new_file.top, [&](const Difference& difference) {
    totals.Add(difference.change);
    if (style.columns) {
      WriteLine(difference, style, out);
    } else {
      WriteFields(difference, out);
    }
  });
  if (style.columns && totals.All() > 0) {
    const std::string total = Grouped(totals.changed) + " changed, " + Grouped(totals.added) +
                              " added, " + Grouped(totals.removed) + " removed";
    out << Painted(total, Colour::kDim, style) << '\n';
  }
  return totals;
}

// The paths of a deep tree that differs all the way down take more than can be printed.
// Adding them up costs little beside writing them.
void RequireRoomForPaths(LoadedFile& old_file, LoadedFile& new_file, const Output& out) {
  std::size_t bytes = 0;
  CompareTrees(*old_file.top, *new_file.top, [&](const Difference& difference) {
    bytes += difference.path.size();
    out.RequireRoom(bytes);
  });
}

}  // namespace

bool RunDiff(const Options& options, const Style& style, Output& out) {
  const std::vector<LoadedFile*> files = LoadAll(options);
  RequireRoomForPaths(*files[0], *files[1], out);
  const Totals totals = options.json ? WriteJson(*files[0], *files[1], out)
                                     : WriteLines(*files[0], *files[1], style, out);
  return totals.All() > 0;
}

}  // namespace cfgtree
