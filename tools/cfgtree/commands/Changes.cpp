#include <string>

#include "Error.h"
#include "Kinds.h"
#include "System.h"
#include "Text.h"
#include "Walk.h"
#include "commands/Commands.h"
#include "commands/LoadAll.h"
#include "commands/Marks.h"
#include "writers/Writer.h"

namespace cfgtree {
namespace {

std::string Found(const Marks& marks) {
  std::string text = Grouped(marks.changed) + " changed, " + Grouped(marks.added) + " added";
  if (marks.kept_whole > 0) {
    text += ", " + Grouped(marks.kept_whole) + " more to keep chunk areas whole";
  }
  return text;
}

std::string NotCarried(const Marks& marks) {
  std::string text;
  if (marks.removed > 0) text = Grouped(marks.removed) + " removed";
  if (marks.empty > 0) {
    if (!text.empty()) text += ", ";
    text += Counted(marks.empty, "empty sub-tree", "empty sub-trees");
  }
  return text;
}

void Tell(const std::string& line) {
  os::WriteError("cfgtree: " + Printable(line) + '\n');
}

}  // namespace

void RunChanges(const Options& options) {
  const Format format = options.to ? *options.to : OutputFormat(options.output);
  const std::vector<LoadedFile*> files = LoadAll(options);
  LoadedFile& old_file = *files[0];
  LoadedFile& new_file = *files[1];
  const Marks marks = MarkChanges(old_file.top, new_file.top);
  if (new_file.top->IsLeaf() && marks.Flagged() > 0) {
    throw Error(new_file.name, "is a single value, of which no part can be extracted");
  }

  Tree_NodePtr changes = Tree_Node::GetChangesTreeNode(new_file.top);
  const std::string shown = options.output == "-" ? "standard output" : options.output;
  const std::string not_carried = NotCarried(marks);
  const std::string rest = not_carried.empty() ? "" : "; not carried: " + not_carried;
  if (!changes) return Tell(shown + ": not written, nothing changed or added" + rest);

  CarryKinds(changes, {new_file.top});
  if (format != Format::kTree) {
    // Every leaf is flagged, so a format that has no flags loses nothing by it.
    Walk(changes, [](Tree_NodePtr& node, std::size_t) {
      if (node->IsLeaf()) node->GetTreeValue()->SetIsChange(0);
    });
  }
  Save(changes, options.output, format, WriteOptionsLike(new_file, format));
  Tell(shown + ": " + Found(marks) + rest);
  if (marks.repeated > 0) {
    Tell("warning: " + Counted(marks.repeated, "of these values stands", "of these values stand") +
         " below names that repeat; a merge takes the first of a name");
  }
}

}  // namespace cfgtree
