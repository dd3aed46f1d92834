#ifndef TREE_TREE_PATH_H
#define TREE_TREE_PATH_H

#include <cstddef>

#include "Tree/Tree_Api.h"
#include "rw/RWCString.h"

// A Tree_Path reads a path once, segment by segment, from left to right.
//
// Segments are separated by single backslashes; there is no escaping.  Nothing is
// ever dropped: n backslashes give n + 1 segments, so "" has one empty segment
// and "a\" has "a" and an empty one.  Navigation stops at the first empty
// segment, which is why a trailing backslash does no harm.
//
// Make a fresh path for each navigation: it goes on where the last reader stopped,
// and once it is exhausted it keeps handing out the last segment.
//
// Threads: a path belongs to the thread that navigates with it.
// Errors: none are reported; a failed allocation throws std::bad_alloc.
class TREE_API Tree_Path {
 public:
  // No path at all: GetRootAsCharPtr() yields null.  Do not navigate with it.
  Tree_Path();
  Tree_Path(const RWCString& path);

  // A copy has a text and a position of its own.  What the target of an assignment
  // handed out before is let go.
  Tree_Path(const Tree_Path& other);
  Tree_Path& operator=(const Tree_Path& other);
  ~Tree_Path();

  // Starts again on `path`.
  //
  // Intended: the text read before is not let go, so that segments handed out
  // earlier stay readable.  Setting a path twice therefore loses the first text.
  void SetPath(const RWCString& path);

  // The next segment, zero-terminated, then moves on.  It points into this path
  // and is valid while the path lives.  Null for a path that was never set.
  char* GetRootAsCharPtr();

  // The same as a string of its own; empty for a path that was never set.
  RWCString GetRoot();

  // 1 when every segment has been handed out, else 0.  Asked right after taking a
  // segment it tells whether that one was the last.  0 for a path never set.
  int IsOnlyRoot();

 private:
  friend class Tree_PathReader;

  char* NextSegment(std::size_t& length);
  void InitSpaces(const RWCString& path);
  void CopyFrom(const Tree_Path& other);

  int m_unused;    // 0; part of the object's layout
  int m_length;    // bytes of the path
  int m_current;   // 1-based number of the next segment; -1 when never set
  int m_count;     // number of segments
  char* m_cursor;  // first character of the next segment
  // The path with every backslash overwritten by a zero byte; of operator new.
  char* m_buffer;
};

#endif  // TREE_TREE_PATH_H
