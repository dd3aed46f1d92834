// Tree_Node: a checksum that does not depend on the order of children.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "Tree/Tree_AddressHash.h"
#include "Tree/Tree_ChildrenAhead.h"
#include "Tree/Tree_Node.h"
#include "Zel/Zel_CRC.h"

namespace {

// Four bytes as a number that sorts as they do.
std::uint64_t FourBytes(const char* bytes) {
  const auto at = [bytes](int i) {
    return static_cast<std::uint32_t>(static_cast<unsigned char>(bytes[i]));
  };
  return (at(0) << 24) | (at(1) << 16) | (at(2) << 8) | at(3);
}

// The first eight bytes of a name as a number that sorts as they do; a shorter name is
// filled with zero bytes.
std::uint64_t SortKey(const RWCString& name) {
  const char* const bytes = name.data();
  const std::size_t length = name.length();
  if (length >= 8) return (FourBytes(bytes) << 32) | FourBytes(bytes + 4);
  if (length >= 4) {
    // The last four bytes overlap the first ones, which are shifted out.
    const std::uint64_t rest = FourBytes(bytes + length - 4) << (8 * (8 - length));
    return (FourBytes(bytes) << 32) | (rest & 0xFFFFFFFFu);
  }
  std::uint64_t key = 0;
  for (std::size_t i = 0; i < 4; ++i) {
    key = (key << 8) | (i < length ? static_cast<unsigned char>(bytes[i]) : 0u);
  }
  return key << 32;
}

// Up to so many siblings are sorted by insertion, which needs no memory.
constexpr std::ptrdiff_t kFewSiblings = 32;

template <class Iterator, class Before>
void StableSort(Iterator begin, Iterator end, Before before) {
  if (end - begin > kFewSiblings) {
    // Trees that were built in order are in order.
    if (!std::is_sorted(begin, end, before)) std::stable_sort(begin, end, before);
    return;
  }
  for (Iterator next = begin; next != end; ++next) {
    const auto entry = *next;
    Iterator at = next;
    for (; at != begin && before(entry, *(at - 1)); --at) *at = *(at - 1);
    *at = entry;
  }
}

}  // namespace

// One GetChecksumIgnoreOrder() at work: a walk in which a node comes behind its children,
// and children come in the order of their paths.
class Tree_Node::ChecksumWalk {
 public:
  std::uint32_t Run(const Tree_Node* top) {
    Enter(top);
    for (;;) {
      Level& level = m_way.back();
      if (level.next < m_pending.size()) {
        const Child& child = m_pending[level.next++];
        if (child.node->m_children == nullptr) {
          level.crc.AddNibbles(WithValue(child.node, child.childless));
        } else {
          Enter(child.node);
        }
        continue;
      }
      const Tree_Node* const node = level.node;
      const std::uint32_t checksum = WithValue(node, WithName(level.crc, node->m_key_name));
      m_pending.resize(level.first);
      m_way.pop_back();
      if (m_way.empty()) return checksum;
      m_way.back().crc.AddNibbles(checksum);
    }
  }

 private:
  struct Child {
    std::uint64_t sort_key;
    const Tree_Node* node;
    Zel_CRC childless;  // see Name
  };
  struct Level {
    const Tree_Node* node;
    std::size_t next;   // its next child, in `m_pending`
    std::size_t first;  // its first one
    Zel_CRC crc;        // of the children so far
  };

  // What is known of a name.  Trees have few different ones, so that a small table spares
  // nearly every node the reading of its name.
  struct Name {
    const RWCString* name = nullptr;
    std::uint64_t sort_key = 0;
    Zel_CRC childless;  // what a node without children has fed when its value comes
  };
  // The table begins small, for small trees, and grows once when it turns out to be too small.
  static constexpr int kFewNameBits = 9;
  static constexpr int kManyNameBits = 12;

  Name& SlotOf(const RWCString* name) {
    return m_names[static_cast<std::size_t>(Tree_AddressHash(name) >> (64 - m_name_bits))];
  }

  const Name& Look(const RWCString* name) {
    if (m_names.empty()) GrowNames();  // not for a node without children
    Name& known = SlotOf(name);
    return known.name == name ? known : Learn(name);
  }

  const Name& Learn(const RWCString* name) {
    if (++m_learnt > m_names.size() && m_name_bits < kManyNameBits) GrowNames();
    Name& known = SlotOf(name);
    known = {name, SortKey(*name), WithName(Zel_CRC(), name)};
    return known;
  }

  void GrowNames() {
    m_name_bits = m_names.empty() ? kFewNameBits : kManyNameBits;
    m_names.assign(std::size_t{1} << m_name_bits, Name());
  }

  static Zel_CRC WithName(Zel_CRC crc, const RWCString* name) {
    crc.AddByte(' ');
    crc.AddString(name->data());
    crc.AddByte(' ');
    return crc;
  }

  static std::uint32_t WithValue(const Tree_Node* node, Zel_CRC crc) {
    if (node->m_value != nullptr) crc.AddString(node->m_value->m_value->data());
    return static_cast<std::uint32_t>(crc.Finish());
  }

  void Enter(const Tree_Node* node) {
    m_way.push_back({node, m_pending.size(), m_pending.size(), Zel_CRC()});
    if (node->m_children == nullptr) return;
    bool all_ours = true;
    for (ChildrenAhead children(node); !children.IsDone();) {
      const Tree_Node* const child = children.Next();
      if (child == nullptr) continue;
      const Name& name = Look(child->m_key_name);
      m_pending.push_back({name.sort_key, child, name.childless});
      all_ours = all_ours && child->m_parent == node;
    }
    const auto first =
        m_pending.end() - static_cast<std::ptrdiff_t>(m_pending.size() - m_way.back().first);
    if (all_ours) {
      // Paths of siblings differ in their last name only.
      StableSort(first, m_pending.end(), NameBefore);
    } else {
      // A caller has set the parent of one of them by hand.
      SortByPath(first, m_pending.end());
    }
  }

  static bool NameBefore(const Child& a, const Child& b) {
    if (a.sort_key != b.sort_key) return a.sort_key < b.sort_key;
    const RWCString* const a_name = a.node->m_key_name;
    const RWCString* const b_name = b.node->m_key_name;
    return a_name != b_name && a_name->compareTo(*b_name) < 0;
  }

  template <class Iterator>
  static void SortByPath(Iterator begin, Iterator end) {
    std::vector<std::pair<RWCString, Child>> by_path;
    for (Iterator child = begin; child != end; ++child) {
      by_path.emplace_back(child->node->GetPath(), *child);
    }
    std::stable_sort(by_path.begin(), by_path.end(),
                     [](const auto& a, const auto& b) { return a.first.compareTo(b.first) < 0; });
    std::transform(by_path.begin(), by_path.end(), begin,
                   [](const auto& entry) { return entry.second; });
  }

  std::vector<Name> m_names;
  int m_name_bits = 0;           // it has two to the power of so many entries
  std::size_t m_learnt = 0;      // names that were not found in it
  std::vector<Child> m_pending;  // the children of all nodes on the way, in order
  std::vector<Level> m_way;
};

unsigned long Tree_Node::GetChecksumIgnoreOrder() {
  return ChecksumWalk().Run(this);
}
