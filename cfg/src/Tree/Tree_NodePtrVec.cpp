#include "Tree/Tree_NodePtrVec.h"

#include <algorithm>
#include <cassert>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

#include "Tree/Tree_Interning.h"
#include "Tree/Tree_Log.h"
#include "Tree/Tree_NameIndex.h"
#include "Tree/Tree_Node.h"

namespace {

bool EqualsZeroTerminated(const RWCString& name, const char* text, std::size_t length) {
  return name.length() >= length && std::memcmp(name.data(), text, length) == 0 &&
         name.data()[length] == '\0';
}

}  // namespace

Tree_NodePtrVec::Tree_NodePtrVec() : m_index(nullptr), m_dropped(-1) {}

Tree_NodePtrVec::Tree_NodePtrVec(const Tree_NodePtrVec& other)
    : m_elements(other.m_elements), m_index(nullptr), m_dropped(-1) {}

Tree_NodePtrVec& Tree_NodePtrVec::operator=(const Tree_NodePtrVec& other) {
  if (this == &other) return *this;
  m_elements = other.m_elements;
  DeleteIndex();
  return *this;
}

Tree_NodePtrVec::~Tree_NodePtrVec() {
  if (m_dropped < 0) {
    BeginDrop();
    for (Tree_NodePtr* element : m_elements) DeleteElement(element);
  }
  DeleteIndex();
}

int Tree_NodePtrVec::entries() {
  return static_cast<int>(m_elements.size());
}

Tree_NodePtr& Tree_NodePtrVec::at(int i) {
  const auto position = static_cast<std::size_t>(i);
  if (position >= m_elements.size()) RWBoundsErr::Raise(i, m_elements.size());
  return *m_elements[position];
}

int Tree_NodePtrVec::index(const Tree_NodePtr& p) {
  const auto found = std::find_if(m_elements.begin(), m_elements.end(),
                                  [&p](const Tree_NodePtr* element) { return *element == p; });
  return found == m_elements.end() ? -1 : static_cast<int>(found - m_elements.begin());
}

void Tree_NodePtrVec::insertAt(int i, Tree_NodePtr& p) {
  Tree_NodePtr* const element = NewElement(Tree_NodePtr(p));
  // The test is that of position i - 1, so that the end is a valid place too.
  const auto position = static_cast<std::size_t>(i);
  if (position > m_elements.size()) {
    RWBoundsErr::Raise(static_cast<long long>(i) - 1, m_elements.size());
  }
  InsertElement(position, element);
}

void Tree_NodePtrVec::removeAt(int i) {
  Tree_NodePtr* const element = &at(i);
  const auto position = static_cast<std::size_t>(i);
  m_elements.erase(m_elements.begin() + i);
  IndexRemoved(position, element);
  DeleteElement(element);
}

void Tree_NodePtrVec::resize(int n) {
  // A negative number becomes one that no vector can hold and is refused as such.
  m_elements.reserve(static_cast<std::size_t>(n));
}

void Tree_NodePtrVec::InitPool(int n) {
  if (m_pPrivatePool.GetCurrElementsInBlock() >= n) return;
  m_pPrivatePool.ResetBlockInfo(n, -1);
  autoptrthreadsafe_internal_data::IncreasePool(n, -1);
}

Tree_NodePtr* Tree_NodePtrVec::NewElement(Tree_NodePtr&& p) {
  void* memory = m_pPrivatePool.Allocate();
  if (memory == nullptr) memory = ::operator new(sizeof(Tree_NodePtr));
  return ::new (memory) Tree_NodePtr(std::move(p));
}

void Tree_NodePtrVec::FreeElement(Tree_NodePtr* element) noexcept {
  if (!m_pPrivatePool.AddToFreeList(element)) ::operator delete(element);
}

void Tree_NodePtrVec::DeleteElement(Tree_NodePtr* element) noexcept {
  element->~Tree_NodePtr();
  FreeElement(element);
}

void Tree_NodePtrVec::InsertElement(std::size_t position, Tree_NodePtr* element) {
  try {
    m_elements.insert(m_elements.begin() + static_cast<std::ptrdiff_t>(position), element);
  } catch (...) {
    DeleteElement(element);
    throw;
  }
  IndexInserted(position);
}

void Tree_NodePtrVec::Append(Tree_NodePtr&& p) {
  InsertElement(m_elements.size(), NewElement(std::move(p)));
}

void Tree_NodePtrVec::TakeOut(int position) {
  DeleteElement(std::exchange(m_elements[static_cast<std::size_t>(position)], nullptr));
}

