#ifndef CFGTREE_COMMANDS_LOADALL_H
#define CFGTREE_COMMANDS_LOADALL_H

#include <vector>

#include "CommandLine.h"
#include "Load.h"
#include "Tree/Tree_Node.h"

namespace cfgtree {

// All files of a command that reads several, for good.  Throws a UsageError when more than
// one of them is standard input, which can be read once only.
std::vector<LoadedFile*> LoadAll(const Options& options);

// Their trees.
std::vector<Tree_NodePtr> TopsOf(const std::vector<LoadedFile*>& files);

}  // namespace cfgtree

#endif  // CFGTREE_COMMANDS_LOADALL_H
