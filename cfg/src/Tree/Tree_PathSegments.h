// Two ways in which navigation reads a path, with one interface.

#ifndef TREE_TREE_PATHSEGMENTS_H
#define TREE_TREE_PATHSEGMENTS_H

#include <algorithm>
#include <cstddef>

#include "Tree/Tree_Path.h"
#include "rw/RWCString.h"

// A name without zero bytes.  It need not be followed by one.
struct Tree_PathSegment {
  const char* text;
  std::size_t length;
};

// Takes the segments from a Tree_Path, which moves on.
class Tree_PathReader {
 public:
  explicit Tree_PathReader(Tree_Path& path) : m_path(path) {}

  Tree_PathSegment Next() {
    std::size_t length = 0;
    const char* const text = m_path.NextSegment(length);
    // A path that was never set names nothing but the node where it starts.
    return text == nullptr ? Tree_PathSegment{"", 0} : Tree_PathSegment{text, length};
  }
  bool WasLast() { return m_path.IsOnlyRoot() != 0; }

 private:
  Tree_Path& m_path;
};

// Reads the segments that a fresh Tree_Path of that path would hand out, without a copy.
// The text must outlive it.
class Tree_PathSegments {
 public:
  Tree_PathSegments(const char* path, std::size_t length)
      : m_at(path), m_end(path + length), m_left(1 + std::count(m_at, m_end, '\\')) {}

  // There are as many segments as backslashes and one, but a zero byte ends a segment
  // just as a backslash does.
  Tree_PathSegment Next() {
    const char* at = m_at;
    while (at != m_end && *at != '\\' && *at != '\0') ++at;
    const Tree_PathSegment segment{m_at, static_cast<std::size_t>(at - m_at)};
    if (--m_left > 0) m_at = at + 1;
    return segment;
  }
  bool WasLast() const { return m_left == 0; }

 private:
  const char* m_at;
  const char* m_end;
  std::ptrdiff_t m_left;
};

#endif  // TREE_TREE_PATHSEGMENTS_H
