#include "Tree/Tree_Value.h"

#include <new>

#include "Tree/Tree_Interning.h"

Tree_Value::Tree_Value(const RWCString& value, int is_change)
    : Tree_Value(tree_interning::Intern(value), is_change) {}

Tree_Value::Tree_Value(const RWCString* interned_value, int is_change)
    : m_value(interned_value), m_is_change(is_change) {}

RWCString Tree_Value::GetValue() {
  return *m_value;
}

void Tree_Value::SetValue(const RWCString& value) {
  m_value = tree_interning::Intern(value);
}

void Tree_Value::SetValue(const RWCString* interned_value) {
  m_value = interned_value;
}

int Tree_Value::IsChange() {
  return m_is_change;
}

void Tree_Value::SetIsChange(int is_change) {
  m_is_change = is_change;
}

void* Tree_Value::operator new(std::size_t size) {
  // A derived class does not fit the pool's blocks.
  void* const block = size == sizeof(Tree_Value) ? m_sValuesPool.Allocate() : nullptr;
  return block != nullptr ? block : ::operator new(size);
}

void Tree_Value::operator delete(void* block) {
  if (!m_sValuesPool.AddToFreeList(block)) ::operator delete(block);
}

void Tree_Value::InitValuesPool(int n) {
  if (m_sValuesPool.GetCurrElementsInBlock() < n) m_sValuesPool.ResetBlockInfo(n, 3);
}
