// Which layer supplies what is at a path, the highest layer first:
//
//   LAYER      STATE       VALUE  NOTE
//   site.json  supplies    8080
//   base.json  overridden  80

#include <string>
#include <vector>

#include "Error.h"
#include "JsonWriter.h"
#include "NodeKind.h"
#include "Text.h"
#include "commands/Commands.h"
#include "commands/Explanation.h"
#include "commands/LoadAll.h"
#include "commands/NodeFields.h"

namespace cfgtree {
namespace {

const char* StateWord(LayerState state) {
  switch (state) {
    case LayerState::kSupplies:
      return "supplies";
    case LayerState::kOverridden:
      return "overridden";
    case LayerState::kHidden:
      return "hidden";
    case LayerState::kNothing:
      break;
  }
  return "nothing";
}

const char* ReasonWord(HiddenBy reason) {
  switch (reason) {
    case HiddenBy::kValue:
      return "value";
    case HiddenBy::kSubTree:
      return "sub-tree";
    case HiddenBy::kChunkArea:
      return "chunk-area";
    case HiddenBy::kOneLevel:
      return "one-level";
    case HiddenBy::kRepeatedName:
      return "repeated-name";
    case HiddenBy::kNobody:
      break;
  }
  return "";
}

Colour ColourOf(LayerState state) {
  switch (state) {
    case LayerState::kSupplies:
      return Colour::kValue;
    case LayerState::kOverridden:
    case LayerState::kHidden:
    case LayerState::kNothing:
      break;
  }
  return Colour::kDim;
}

class Report {
 public:
  Report(const Options& options, const std::vector<LoadedFile*>& files, TracedMerge& merge,
         const Explanation& explanation)
      : m_options(options), m_files(files), m_merge(merge), m_explanation(explanation) {}

  void WriteTable(const Style& style, Output& out) const {
    Table table(style, out);
    table.Heading({"LAYER", "STATE", "VALUE", "NOTE"});
    for (std::size_t i = m_files.size(); i-- > 0;) {
      const LayerPart& part = m_explanation.layers[i];
      const Colour colour = ColourOf(part.state);
      // A reason names a file and a path, too much for a column.
      const std::string note = style.columns ? Count(part) : Note(part);
      table.Row({{Printable(m_files[i]->name), Colour::kName},
                 {StateWord(part.state), colour},
                 {part.node == nullptr ? "" : ShownNode(*part.node), colour},
                 {Printable(note), Colour::kDim}});
    }
    table.Finish();
    if (style.columns) WriteReasons(style, out);
  }

  void WriteJson(Output& out) const {
    JsonWriter json(out);
    json.BeginObject();
    json.Field("path", m_options.path);
    if (m_explanation.merged != nullptr) {
      json.Key("result").BeginObject();
      json.Field("kind", KindName(*m_explanation.merged));
      WriteContent(json, *m_explanation.merged);
      json.Field("values", m_explanation.leaves);
      json.EndObject();
    }
    json.Key("layers").BeginArray();
    for (std::size_t i = m_files.size(); i-- > 0;) WriteLayer(json, i);
    json.EndArray();
    json.EndObject();
    json.Finish();
  }

 private:
  std::string ShownNode(Tree_Node& node) const {
    return node.IsLeaf() ? ValueText(node) : Counted(m_merge.Children(node), "entry", "entries");
  }

  // What stands below the columns: why layers are hidden.
  void WriteReasons(const Style& style, Output& out) const {
    const auto line = [&](const std::string& text) {
      out << Painted(Printable(text), Colour::kDim, style) << '\n';
    };
    for (std::size_t i = m_files.size(); i-- > 0;) {
      const LayerPart& part = m_explanation.layers[i];
      const std::string reason = JoinedReasons(part);
      const char* const verb = part.state == LayerState::kHidden ? " is hidden: " : ": ";
      if (!reason.empty()) line(m_files[i]->name + verb + reason);
    }
    if (m_explanation.merged == nullptr) line("the merged tree has nothing there");
  }

  // "5 of 9 values" for a sub-tree of the merged tree.
  std::string Count(const LayerPart& part) const {
    const bool merged =
        part.state == LayerState::kSupplies || part.state == LayerState::kOverridden;
    if (!merged || m_explanation.merged->IsLeaf()) return "";
    return Grouped(part.supplied) + " of " + Counted(m_explanation.leaves, "value", "values");
  }

  std::string JoinedReasons(const LayerPart& part) const {
    std::string reason = part.state == LayerState::kHidden ? Reason(part) : "";
    if (part.node != nullptr && part.path != m_explanation.path) {
      if (!reason.empty()) reason += "; ";
      reason += "there it is " + part.path;
    }
    return reason;
  }

  std::string Note(const LayerPart& part) const {
    const std::string count = Count(part);
    const std::string reason = JoinedReasons(part);
    return count.empty() || reason.empty() ? count + reason : count + "; " + reason;
  }

  std::string Reason(const LayerPart& part) const {
    const std::string& by = m_files[part.by]->name;
    const std::string at = part.at.empty() ? "the top" : part.at;
    switch (part.reason) {
      case HiddenBy::kValue:
        return by + " has a value at " + at;
      case HiddenBy::kSubTree:
        return by + " has a sub-tree at " + at;
      case HiddenBy::kChunkArea:
        return by + " has a chunk area at " + at + ", which is never mixed";
      case HiddenBy::kOneLevel:
        return by + " has " + at + ", which is taken whole";
      case HiddenBy::kRepeatedName:
        return "siblings share the name of " + at;
      case HiddenBy::kNobody:
        break;
    }
    return "";
  }

  void WriteContent(JsonWriter& json, Tree_Node& node) const {
    if (node.IsLeaf()) {
      const RWCString value = ValueOf(node);
      json.Field("value", View(value));
    } else {
      json.Field("entries", static_cast<std::uint64_t>(m_merge.Children(node)));
    }
  }

  void WriteLayer(JsonWriter& json, std::size_t layer) const {
    const LayerPart& part = m_explanation.layers[layer];
    json.BeginObject();
    json.Field("layer", static_cast<std::uint64_t>(layer + 1));
    json.Field("file", m_files[layer]->name);
    json.Field("state", StateWord(part.state));
    if (part.node != nullptr) {
      json.Field("path", part.path);
      json.Field("kind", KindName(*part.node));
      WriteContent(json, *part.node);
      json.Field("supplied", part.supplied);
    }
    if (part.state == LayerState::kHidden) {
      json.Field("reason", ReasonWord(part.reason));
      json.Field("by", m_files[part.by]->name);
      json.Field("at", part.at);
    }
    json.EndObject();
  }

  const Options& m_options;
  const std::vector<LoadedFile*>& m_files;
  TracedMerge& m_merge;
  const Explanation& m_explanation;
};

}  // namespace

void RunExplain(const Options& options, const Style& style, Output& out) {
  const std::vector<LoadedFile*> files = LoadAll(options);
  // Never released, as the files are not.
  TracedMerge& merge = *new TracedMerge(TopsOf(files), options.one_level);
  const Explanation explanation = Explain(merge, options.path, options.one_level);
  if (explanation.Nothing()) {
    throw Error("no such path in any of the files", options.path);
  }
  const Report report(options, files, merge, explanation);
  if (options.json) {
    report.WriteJson(out);
  } else {
    report.WriteTable(style, out);
  }
}

}  // namespace cfgtree
