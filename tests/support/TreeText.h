// Trees written as text, so that a table of cases can hold them.
//
//   Tree_NodePtr top = Plant("cfg(net(host=h1,port=80*),z=,empty)");
//   EXPECT_EQ("cfg(net(host=h1,port=80*),z=,empty)", Draw(top));
//
// A name alone is an inner node, `name=value` a leaf, a `*` behind a leaf its change
// flag.  Names and values must not contain any of ( ) , = *, and are taken as they are.
// Neither function recurses, so both may be used on deep trees.

#ifndef TREE_TESTS_SUPPORT_TREETEXT_H
#define TREE_TESTS_SUPPORT_TREETEXT_H

#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

#include "Tree/Tree_Node.h"
#include "support/StringText.h"
#include "support/TreeMaking.h"

inline Tree_NodePtr Plant(const std::string& text) {
  Tree_NodePtr top;
  std::vector<Tree_NodePtr> open;
  std::size_t at = 0;
  while (at < text.size()) {
    if (text[at] == ')') open.pop_back();
    if (text[at] == ')' || text[at] == ',') {
      ++at;
      continue;
    }
    const std::size_t end = std::min(text.find_first_of("(),", at), text.size());
    std::string name = text.substr(at, end - at);
    const std::size_t equals = name.find('=');
    Tree_NodePtr node;
    if (equals == std::string::npos) {
      node = Inner(Bytes(name));
    } else {
      std::string value = name.substr(equals + 1);
      const bool changed = !value.empty() && value.back() == '*';
      if (changed) value.pop_back();
      node = Leaf(Bytes(name.substr(0, equals)), Bytes(value), changed ? 1 : 0);
    }
    if (open.empty()) {
      top = node;
    } else {
      open.back()->Add(node);
    }
    at = end;
    if (at < text.size() && text[at] == '(') {
      open.push_back(node);
      ++at;
    }
  }
  return top;
}

inline std::string Draw(const Tree_NodePtr& top) {
  const auto label = [](const Tree_NodePtr& node) {
    std::string text = Text(node->GetKeyName());
    if (!node->IsLeaf()) return text;
    Tree_Value* value = node->GetTreeValue();
    text += '=';
    if (value != nullptr) text += Text(value->GetValue());
    if (value != nullptr && value->IsChange() != 0) text += '*';
    return text;
  };
  struct Open {
    Tree_NodePtr node;
    int next;
  };
  if (top.isNull()) return "null";
  std::string text = label(top);
  std::vector<Open> open;
  open.push_back({top, 0});
  while (!open.empty()) {
    Open& last = open.back();
    if (last.next < last.node->GetChildCount()) {
      text += last.next == 0 ? '(' : ',';
      Tree_NodePtr child = last.node->GetChildAt(last.next++);
      text += label(child);
      open.push_back({child, 0});
    } else {
      if (last.next > 0) text += ')';
      open.pop_back();
    }
  }
  return text;
}

#endif  // TREE_TESTS_SUPPORT_TREETEXT_H
