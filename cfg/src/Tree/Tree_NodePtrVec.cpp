#include "Tree/Tree_NodePtrVec.h"

#include <algorithm>
#include <bit>
#include <cassert>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

#include "Tree/Tree_AddressHash.h"
#include "Tree/Tree_Interning.h"
#include "Tree/Tree_Log.h"
#include "Tree/Tree_NameIndex.h"
#include "Tree/Tree_Node.h"
#include "Tree/Tree_Prefetch.h"
#include "Zel/Zel_PoolReturns.h"
#include "Zel/Zel_PoolSupply.h"

// ThreadSanitizer would not know that no half of a shortcut is read.
#if defined(__SANITIZE_THREAD__)
#define TREE_WATCHES_THREADS 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define TREE_WATCHES_THREADS 1
#endif
#endif
#if (defined(__SSE2__) || defined(_M_X64)) && !defined(TREE_WATCHES_THREADS)
#define TREE_COMPARES_FOUR_SHORTCUTS 1
#include <emmintrin.h>
#endif

namespace {

// See Tree_NodePtrVec::StrayChanged().
std::atomic<std::uint32_t> g_stray_changes{0};

// A shortcut has a tag in its upper bits, an address, and in the lowest bits what is there.
constexpr int kTagShift = 48;
constexpr std::uint64_t kTagMask = ~std::uint64_t{0} << kTagShift;
constexpr std::uint64_t kKindMask = 3;

std::uint64_t AddressBits(const void* object) {
  return static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(object));
}

const void* AddressIn(std::uint64_t shortcut) {
  return reinterpret_cast<const void*>(
      static_cast<std::uintptr_t>(shortcut & ~(kTagMask | kKindMask)));
}

bool HasTag(std::uint64_t shortcut, std::uint64_t tag) {
  return (shortcut & kTagMask) == tag;
}

// The place of the first shortcut with this tag, `count` when there is none.
//
// Where a name stands among its siblings is anybody's guess, and a processor that guesses
// wrong has to wait for the shortcuts before it goes on.  Four of them are therefore
// compared at once where that can be done.  The processor reads each of them as a whole,
// and whoever follows one tests what it finds.
inline std::size_t FirstTagged(const std::atomic<std::uint64_t>* shortcuts, std::size_t count,
                               std::uint64_t tag) {
  std::size_t place = 0;
#if defined(TREE_COMPARES_FOUR_SHORTCUTS)
  const __m128i wanted = _mm_set1_epi32(static_cast<int>(tag >> kTagShift));
  const auto tagged = [shortcuts, wanted](std::size_t first) {
    const auto* const at = reinterpret_cast<const double*>(shortcuts + first);
    const __m128 two = _mm_castpd_ps(_mm_loadu_pd(at));
    const __m128 next_two = _mm_castpd_ps(_mm_loadu_pd(at + 2));
    const __m128i upper = _mm_castps_si128(_mm_shuffle_ps(two, next_two, 0xDD));
    const __m128i equal = _mm_cmpeq_epi32(_mm_srli_epi32(upper, 16), wanted);
    return static_cast<unsigned>(_mm_movemask_ps(_mm_castsi128_ps(equal)));
  };
  const auto in_four = [](unsigned bits) {
    return static_cast<std::size_t>(std::countr_zero(bits));
  };
  for (; place + 4 <= count; place += 4) {
    if (const unsigned bits = tagged(place)) return place + in_four(bits);
  }
  if (place == count) return count;
  // The last four, of which some were compared before.
  if (count >= 4) {
    const unsigned bits = tagged(count - 4);
    return bits != 0 ? count - 4 + in_four(bits) : count;
  }
#endif
  while (place != count && !HasTag(shortcuts[place].load(std::memory_order_relaxed), tag)) ++place;
  return place;
}

bool EqualsZeroTerminated(const RWCString& name, const char* text, std::size_t length) {
  return name.length() >= length && std::memcmp(name.data(), text, length) == 0 &&
         name.data()[length] == '\0';
}

}  // namespace

Tree_NodePtrVec::Tree_NodePtrVec() : m_index(nullptr), m_dropped(-1), m_state(0) {}

