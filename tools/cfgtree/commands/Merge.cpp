#include <algorithm>
#include <optional>
#include <string>

#include "Deletions.h"
#include "Kinds.h"
#include "System.h"
#include "Text.h"
#include "commands/Commands.h"
#include "commands/Layers.h"
#include "commands/LoadAll.h"
#include "writers/Writer.h"

namespace cfgtree {
namespace {

// The library looks for the first child of a name only.  What lies under the name again is
// joined with it or dropped, which surprises whoever merges lists of sections or elements.
void WarnOfRepeatedNames(LoadedFile& layer) {
  const std::uint64_t repeated = CountRepeatedNames(layer.top);
  if (repeated == 0) return;
  os::WriteError("cfgtree: warning: " + Printable(layer.name) + ": " +
                 Counted(repeated, "node bears the name of an earlier sibling and is",
                         "nodes bear the name of an earlier sibling and are") +
                 " not kept apart by a merge\n");
}

// Whether values such as "[-]" have the meaning that they have in a registry export.
bool IsRegistry(const std::vector<LoadedFile*>& files, Format output) {
  return output == Format::kReg ||
         std::any_of(files.begin(), files.end(),
                     [](const LoadedFile* file) { return file->format == Format::kReg; });
}

}  // namespace

void RunMerge(const Options& options) {
  const Format format = options.to ? *options.to : OutputFormat(options.output);
  const std::vector<LoadedFile*> files = LoadAll(options);
  const std::vector<Tree_NodePtr> layers = TopsOf(files);
  const RWCString name = layers[0]->GetKeyName();

  std::optional<Deletions> deletions;
  if (IsRegistry(files, format)) deletions.emplace(layers, options.one_level);
  Tree_NodePtr merged = MergeLayers(layers, options.one_level);
  CarryKinds(merged, layers);
  if (deletions) deletions->PutInto(merged);
  // What comes out is the base with changes, not the last change.
  merged->SetKeyName(name);
  Save(merged, options.output, format, WriteOptionsLike(*files[0], format));
  if (options.one_level) return;  // whole sub-trees keep what they have
  for (std::size_t i = 0; i + 1 < files.size(); ++i) WarnOfRepeatedNames(*files[i]);
}

}  // namespace cfgtree
