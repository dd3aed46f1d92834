#include "Tree/Tree_IdNodeInfo.h"

#include <cstddef>
#include <iostream>
#include <string>

#include "Tree/Tree_Interning.h"

namespace {

const RWCString* InternBytes(const char* text, int length) {
  if (text == nullptr || length <= 0) return tree_interning::Intern(RWCString());
  return tree_interning::Intern(RWCString(text, static_cast<std::size_t>(length)));
}

}  // namespace

Tree_IdNodeInfo::Tree_IdNodeInfo()
    : m_value(nullptr), m_path(nullptr), m_parent_id(-1), m_id(0), m_is_change(0) {}

int Tree_IdNodeInfo::GetId() const {
  return m_id;
}

void Tree_IdNodeInfo::SetId(int id) {
  m_id = id;
}

int Tree_IdNodeInfo::GetParentId() const {
  return m_parent_id;
}

void Tree_IdNodeInfo::SetParentId(int parent_id) {
  m_parent_id = parent_id;
}

int Tree_IdNodeInfo::IsChange() const {
  return m_is_change;
}

void Tree_IdNodeInfo::SetIsChange(int is_change) {
  m_is_change = is_change;
}

const char* Tree_IdNodeInfo::GetPath() const {
  return m_path == nullptr ? empty_string : m_path->data();
}

const char* Tree_IdNodeInfo::GetValue() const {
  return m_value == nullptr ? empty_string : m_value->data();
}

const RWCString* Tree_IdNodeInfo::GetRWPath() const {
  return m_path;
}

const RWCString* Tree_IdNodeInfo::GetRWValue() const {
  return m_value;
}

void Tree_IdNodeInfo::SetPath(RWCString& path) {
  m_path = tree_interning::Intern(path);
}

void Tree_IdNodeInfo::SetPath(char* text, int length) {
  m_path = InternBytes(text, length);
}

void Tree_IdNodeInfo::SetValue(RWCString& value) {
  m_value = tree_interning::Intern(value);
}

void Tree_IdNodeInfo::SetValue(char* text, int length) {
  m_value = InternBytes(text, length);
}

void Tree_IdNodeInfo::StripPath() {}

void Tree_IdNodeInfo::StripValue() {}

bool Tree_IdNodeInfo::operator==(const Tree_IdNodeInfo& other) const {
  // Equal strings are one interned string, except that no path at all counts as empty.
  if (m_path == other.m_path) return true;
  return (m_path == nullptr || m_path->isNull()) &&
         (other.m_path == nullptr || other.m_path->isNull());
}

bool Tree_IdNodeInfo::operator<(const Tree_IdNodeInfo& other) const {
  if (other.m_path == nullptr) return false;
  if (m_path == nullptr) return !other.m_path->isNull();
  return m_path->compareTo(*other.m_path) < 0;
}

void Tree_IdNodeInfo::PrintMe() const {
  // Numbers are made into texts first: a stream that prints hexadecimal would print
  // these so, too.
  std::ostream& out = std::cout;
  out << "----------------------" << std::endl;
  out << "Path : " << (m_path == nullptr ? "no path" : GetPath()) << std::endl;
  if (m_value != nullptr) {
    out << " Value : " << GetValue() << " Changed : " << std::to_string(m_is_change);
  }
  out << " Parent id : " << std::to_string(m_parent_id) << " Id : " << std::to_string(m_id)
      << std::endl;
}
