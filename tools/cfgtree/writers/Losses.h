#ifndef CFGTREE_WRITERS_LOSSES_H
#define CFGTREE_WRITERS_LOSSES_H

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace cfgtree {

// What a format could not carry.  A writer counts as it goes; the user reads one
// sentence per kind of loss, in the order in which they first came:
//
//   3 change flags are not kept
class Losses {
 public:
  // One more of `one`, the sentence behind "1 "; `many` is the one behind "2 ".  Both are
  // literals, and `one` tells the kinds apart.
  void Count(const char* one, const char* many, std::uint64_t number = 1);

  // A sentence without a number.
  void Say(std::string sentence);

  bool empty() const { return m_entries.empty(); }

  // The sentences, without full stops.
  std::vector<std::string> Sentences() const;

 private:
  struct Entry {
    std::uint64_t number;  // 0: `one` is the whole sentence
    std::string one;
    std::string many;
  };
  std::vector<Entry> m_entries;
};

}  // namespace cfgtree

#endif  // CFGTREE_WRITERS_LOSSES_H
