// Cases: the trees that all contestants work on, as plain paths and values.
//
//   typical   services of 10 sections of 10 groups of 10 leaves each (see data.h)
//   wide      one node with many leaves
//   deep      a chain of nodes with one leaf at its end
//   real      the files of Debian's iso-codes (JSON) and shared-mime-info (XML): an object
//             or element is a node, a text or an attribute a leaf, and items of one name
//             are numbered
//
// Names are letters, digits, '-' and '_' (and '.' in wide ones) and begin with a letter, so
// that every peer can use them as they are; no value is empty.

#ifndef BENCH_SUPPORT_CASES_H
#define BENCH_SUPPORT_CASES_H

#include <cstddef>
#include <string>
#include <vector>

#include "support/data.h"

namespace bench {

struct Case {
  std::string subject;  // "typical"
  std::string variant;  // "leaves:10000"
  std::size_t units;    // leaves, or nodes of a chain: what figures are per

  // The same leaves in order of their paths and in random order.
  std::vector<Entry> sorted;
  std::vector<Entry> shuffled;

  std::vector<std::string> asked;    // paths of leaves, in random order
  std::vector<std::string> missing;  // as many paths of leaves that are not there
  std::vector<std::string> parents;  // nodes that have leaves, in random order
  std::size_t listed = 0;            // leaves of all parents together
  std::string parent;                // the node of a wide tree, empty elsewhere
  std::vector<std::string> names;    // of its leaves, in random order
  std::string searched;              // a name that some nodes have

  std::vector<Entry> changed;  // every tenth leaf, with another value
  std::vector<Entry> layer;    // the same, and half as many new leaves
};

// Which cases a run goes over.
std::vector<std::string> CaseNames(bool quick, bool smoke);

// The case of that name ("typical/10000"); made once and kept until another is asked for.
const Case& CaseNamed(const std::string& name);

}  // namespace bench

#endif  // BENCH_SUPPORT_CASES_H
