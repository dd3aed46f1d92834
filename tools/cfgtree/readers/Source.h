// What every reader is given.

#ifndef CFGTREE_READERS_SOURCE_H
#define CFGTREE_READERS_SOURCE_H

#include <cstddef>
#include <string>
#include <string_view>

#include "Progress.h"

namespace cfgtree {

// A file in memory.  `name` is what errors call it.
struct Source {
  std::string_view name;
  std::string_view bytes;
  Progress* progress = nullptr;

  // To be called for every line or value; `position` counts from 0 to `size`.
  void Report(std::size_t position, std::size_t size) const {
    if (progress != nullptr) progress->At("building", position, size);
  }
};

}  // namespace cfgtree

#endif  // CFGTREE_READERS_SOURCE_H
