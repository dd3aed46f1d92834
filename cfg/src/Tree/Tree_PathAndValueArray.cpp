#include "Tree/Tree_PathAndValueArray.h"

#include <cstddef>

#include "Zel/Zel_LargePages.h"
#include "rw/RWBoundsErr.h"

// A negative size becomes one that no vector can hold and is refused as such.
Tree_PathAndValueArray::Tree_PathAndValueArray(int size)
    : m_elements(static_cast<std::size_t>(size)), m_length(size) {
  Zel_WishLargePages(reinterpret_cast<char*>(m_elements.data()),
                     m_elements.size() * sizeof(Tree_ValueAndPath));
}

Tree_PathAndValueArray::~Tree_PathAndValueArray() = default;

int Tree_PathAndValueArray::GetArrLen() {
  return m_length;
}

Tree_ValueAndPath* Tree_PathAndValueArray::GetPV(int i) {
  return HasPlace(i) ? &Element(i) : nullptr;
}

void Tree_PathAndValueArray::SetPV(int i, Tree_ValueAndPath& pv) {
  if (HasPlace(i)) Element(i).SetPathAndValue(pv);
}

void Tree_PathAndValueArray::SetPV(int i, const RWCString& path, const RWCString& value) {
  if (HasPlace(i)) Element(i).SetPathAndValue(path, value);
}

void Tree_PathAndValueArray::SetPV(int i, const char* path, const char* value) {
  if (HasPlace(i)) Element(i).SetPathAndValue(path, value);
}

bool Tree_PathAndValueArray::HasPlace(int i) const {
  return i >= 0 && i < m_length;
}

Tree_ValueAndPath& Tree_PathAndValueArray::Element(int i) {
  const auto place = static_cast<std::size_t>(i);
  if (place >= m_elements.size()) RWBoundsErr::Raise(i, m_elements.size());
  return m_elements[place];
}
