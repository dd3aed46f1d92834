// Two ways in which navigation reads a path, with one interface.

#ifndef TREE_TREE_PATHSEGMENTS_H
#define TREE_TREE_PATHSEGMENTS_H

#include <algorithm>
#include <cstddef>

#include "Tree/Tree_Bytes.h"
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
    // A path that was never set names nothing but the node where it starts.
    if (m_path.m_buffer == nullptr) return {"", 0};
    const char* const segment = m_path.m_cursor;
    const char* const end = m_path.m_buffer + static_cast<unsigned>(m_path.m_length);
    const std::size_t length = tree_bytes::LengthOf(m_path.m_buffer, segment, end);
    if (m_path.m_current < m_path.m_count) m_path.m_cursor += length + 1;
    if (m_path.m_current <= m_path.m_count) ++m_path.m_current;
    return {segment, length};
  }
  bool WasLast() const { return m_path.m_count < m_path.m_current; }

 private:
  Tree_Path& m_path;
};

// Reads the segments that a fresh Tree_Path of that path would hand out, without a copy.
// The text must outlive it.
class Tree_PathSegments {
 public:
  Tree_PathSegments(const char* path, std::size_t length)
      : m_path(path), m_at(path), m_end(path + length) {}

  Tree_PathSegment Next() {
    const char* const end = tree_bytes::EndOfName(m_path, m_at, m_end);
    const Tree_PathSegment segment{m_at, static_cast<std::size_t>(end - m_at)};
    if (end == m_end) {
      m_was_last = true;
    } else if (*end == '\\' && m_left < 0) {
      m_at = end + 1;
    } else {
      MoveOnCounted(end);
    }
    return segment;
  }
  bool WasLast() const { return m_was_last; }

 private:
  // There are as many segments as backslashes and one, but a zero byte ends a segment just
  // as a backslash does.  From the first one on they are counted.
  void MoveOnCounted(const char* end) {
    if (m_left < 0) m_left = 1 + std::count(end, m_end, '\\');
    m_was_last = --m_left == 0;
    if (!m_was_last) m_at = end + 1;
  }

  const char* const m_path;
  const char* m_at;
  const char* const m_end;
  std::ptrdiff_t m_left = -1;  // segments from m_at on, once they are counted
  bool m_was_last = false;
};

#endif  // TREE_TREE_PATHSEGMENTS_H
