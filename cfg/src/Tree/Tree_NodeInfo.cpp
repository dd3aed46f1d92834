#include "Tree/Tree_NodeInfo.h"

#include <algorithm>
#include <cstddef>

#include "Tree/Tree_Interning.h"

Tree_NodeInfo::Tree_NodeInfo() : m_value(nullptr), m_parent_path_index(0), m_is_change(0) {}

RWCString Tree_NodeInfo::GetPath() const {
  return m_path;
}

void Tree_NodeInfo::SetPath(RWCString& path) {
  m_path = path;
}

std::size_t Tree_NodeInfo::ParentLength() const {
  if (m_parent_path_index <= 0) return 0;
  return std::min(static_cast<std::size_t>(m_parent_path_index), m_path.length());
}

RWCString Tree_NodeInfo::GetParentPath() const {
  return RWCString(m_path.data(), ParentLength());
}

void Tree_NodeInfo::SetParentPath(RWCString& parent_path) {
  m_parent_path_index = static_cast<int>(parent_path.length());
}

void Tree_NodeInfo::SetParentPathIndex(int index) {
  m_parent_path_index = index;
}

RWCString Tree_NodeInfo::GetValue() const {
  return m_value == nullptr ? RWCString() : *m_value;
}

void Tree_NodeInfo::SetValue(RWCString& value) {
  m_value = tree_interning::Intern(value);
}

int Tree_NodeInfo::IsChange() const {
  return m_is_change;
}

void Tree_NodeInfo::SetIsChange(int is_change) {
  m_is_change = is_change;
}

bool Tree_NodeInfo::operator==(const Tree_NodeInfo& other) const {
  return m_path == other.m_path;
}

bool Tree_NodeInfo::operator<(const Tree_NodeInfo& other) const {
  return m_path.compareTo(other.m_path) < 0;
}
