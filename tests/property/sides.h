// One operation, written once, for the library and for the naive model.
//
// ModelSide and LibrarySide give both the same names; Show() makes text of what they
// return, and Matches() compares the two texts.

#ifndef TREE_TESTS_PROPERTY_SIDES_H
#define TREE_TESTS_PROPERTY_SIDES_H

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "Tree/Tree_Node.h"
#include "property/naive_tree.h"
#include "support/LogCapture.h"
#include "support/TreeMaking.h"

namespace property {

using naive::Handle;

// Thrown when the two sides have parted: nothing that follows would mean anything.
struct Parted {
  std::string what;
};

// --- The two sides ----------------------------------------------------------------

// One handle, on both sides.
struct Place {
  Handle* model;
  Tree_NodePtr* library;
};

// While one lives, looking at the library leaves no lines.
class Quiet {
 public:
  Quiet() : m_level(ZelGLog.GetLevel()) { ZelGLog.SetLevel(0); }
  ~Quiet() { ZelGLog.SetLevel(m_level); }
  Quiet(const Quiet&) = delete;
  Quiet& operator=(const Quiet&) = delete;

 private:
  const int m_level;
};

// What an operation needs of the model and of the library under the same names, so
// that it is written once.
struct ModelSide {
  using Node = naive::Node;
  using NodeHandle = Handle;
  using Path = naive::Path;

  naive::World& world;
  Handle result;
  Handle* slot = nullptr;  // what a ByRef form returned

  Node* At(const Place& place) const { return place.model->get(); }
  Handle& In(const Place& place) const { return *place.model; }
  static std::string Text(const std::string& text) { return text; }
  static Path MakePath(const std::string& path) { return Path(path); }
  static const char* Chars(const std::string& text) { return text.c_str(); }

  Handle Make(const std::string& name) const { return Node::Make(world, name); }
  Handle Make(const std::string& name, const std::string& value, int flag) const {
    return Node::Make(world, name, new naive::Value(world, value, flag));
  }
  void SetTreeValue(Node* node, const std::string* value, int flag) const {
    delete node->ReplaceTreeValue(value == nullptr ? nullptr
                                                   : new naive::Value(world, *value, flag));
  }
  static std::string NameOf(const Node* node) {
    return node == nullptr ? "none" : "#" + std::to_string(node->serial);
  }
};

struct LibrarySide {
  using Node = Tree_Node;
  using NodeHandle = Tree_NodePtr;
  using Path = Tree_Path;

  const std::map<const Tree_Node*, naive::Node*>& known;
  Tree_NodePtr result;
  Tree_NodePtr* slot = nullptr;

  Node* At(const Place& place) const { return place.library->get(); }
  Tree_NodePtr& In(const Place& place) const { return *place.library; }
  static RWCString Text(const std::string& text) { return Bytes(text); }
  static Path MakePath(const std::string& path) { return Path(Bytes(path)); }
  static const char* Chars(const std::string& text) { return text.c_str(); }

  Tree_NodePtr Make(const std::string& name) const { return new Tree_Node(Bytes(name)); }
  Tree_NodePtr Make(const std::string& name, const std::string& value, int flag) const {
    return new Tree_Node(Bytes(name), new Tree_Value(Bytes(value), flag));
  }
  void SetTreeValue(Node* node, const std::string* value, int flag) const {
    const Quiet quiet;
    Tree_Value* old = node->GetTreeValue();
    node->SetTreeValue(value == nullptr ? nullptr : new Tree_Value(Bytes(*value), flag));
    delete old;
  }
  std::string NameOf(const Node* node) const {
    if (node == nullptr) return "none";
    const auto found = known.find(node);
    return found == known.end() ? "unknown" : "#" + std::to_string(found->second->serial);
  }
};

inline std::string Show(const std::string& text) {
  return testing::PrintToString(text);
}
inline std::string Show(const RWCString& text) {
  return Show(Text(text));
}
inline std::string Show(long long number) {
  return std::to_string(number);
}

inline std::string Show(const naive::StringArray& array) {
  if (array == nullptr) return "no array";
  std::string text = std::to_string(array->size()) + " of " + std::to_string(array->size());
  for (const std::string& entry : *array) text += " " + Show(entry);
  return text;
}
inline std::string Show(String_Arr* array) {
  const std::unique_ptr<String_Arr> owned(array);
  if (array == nullptr) return "no array";
  std::string text =
      std::to_string(array->GetInsertedNum()) + " of " + std::to_string(array->GetArrLen());
  for (int i = 0; i < array->GetArrLen(); ++i) text += " " + Show(std::string(array->GetStr(i)));
  return text;
}

inline std::string Show(const naive::NameAndValueArray& array) {
  if (array == nullptr) return "no array";
  std::string text = std::to_string(array->size());
  for (const naive::NameAndValue& pair : *array) {
    text += " " + Show(pair.name) + "=" + Show(pair.value);
  }
  return text;
}
inline std::string Field(const char* field, int width) {
  const std::string all(field, static_cast<std::size_t>(width));
  const std::size_t end = std::min(all.find('\0'), all.size());
  // What is behind the text is zero throughout.
  if (all.find_first_not_of('\0', end) != std::string::npos) {
    throw Parted{"There is something behind a text: " + testing::PrintToString(all)};
  }
  return all.substr(0, end);
}
inline std::string Show(Tree_PathAndValueArray* array) {
  const std::unique_ptr<Tree_PathAndValueArray> owned(array);
  if (array == nullptr) return "no array";
  std::string text = std::to_string(array->GetArrLen());
  for (int i = 0; i < array->GetArrLen(); ++i) {
    Tree_ValueAndPath* pair = array->GetPV(i);
    text += " " + Show(Field(pair->GetPath(), Tree_ValueAndPath::kPathWidth)) + "=" +
            Show(Field(pair->GetValue(), Tree_ValueAndPath::kValueWidth));
  }
  return text;
}

// Whether `actual` is `expected`, where naive::kDigits stands for one to five digits.
inline bool Matches(const std::string& expected, const std::string& actual) {
  std::size_t at = 0;
  for (const char c : expected) {
    if (c != naive::kDigits) {
      if (at == actual.size() || actual[at++] != c) return false;
      continue;
    }
    const std::size_t begin = at;
    while (at < actual.size() && at < begin + 5 && actual[at] >= '0' && actual[at] <= '9') ++at;
    if (at == begin || (actual[begin] == '0' && at > begin + 1)) return false;
  }
  return at == actual.size();
}

}  // namespace property

#endif  // TREE_TESTS_PROPERTY_SIDES_H