Tree_NodePtrVec::Tree_NodePtrVec(const Tree_NodePtrVec& other)
    : m_elements(other.m_elements), m_index(nullptr), m_dropped(-1), m_state(0) {}

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
  Tree_NodePtr& handle = HandleAt(i);
  GiveAway();
  return handle;
}

Tree_NodePtr& Tree_NodePtrVec::HandleAt(int i) const {
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
  Tree_NodePtr* const element = &HandleAt(i);
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
  const Tree_Node* const child = element->get();
  try {
    if (position == m_elements.size()) {
      m_elements.push_back(element, ShortcutTo(child));
    } else {
      m_elements.insert(m_elements.begin() + static_cast<std::ptrdiff_t>(position), element,
                        ShortcutTo(child));
    }
  } catch (...) {
    DeleteElement(element);
    throw;
  }
  if (!m_elements.HasWords()) IndexInserted(position);
}

void Tree_NodePtrVec::Append(Tree_NodePtr&& p) {
  const Tree_Node* const child = p.get();
  Tree_NodePtr* const element = NewElement(std::move(p));
  if (m_elements.HasRoom() && m_elements.HasWords()) {
    m_elements.AppendInRoom(element, ShortcutTo(child));
  } else {
    InsertElement(m_elements.size(), element);
  }
}

void Tree_NodePtrVec::Append(Tree_NodePtr&& p, Zel_PoolSupply& handles) {
  if (!m_elements.HasRoom() || !handles.IsReady()) {
    Append(std::move(p));
    return;
  }
  const Tree_Node* const child = p.get();
  Tree_NodePtr* const element = ::new (handles.Take()) Tree_NodePtr(std::move(p));
  if (m_elements.HasWords()) {
    m_elements.AppendInRoom(element, ShortcutTo(child));
  } else {
    m_elements.AppendInRoom(element);
    IndexInserted(m_elements.size() - 1);
  }
}

void Tree_NodePtrVec::TakeOut(int position) {
  DeleteElement(std::exchange(m_elements[static_cast<std::size_t>(position)], nullptr));
}

void Tree_NodePtrVec::CloseGaps() {
  m_elements.EraseNulls();
  if (Tree_NameIndex* const index = Index()) index->Break();
}

void Tree_NodePtrVec::MoveToEnd(Tree_NodePtr* element) {
  const int position = PositionOf(element);
  // There is room for it again, so that nothing fails half-way.
  m_elements.erase(m_elements.begin() + position);
  IndexRemoved(static_cast<std::size_t>(position), element);
  m_elements.push_back(element, ShortcutTo(element->get()));
  IndexInserted(m_elements.size() - 1);
}

void Tree_NodePtrVec::BeginDrop() {
  TREE_LOG_AS(tree_log::kVecSource, "Tree_NodePtrVec::~Tree_NodePtrVec", tree_log::kTrace,
              "Clearing vec, about to delete %d elements\n", entries());
  m_dropped = 0;
}

bool Tree_NodePtrVec::DropNext(Tree_Node*& dead, Zel_PoolReturns& handles,
                               Zel_PoolReturns& records) noexcept {
  assert(m_dropped >= 0);
  if (m_dropped >= entries()) return false;
  Tree_NodePtr* const element = m_elements[static_cast<std::size_t>(m_dropped++)];
  dead = element->DropReference(records);
  if (!handles.Add(element)) ::operator delete(element);
  return true;
}

int Tree_NodePtrVec::PositionOf(const Tree_NodePtr* element) const {
  const auto found = std::find(m_elements.begin(), m_elements.end(), element);
  assert(found != m_elements.end());
  return static_cast<int>(found - m_elements.begin());
}

Tree_NodePtrVec::Found Tree_NodePtrVec::FindOnPath(const RWCString* name) const {
  if (name == nullptr) return {};
  if (m_elements.HasWords()) {
    CatchUpWithStrays();
    return FindByShortcut(name);
  }
  const Tree_NameIndex* const index = CurrentIndex();
  if (index == nullptr) return At(Scan(name));
  const Tree_NameIndex::Cell& cell = index->Find(name);
  if (cell.first == nullptr) return {};
  return Follow(name, cell.first, cell.shortcut,
                [&cell] { return static_cast<const volatile Shortcut&>(cell.shortcut); });
}

