// Tree_Node: every place in a tree where a relative path exists.
//
// The results are full paths, of which a String_Arr keeps the first 255 bytes.  Were they
// made in full, those of a name that every node of a chain bears would add up to the square
// of its depth.  The walk therefore carries along what will be kept of each path; where
// nothing more can be kept, all nodes below share one text.

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>
#include <optional>
#include <vector>

#include "Tree/Tree_Interning.h"
#include "Tree/Tree_Log.h"
#include "Tree/Tree_Node.h"
#include "Tree/Tree_PathSegments.h"

class Tree_Node::PlaceSearch {
 public:
  // `path` must outlive the search.
  PlaceSearch(const RWCString& path, bool strip_top) : m_strip_top(strip_top) {
    Tree_PathSegments segments(path.data(), path.length());
    const bool by_text = tree_interning::AnyNameHasZeroByte();
    do {
      const Tree_PathSegment segment = segments.Next();
      if (segment.length == 0) break;
      m_path.push_back(
          {segment, by_text ? nullptr : tree_interning::Find(segment.text, segment.length)});
    } while (!segments.WasLast());
  }

  // Visits `top` and everything below it, a node before its children.
  void Run(Tree_Node* top, Tree_NodePtr& this_ptr) {
    Visit(top, this_ptr);
    while (!m_way.empty()) {
      Level& level = m_way.back();
      const Tree_ElementArray& children = level.node->m_children->m_elements;
      const std::size_t count = children.size();
      std::size_t next = level.next;
      while (next != count && !IsToBeVisited(children[next]->get())) ++next;
      if (next == count) {
        m_way.pop_back();
        continue;
      }
      level.next = next + 1;
      Tree_NodePtr& child = *children[next];
      Visit(child.get(), child);
    }
  }

  const std::vector<RWCString>& Found() const { return m_found; }

 private:
  static constexpr std::size_t kKept = 255;

  // As much of a path as will be kept.  It is full when nothing behind it will be.
  struct Text {
    RWCString text;
    bool full;
  };

  // One name of the path.  The stored string spares the text, where there is one.
  struct Step {
    Tree_PathSegment segment;
    const RWCString* name;
  };

  struct Level {
    Tree_Node* node;
    std::size_t next = 0;      // position of the next child
    std::optional<Text> text;  // made when a place is found below
  };

  // Nothing is below a node without children; only the empty path leads on from there.
  bool IsToBeVisited(const Tree_Node* child) const {
    return child != nullptr && (child->m_children != nullptr || m_path.empty());
  }

  void Visit(Tree_Node* node, Tree_NodePtr& handle) {
    if (Follow(node)) {
      if (!m_steps.empty()) {
        Text text = TextOfVisited(node);
        const Tree_Node* parent = node;
        for (const Tree_Node* step : m_steps) {
          text = TextBelow(*step, *parent, text);
          parent = step;
        }
        m_found.push_back(text.text);
      } else if (handle == node) {
        m_found.push_back(TextOfVisited(node).text);
      } else if (!handle.isNull()) {
        m_found.push_back(TextOf(*handle).text);
      }
    }
    if (node->m_children != nullptr) m_way.push_back({node, 0, std::nullopt});
  }

  // Whether the path exists below `node`; m_steps is then what it passes.
  bool Follow(const Tree_Node* node) {
    m_steps.clear();
    for (const Step& step : m_path) {
      const Tree_NodePtr* const child = FindChild(node, step);
      if (child == nullptr) return false;
      node = child->get();
      m_steps.push_back(node);
    }
    return true;
  }

  static const Tree_NodePtr* FindChild(const Tree_Node* node, const Step& step) {
    if (node->m_children == nullptr) return nullptr;
    if (step.name != nullptr) return node->m_children->Find(step.name);
    return node->FindChild(step.segment.text, step.segment.length);
  }

  // The text of the node that is being visited; its parent is the last one on the way.
  Text TextOfVisited(const Tree_Node* node) {
    if (m_way.empty()) return TextOf(*node);
    std::size_t known = m_way.size() - 1;
    while (known > 0 && !m_way[known].text) --known;
    if (!m_way[known].text) m_way[known].text = TextOf(*m_way[known].node);
    for (std::size_t i = known + 1; i < m_way.size(); ++i) {
      m_way[i].text = TextBelow(*m_way[i].node, *m_way[i - 1].node, *m_way[i - 1].text);
    }
    return TextBelow(*node, *m_way.back().node, *m_way.back().text);
  }

  // The text of a node, from its path.
  Text TextOf(const Tree_Node& node) const {
    const RWCString path = node.GetPath();
    const std::size_t joint = m_strip_top ? path.index(separator) : RW_NPOS;
    const std::size_t start = joint == RW_NPOS ? 0 : joint + separator.length();
    return Clip(path.data() + start, path.length() - start);
  }

  // The text of a child of `parent`, from that of its parent.
  Text TextBelow(const Tree_Node& child, const Tree_Node& parent, const Text& text) const {
    // Whether a top node's text has lost its first name depends on what is behind it, and a
    // parent pointer that was set by hand leads elsewhere.
    const bool follows = child.m_parent == &parent && parent.m_parent != nullptr;
    if (!follows || separator.length() != 1) return TextOf(child);
    if (text.full) return text;
    RWCString longer(text.text);
    longer.append(separator).append(*child.m_key_name);
    return Clip(longer.data(), longer.length());
  }

  static Text Clip(const char* text, std::size_t length) {
    const std::size_t most = std::min(length, kKept);
    const void* const zero = std::memchr(text, '\0', most);
    const std::size_t kept =
        zero == nullptr ? most : static_cast<std::size_t>(static_cast<const char*>(zero) - text);
    return {RWCString(text, kept), zero != nullptr || kept == kKept};
  }

  std::vector<Step> m_path;
  const bool m_strip_top;
  std::vector<Level> m_way;  // from the top to the parent of the visited node
  std::vector<const Tree_Node*> m_steps;
  std::vector<RWCString> m_found;
};

String_Arr* Tree_Node::Search(const RWCString& path, Tree_NodePtr& this_ptr, int strip_top) {
  TREE_LOG("Search", tree_log::kTrace, "Start Search(RWCString & path,Tree_NodePtr & this_ptr)\n");
  if (path.isNull()) {
    TREE_LOG("Search", tree_log::kError,
             "Search(RWCString & path,Tree_NodePtr & this_ptr): path is NULL, return NULL\n");
    return nullptr;
  }
  PlaceSearch search(path, strip_top != 0);
  search.Run(this, this_ptr);
  if (search.Found().empty()) {
    TREE_LOG("Search", tree_log::kTrace,
             "Search(RWCString & path,Tree_NodePtr & this_ptr): Search(path,this_ptr,ret) return "
             "empty vec (empty search result), return NULL\n");
    return nullptr;
  }

  auto paths = std::make_unique<String_Arr>(static_cast<int>(search.Found().size()));
  int place = 0;
  for (const RWCString& found : search.Found()) paths->SetStr(place++, found.data(), -1);
  TREE_LOG("Search", tree_log::kTrace, "End Search(RWCString & path,Tree_NodePtr & this_ptr)\n");
  return paths.release();
}
