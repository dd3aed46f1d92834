#include "Tree/Tree_Path.h"

#include <cstddef>
#include <cstring>
#include <new>

#include "Tree/Tree_Bytes.h"
#include "Tree/Tree_PathSegments.h"

Tree_Path::Tree_Path()
    : m_unused(0), m_length(0), m_current(-1), m_count(0), m_cursor(nullptr), m_buffer(nullptr) {}

Tree_Path::Tree_Path(const RWCString& path) : Tree_Path() {
  InitSpaces(path);
}

Tree_Path::Tree_Path(const Tree_Path& other) : Tree_Path() {
  CopyFrom(other);
}

Tree_Path& Tree_Path::operator=(const Tree_Path& other) {
  if (this == &other) return *this;
  char* const old = m_buffer;
  CopyFrom(other);
  ::operator delete(old);
  return *this;
}

Tree_Path::~Tree_Path() {
  ::operator delete(m_buffer);
}

void Tree_Path::SetPath(const RWCString& path) {
  InitSpaces(path);
}

char* Tree_Path::GetRootAsCharPtr() {
  std::size_t length = 0;
  return NextSegment(length);
}

// `length` is set unless the result is null.
char* Tree_Path::NextSegment(std::size_t& length) {
  if (m_buffer == nullptr) return nullptr;
  char* const segment = m_cursor;
  length = Tree_PathReader(*this).Next().length;
  return segment;
}

RWCString Tree_Path::GetRoot() {
  return RWCString(GetRootAsCharPtr());
}

int Tree_Path::IsOnlyRoot() {
  return m_count < m_current ? 1 : 0;
}

void Tree_Path::InitSpaces(const RWCString& path) {
  const std::size_t length = path.length();
  char* const buffer = static_cast<char*>(::operator new(length + 1));
  std::memcpy(buffer, path.data(), length + 1);

  m_unused = 0;
  m_length = static_cast<int>(length);
  m_current = 1;
  m_count = 1 + tree_bytes::Zero(buffer, buffer + length, '\\');
  m_cursor = m_buffer = buffer;
}

void Tree_Path::CopyFrom(const Tree_Path& other) {
  char* copy = nullptr;
  if (other.m_buffer != nullptr) {
    const std::size_t size = static_cast<std::size_t>(other.m_length) + 1;
    copy = static_cast<char*>(::operator new(size));
    std::memcpy(copy, other.m_buffer, size);
  }
  m_unused = other.m_unused;
  m_length = other.m_length;
  m_current = other.m_current;
  m_count = other.m_count;
  m_cursor = copy == nullptr ? nullptr : copy + (other.m_cursor - other.m_buffer);
  m_buffer = copy;
}
