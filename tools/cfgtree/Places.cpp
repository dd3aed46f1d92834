#include "Places.h"

#include <algorithm>
#include <charconv>
#include <vector>

#include "Error.h"
#include "Text.h"

namespace cfgtree {
namespace {

// "name[3]" is the third child called "name"; null for any other segment, and when there
// are not that many.
Tree_NodePtr NumberedChild(Tree_NodePtr& node, std::string_view segment) {
  const std::size_t bracket = segment.rfind('[');
  if (bracket == segment.npos || segment.back() != ']') return Tree_NodePtr();
  int number = 0;
  const char* const end = segment.data() + segment.size() - 1;
  const auto parsed = std::from_chars(segment.data() + bracket + 1, end, number);
  if (parsed.ec != std::errc() || parsed.ptr != end || number < 1) return Tree_NodePtr();

  const std::string_view name = segment.substr(0, bracket);
  for (int i = 0; i < node->GetChildCount(); ++i) {
    Tree_NodePtr& child = node->GetChildAt(i);
    if (View(child->GetKeyName()) == name && --number == 0) return child;
  }
  return Tree_NodePtr();
}

[[noreturn]] void FailAt(std::string_view path, std::size_t start, std::string_view segment,
                         std::string_view file, bool leaf) {
  std::string what = "no such path: ";
  what += Printable(path);
  if (start > 0) {
    what += " (";
    what += Printable(path.substr(0, start - 1));
    what += leaf ? " is a value and has nothing below it)" : " has no ";
    if (!leaf) what += Printable(segment) + ")";
  } else if (path.find('\\') == path.npos && path.find('/') != path.npos) {
    what += " (names are joined by a backslash)";
  }
  throw Error(file, what);
}

}  // namespace

Tree_NodePtr FindNode(Tree_NodePtr& top, std::string_view path, std::string_view file) {
  Tree_Path whole(ToRWCString(path));
  Tree_NodePtr found = top->GetRelativeNode(whole, top);
  if (found) return found;

  // Either something is missing or a segment has a number: one step at a time.
  const Way way = FollowPath(top, path);
  if (!way.complete) {
    const std::size_t start = way.ends.size() == 1 ? 0 : way.ends.back() + 1;
    const std::size_t end = std::min(path.find('\\', start), path.size());
    FailAt(path, start, path.substr(start, end - start), file, way.nodes.back()->IsLeaf());
  }
  return way.nodes.back();
}

Way FollowPath(Tree_NodePtr& top, std::string_view path) {
  Way way = {{top}, {0}, true};
  for (std::size_t start = 0; start <= path.size();) {
    const std::size_t end = std::min(path.find('\\', start), path.size());
    const std::string_view segment = path.substr(start, end - start);
    if (segment.empty()) break;  // an empty segment ends every walk
    Tree_NodePtr& node = way.nodes.back();
    Tree_NodePtr child = node->Get(ToRWCString(segment), node);
    if (!child) child = NumberedChild(node, segment);
    if (!child) {
      way.complete = false;
      break;
    }
    way.nodes.push_back(child);
    way.ends.push_back(end);
    start = end + 1;
  }
  return way;
}

std::string PathNamer::NameOf(Tree_Node* node) {
  CountSiblings(node->GetParent());
  std::string name(View(node->GetKeyName()));
  const auto number = m_numbers.find(node);
  if (number == m_numbers.end()) return name;
  const Names& taken = m_counted.at(node->GetParent());
  const auto is_name = [&taken](const std::string& text) { return taken.count(text) > 0; };
  return name + NumberBehind(name, number->second, is_name);
}

std::string PathNamer::PathOf(Tree_Node* node) {
  std::vector<Tree_Node*> way;
  for (; node != m_top; node = node->GetParent()) way.push_back(node);
  std::string path;
  for (auto step = way.rbegin(); step != way.rend(); ++step) {
    if (!path.empty()) path += '\\';
    path += NameOf(*step);
  }
  return path;
}

void PathNamer::CountSiblings(Tree_Node* parent) {
  if (parent->GetChildCount() < 2) return;
  const auto [counted, is_new] = m_counted.try_emplace(parent);
  if (!is_new) return;
  // Equal names are one interned string, so its address stands for it.
  std::unordered_map<const RWCString*, int> seen;
  for (int i = 0; i < parent->GetChildCount(); ++i) {
    Tree_Node* const child = parent->GetChildAt(i).get();
    const int number = ++seen[&child->GetKeyName()];
    if (number > 1) m_numbers.emplace(child, number);
    const std::string_view name = View(child->GetKeyName());
    if (!name.empty() && name.back() == ']') counted->second.insert(name);
  }
}

}  // namespace cfgtree