void Tree_NodePtrVec::CloseGaps() {
  m_elements.erase(std::remove(m_elements.begin(), m_elements.end(), nullptr), m_elements.end());
  if (Tree_NameIndex* const index = Index()) index->Break();
}

void Tree_NodePtrVec::MoveToEnd(Tree_NodePtr* element) {
  const int position = PositionOf(element);
  // There is room for it again, so that nothing fails half-way.
  m_elements.erase(m_elements.begin() + position);
  IndexRemoved(static_cast<std::size_t>(position), element);
  m_elements.push_back(element);
  IndexInserted(m_elements.size() - 1);
}

void Tree_NodePtrVec::BeginDrop() {
  TREE_LOG_AS(tree_log::kVecSource, "Tree_NodePtrVec::~Tree_NodePtrVec", tree_log::kTrace,
              "Clearing vec, about to delete %d elements\n", entries());
  m_dropped = 0;
}

bool Tree_NodePtrVec::DropNext(Tree_Node*& dead) noexcept {
  assert(m_dropped >= 0);
  if (m_dropped >= entries()) return false;
  Tree_NodePtr* const element = m_elements[static_cast<std::size_t>(m_dropped++)];
  dead = element->DropReference();
  FreeElement(element);
  return true;
}

int Tree_NodePtrVec::PositionOf(const Tree_NodePtr* element) const {
  const auto found = std::find(m_elements.begin(), m_elements.end(), element);
  assert(found != m_elements.end());
  return static_cast<int>(found - m_elements.begin());
}

Tree_NodePtr* Tree_NodePtrVec::Find(const RWCString* name) const {
  if (name == nullptr) return nullptr;
  const Tree_NameIndex* const index = CurrentIndex();
  if (index == nullptr) return Scan(name);
  Tree_NodePtr* const found = index->Find(name);
  // A caller may have put another node into the handle since it was listed.
  if (found != nullptr && (found->isNull() || (*found)->m_key_name != name)) return Scan(name);
  return found;
}

Tree_NodePtr* Tree_NodePtrVec::FindZeroTerminated(const char* text, std::size_t length) const {
  if (tree_interning::AnyNameHasZeroByte()) {
    const Tree_NameIndex* const index = CurrentIndex();
    if (index == nullptr || index->ListsNamesWithZeroBytes()) {
      return ScanZeroTerminated(text, length);
    }
  }
  return Find(tree_interning::Find(text, length));
}

Tree_NodePtr* Tree_NodePtrVec::Scan(const RWCString* name) const {
  for (Tree_NodePtr* element : m_elements) {
    const Tree_Node* const node = element->get();
    if (node != nullptr && node->m_key_name == name) return element;
  }
  return nullptr;
}

Tree_NodePtr* Tree_NodePtrVec::ScanZeroTerminated(const char* text, std::size_t length) const {
  for (Tree_NodePtr* element : m_elements) {
    const Tree_Node* const node = element->get();
    if (node != nullptr && EqualsZeroTerminated(*node->m_key_name, text, length)) return element;
  }
  return nullptr;
}

const Tree_NameIndex* Tree_NodePtrVec::CurrentIndex() const {
  Tree_NameIndex* index = Index();
  if (index == nullptr || index->IsCurrent() || index->Refresh(m_elements)) return index;
  try {
    auto fresh = std::make_unique<Tree_NameIndex>(m_elements, index);
    Tree_NameIndex* const stale = index;
    if (m_index.compare_exchange_strong(index, fresh.get(), std::memory_order_acq_rel)) {
      // A child was renamed, or the vector changed, since the stale index came.  No
      // reader was at work then, so none is left in what that one had replaced.
      stale->KeepReplaced(nullptr);
      fresh->KeepReplaced(stale);
      return fresh.release();
    }
    // Another reader was faster; `index` is what it has published.
    return index;
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

void Tree_NodePtrVec::IndexInserted(std::size_t position) {
  Tree_NameIndex* const index = Index();
  if (index != nullptr) {
    index->KeepReplaced(nullptr);
    index->Inserted(m_elements, position);
    return;
  }
  if (m_elements.size() < kIndexedFrom) return;
  try {
    m_index.store(new Tree_NameIndex(m_elements), std::memory_order_release);
  } catch (const std::bad_alloc&) {
    // A vector without an index is scanned.
  }
}

void Tree_NodePtrVec::IndexRemoved(std::size_t position, const Tree_NodePtr* removed) {
  Tree_NameIndex* const index = Index();
  if (index == nullptr) return;
  index->KeepReplaced(nullptr);
  index->Removed(m_elements, position, removed);
}

void Tree_NodePtrVec::DeleteIndex() noexcept {
  delete m_index.exchange(nullptr, std::memory_order_relaxed);
}
