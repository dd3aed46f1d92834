// How the tree writes to the log.
//
// A site is one statement: the line is formatted, and its arguments are evaluated,
// only when the log accepts the level.  Refusal costs a relaxed load and a branch.
// Source, function and text are part of the interface and spelled out.

#ifndef TREE_TREE_LOG_H
#define TREE_TREE_LOG_H

#include "Zel/Zel_LogFile.h"

namespace tree_log {

constexpr int kCategory = 501;

constexpr int kError = 3;      // a refused operation
constexpr int kRepaired = 4;   // input that was mended
constexpr int kNotable = 5;    // harmless, but worth knowing
constexpr int kLifecycle = 6;  // start and end of a build, what is written where
constexpr int kTrace = 7;      // start and end of operations

constexpr const char* kNodeSource = "Tree/Tree_Node";
constexpr const char* kVecSource = "Tree/Tree_NodePtrVec";

}  // namespace tree_log

#define TREE_LOG_AS(source, function, level, ...)                                         \
  do {                                                                                    \
    if (ZelGLog.StoreParams(source, function, __LINE__, level, tree_log::kCategory, 1)) { \
      ZelGLog.Log(__VA_ARGS__);                                                           \
    }                                                                                     \
  } while (false)

// For every source file of Tree_Node: to the log they are one.
#define TREE_LOG(function, level, ...) \
  TREE_LOG_AS(tree_log::kNodeSource, "Tree_Node::" function, level, __VA_ARGS__)

#endif  // TREE_TREE_LOG_H