Tree_NodePtrVec::Found Tree_NodePtrVec::FindByShortcut(const RWCString* name) const {
  const std::atomic<Shortcut>* const words = m_elements.Words();
  const std::size_t place = FirstTagged(words, m_elements.size(), TagOf(name));
  if (place != m_elements.size()) {
    const std::atomic<Shortcut>& word = words[place];
    return Follow(name, m_elements[place], word.load(std::memory_order_relaxed),
                  [&word] { return word.load(std::memory_order_relaxed); });
  }
  return GaveAway() ? At(Scan(name)) : Found{};
}

// A vector is looked through; it takes three cache lines.
inline void Tree_NodePtrVec::PrefetchTarget(Shortcut shortcut) {
  const char* const target = static_cast<const char*>(AddressIn(shortcut));
  Tree_Prefetch(target);
  if ((shortcut & kIsVector) == 0) return;
  Tree_Prefetch(target + 64);
  Tree_Prefetch(target + 128);
}

// What is found at a handle that should have the name, and where its shortcut leads.
template <class ReadAgain>
inline Tree_NodePtrVec::Found Tree_NodePtrVec::Follow(const RWCString* name, Tree_NodePtr* handle,
                                                      Shortcut shortcut,
                                                      ReadAgain read_again) const {
  PrefetchTarget(shortcut);
  const Tree_Node* const node = handle->get();
  // A caller may have put another node into the handle; or two names have one tag.
  if (node == nullptr || node->m_key_name != name) return At(Scan(name));
  // The result is the shortcut's, read again, though it equals what the node tells: a
  // processor goes on along the path without waiting for the node.
  const Shortcut next = NextStep(node);
  const bool is_confirmed = ((next ^ shortcut) & ~kTagMask) == 0;
  return {handle, is_confirmed ? read_again() & ~kTagMask : next};
}

Tree_NodePtrVec::Found Tree_NodePtrVec::FindZeroTerminated(const char* text,
                                                           std::size_t length) const {
  if (tree_interning::AnyNameHasZeroByte()) {
    const Tree_NameIndex* const index = CurrentIndex();
    if (index == nullptr || index->ListsNamesWithZeroBytes()) {
      return At(ScanZeroTerminated(text, length));
    }
  }
  return FindOnPath(tree_interning::Find(text, length));
}

Tree_NodePtrVec::Found Tree_NodePtrVec::FindIfLast(const char* text, std::size_t length) const {
  const std::size_t size = m_elements.size();
  if (size == 0) return {};
  Tree_NodePtr* const last = m_elements[size - 1];
  const Tree_Node* const node = last->get();
  if (node == nullptr || !node->m_key_name->equals(text, length)) return {};
  // A sibling before it may bear the same name.
  CatchUpWithStrays();
  const bool is_first = m_elements.HasWords() &&
                        FirstTagged(m_elements.Words(), size, TagOf(node->m_key_name)) == size - 1;
  return is_first ? Found{last, NextStep(node)} : FindOnPath(node->m_key_name);
}

