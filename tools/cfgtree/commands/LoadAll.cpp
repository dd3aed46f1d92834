#include "commands/LoadAll.h"

#include <algorithm>

#include "Error.h"

namespace cfgtree {

std::vector<LoadedFile*> LoadAll(const Options& options) {
  if (std::count(options.files.begin(), options.files.end(), "-") > 1) {
    throw UsageError("only one file can be standard input");
  }
  std::vector<LoadedFile*> files;
  files.reserve(options.files.size());
  for (const std::string& path : options.files) {
    files.push_back(&LoadForGood(path, options.format));
  }
  return files;
}

std::vector<Tree_NodePtr> TopsOf(const std::vector<LoadedFile*>& files) {
  std::vector<Tree_NodePtr> tops;
  tops.reserve(files.size());
  for (const LoadedFile* file : files) tops.push_back(file->top);
  return tops;
}

}  // namespace cfgtree
