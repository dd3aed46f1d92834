// What several formats lose in the same way.

#ifndef CFGTREE_WRITERS_COMMONLOSSES_H
#define CFGTREE_WRITERS_COMMONLOSSES_H

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

#include "NodeKind.h"
#include "Tree/Tree_Node.h"
#include "writers/Losses.h"

namespace cfgtree {

// No larger file is written, since none could be read again.
void RequireWritableSize(std::size_t bytes);

// The same for what the paths of all nodes that `is_written` names take together; a deep
// tree needs the square of its depth, and nobody shall wait for an answer that cannot be
// given.
void RequireWritablePaths(Tree_NodePtr& top, const std::function<bool(Tree_Node&)>& is_written);

inline void CountChangeFlag(Tree_Node& leaf, Losses& losses) {
  if (ChangeOf(leaf) != 0) losses.Count("change flag is not kept", "change flags are not kept");
}

// For formats that know texts and sub-trees only.
void CountKind(Tree_Node& node, Losses& losses);

// The name of `node` without its escape, for formats that have no default value: where that
// makes an @ like any other of a registry value that is called @, it is counted.
std::string NameOrLoss(Tree_Node& node, Losses& losses);

// `text` as UTF-8, and counted when that changed it.
std::string TextOrLoss(std::string_view text, Losses& losses);

// `text` up to its first zero byte, and counted when that cut it.
std::string_view CutAtZero(std::string_view text, Losses& losses);

}  // namespace cfgtree

#endif  // CFGTREE_WRITERS_COMMONLOSSES_H