Tree_NodePtrVec::Found Tree_NodePtrVec::At(Tree_NodePtr* handle) {
  if (handle == nullptr) return {};
  return {handle, NextStep(handle->get())};
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

Tree_NodePtrVec::Shortcut Tree_NodePtrVec::TagOf(const RWCString* name) {
  return Tree_AddressHash(name) & kTagMask;
}

// Where the step behind `node` goes, as a shortcut without a tag.
inline Tree_NodePtrVec::Shortcut Tree_NodePtrVec::NextStep(const Tree_Node* node) {
  if (node->m_children != nullptr) return AddressBits(node->m_children) | kIsVector;
  const bool is_leaf = !node->m_allows_children && node->m_value != nullptr;
  return is_leaf ? AddressBits(node->m_value) | kIsValue : AddressBits(node);
}

Tree_NodePtrVec::Shortcut Tree_NodePtrVec::ShortcutTo(const Tree_Node* child) {
  return child == nullptr ? 0 : TagOf(child->m_key_name) | NextStep(child);
}

void Tree_NodePtrVec::ChildRenamed(const Tree_Node* child) noexcept {
  if (!m_elements.HasWords()) return;
  for (std::size_t i = 0; i < m_elements.size(); ++i) {
    if (m_elements[i]->get() == child) m_elements.SetWord(i, ShortcutTo(child));
  }
}

void Tree_NodePtrVec::ChildGotChildren(const Tree_Node* child) noexcept {
  if (Tree_NameIndex* const index = Index()) index->ChildGotChildren(child);
  RefreshShortcut(child, child);
}

void Tree_NodePtrVec::ChildLostChildren(const Tree_Node* child, const void* children) noexcept {
  RefreshShortcut(children, child);
}

// The shortcut that led to `target` leads where the next step from `child` goes now.
void Tree_NodePtrVec::RefreshShortcut(const void* target, const Tree_Node* child) noexcept {
  if (!m_elements.HasWords()) return;
  for (std::size_t i = m_elements.size(); i-- > 0;) {
    // A sibling's may lead there too: to where something was that is gone.
    if (AddressIn(m_elements.WordAt(i)) != target || m_elements[i]->get() != child) continue;
    m_elements.SetWord(i, ShortcutTo(child));
    return;
  }
}

void Tree_NodePtrVec::StrayChanged() noexcept {
  std::uint32_t changes = g_stray_changes.load(std::memory_order_relaxed);
  while (changes != kMostChanges &&
         !g_stray_changes.compare_exchange_weak(changes, changes + 1, std::memory_order_relaxed)) {
  }
}

inline void Tree_NodePtrVec::CatchUpWithStrays() const noexcept {
  const std::uint32_t changes = g_stray_changes.load(std::memory_order_relaxed);
  if (changes != 0 && changes != (m_state.load(std::memory_order_relaxed) & kMostChanges)) {
    RefreshShortcuts(changes);
  }
}

// Several readers may do so at a time: what they write is the same.
void Tree_NodePtrVec::RefreshShortcuts(std::uint32_t stray_changes) const noexcept {
  auto& elements = const_cast<Tree_ElementArray&>(m_elements);
  for (std::size_t i = 0; i < elements.size() && elements.HasWords(); ++i) {
    const Shortcut shortcut = ShortcutTo(elements[i]->get());
    if (elements.WordAt(i) != shortcut) elements.SetWord(i, shortcut);
  }
  if (stray_changes == kMostChanges) return;
  std::uint32_t state = m_state.load(std::memory_order_relaxed);
  while (!m_state.compare_exchange_weak(state, (state & kGaveAway) | stray_changes,
                                        std::memory_order_relaxed)) {
  }
}

// A wide vector's index sees to itself.
bool Tree_NodePtrVec::MayListTwice(const Tree_NodePtr& removed) {
  return GaveAway() && m_elements.HasWords() && index(removed) >= 0;
}

const Tree_NameIndex* Tree_NodePtrVec::CurrentIndex() const {
  Tree_NameIndex* index = Index();
  if (index == nullptr) {
    if (m_elements.size() < kIndexedFrom) return nullptr;
  } else if (index->IsCurrent() || index->Refresh(m_elements)) {
    return index;
  }
  try {
    auto fresh = std::make_unique<Tree_NameIndex>(m_elements);
    Tree_NameIndex* const stale = index;
    if (m_index.compare_exchange_strong(index, fresh.get(), std::memory_order_acq_rel)) {
      if (stale != nullptr) {
        // A child was renamed, or the vector changed, since the stale index came.  No
        // reader was at work then, so none is left in what that one had replaced.
        stale->KeepReplaced(nullptr);
        fresh->KeepReplaced(stale);
      }
      return fresh.release();
    }
    // Another reader was faster; `index` is what it has published.
    return index;
  } catch (const std::bad_alloc&) {
    // A vector without an index is scanned.
    return nullptr;
  }
}

void Tree_NodePtrVec::IndexInserted(std::size_t position) {
  Tree_NameIndex* const index = Index();
  if (index == nullptr) return;
  index->KeepReplaced(nullptr);
  index->Inserted(m_elements, position);
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
