#include "Tree/Tree_ValueAndPath.h"

#include <cstddef>
#include <cstring>

namespace {

// Fills a field as strncpy does: what is too long is cut and leaves no terminating
// zero byte, what is short is followed by zero bytes only.
template <std::size_t width>
void Fill(char (&field)[width], const char* text) {
  if (text == field) return;
  std::size_t length = 0;
  while (length < width && text[length] != '\0') ++length;
  std::memmove(field, text, length);
  std::memset(field + length, 0, width - length);
}

}  // namespace

Tree_ValueAndPath::Tree_ValueAndPath() : m_value(), m_path() {}

Tree_ValueAndPath::Tree_ValueAndPath(const Tree_ValueAndPath& other) {
  SetPathAndValue(other);
}

Tree_ValueAndPath::Tree_ValueAndPath(const RWCString& path, const RWCString& value) {
  SetPathAndValue(path, value);
}

Tree_ValueAndPath::Tree_ValueAndPath(const char* path, const char* value) {
  SetPathAndValue(path, value);
}

Tree_ValueAndPath& Tree_ValueAndPath::operator=(const Tree_ValueAndPath& other) = default;

void Tree_ValueAndPath::SetPathAndValue(const Tree_ValueAndPath& other) {
  Fill(m_value, other.m_value);
  Fill(m_path, other.m_path);
}

void Tree_ValueAndPath::SetPathAndValue(const RWCString& path, const RWCString& value) {
  SetPathAndValue(path.data(), value.data());
}

void Tree_ValueAndPath::SetPathAndValue(const char* path, const char* value) {
  SetValue(value == nullptr ? "" : value);
  SetPath(path);
}

void Tree_ValueAndPath::SetPath(const char* path) {
  Fill(m_path, path);
}

void Tree_ValueAndPath::SetValue(const char* value) {
  Fill(m_value, value);
}

char* Tree_ValueAndPath::GetPath() {
  return m_path;
}

char* Tree_ValueAndPath::GetValue() {
  return m_value;
}
