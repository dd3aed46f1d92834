// Paths, and what is at them in a tree, beside a naive splitter and a naive tree.
//
// An input is a list of lines.  The first byte of a line says what is done, the rest is a
// path, which may hold any bytes but a newline.

#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

#include "Tree/Tree_Node.h"
#include "fuzz/Take.h"
#include "fuzz/targets.h"
#include "property/naive_tree.h"
#include "property/sides.h"
#include "support/LogCapture.h"

namespace fuzz {
namespace {

constexpr int kMostNodes = 600;

std::vector<std::string> Split(const std::string& path) {
  std::vector<std::string> segments(1);
  for (const char c : path) {
    if (c == '\\') {
      segments.emplace_back();
    } else {
      segments.back() += c;
    }
  }
  return segments;
}

void RequireSegment(Tree_Path& path, const std::string& expected, bool last, bool as_chars) {
  const std::string segment =
      as_chars ? std::string(path.GetRootAsCharPtr()) : Text(path.GetRoot());
  Require(segment == expected, "a segment is " + property::Show(segment));
  Require(path.IsOnlyRoot() == (last ? 1 : 0), "the path has its end elsewhere");
}

// Every segment once, then the last one again and again; also out of copies made on the way.
void RequireSplit(const std::string& text) {
  if (text.find('\0') != text.npos) {
    // A zero byte ends a segment as a backslash does, but does not count as one.
    naive::Path expected(text);
    Tree_Path path(Bytes(text));
    for (std::size_t i = 0; i < text.size() + 2; ++i) {
      const std::string segment = expected.GetRoot();
      RequireSegment(path, segment, expected.IsOnlyRoot() != 0, i % 2 == 0);
    }
    return;
  }
  const std::vector<std::string> segments = Split(text);
  Tree_Path path(Bytes(text));
  Require(path.IsOnlyRoot() == 0, "the path ends before it begins");
  Tree_Path assigned(Bytes("x\\y"));
  for (std::size_t i = 0; i < segments.size() + 2; ++i) {
    const bool last = i + 1 >= segments.size();
    const std::string& expected = segments[std::min(i, segments.size() - 1)];
    if (i % 3 == 1) {
      Tree_Path copy(path);
      assigned = path;
      RequireSegment(copy, expected, last, true);
      RequireSegment(assigned, expected, last, false);
    }
    RequireSegment(path, expected, last, i % 2 == 0);
  }
}

// One tree, twice.
class Trees {
 public:
  Trees() : m_model(naive::Node::Make(m_world, "top")), m_library(new Tree_Node("top")) {
    m_world.level = 0;
  }

  void Do(unsigned what, const std::string& path) {
    // The naive tree is slow.
    const bool full = m_model->GetNodeNum() > kMostNodes;
    switch (full ? 3 : what % 8) {
      case 0:
      case 1:
        Create(path);
        RequireSame();
        break;
      case 2:
        AddLeaf(path);
        RequireSame();
        break;
      case 3:
        LookUp(path);
        break;
      case 4:
        LookUpSubTree(path);
        break;
      case 5:
        Search(path);
        break;
      case 6:
        Read(path);
        break;
      default:
        Remove(path);
        break;
    }
  }

  // Also tells the model which names the clock has made.
  void RequireSame() { RequireSameNode(*m_model, *m_library); }

 private:
  void RequireSameText(const std::string& expected, const std::string& actual, const char* what) {
    if (property::Matches(expected, actual)) return;
    throw Bug(std::string(what) + " differs: " + expected + " and " + actual);
  }

  void RequireSameNode(naive::Node& model, Tree_Node& library) {
    RequireSameText(model.name, Text(library.GetKeyName()), "a name");
    Require(model.IsLeaf() == library.IsLeaf(), "one is a leaf, the other is none");
    Require(model.GetChildCount() == library.GetChildCount(), "the numbers of children differ");
    if (model.name != Text(library.GetKeyName())) model.name = Text(library.GetKeyName());
    for (int i = 0; i < model.GetChildCount(); ++i) {
      RequireSameNode(*model.GetChildAt(i), *library.GetChildAt(i));
    }
  }

  void RequireSameResult(const naive::Handle& model, const Tree_NodePtr& library) {
    Require((model == nullptr) == library.isNull(), "one finds a node, the other none");
    if (model == nullptr) return;
    RequireSameText(model->GetPath(), Text(library->GetPath()), "a path");
    Require(model->IsLeaf() == library->IsLeaf(), "one finds a leaf, the other none");
    Require((model == m_model) == (library == m_library), "one finds the top, the other not");
  }

  void Create(const std::string& text) {
    naive::Path model_path(text);
    Tree_Path path(Bytes(text));
    const naive::Handle made = m_model->GetOrCreateRelativeNode(model_path, m_model);
    const Tree_NodePtr node = m_library->GetOrCreateRelativeNode(path, m_library);
    RequireSameResult(made, node);
    Require(model_path.IsOnlyRoot() == path.IsOnlyRoot(), "the path was read to elsewhere");
  }

  // The last segment names the leaf.
  void AddLeaf(const std::string& text) {
    const std::size_t cut = text.rfind('\\');
    const std::string above = cut == text.npos ? "" : text.substr(0, cut);
    const std::string name = cut == text.npos ? text : text.substr(cut + 1);
    naive::Path model_path(above);
    Tree_Path path(Bytes(above));
    const naive::Handle parent = m_model->GetRelativeNode(model_path, m_model);
    const Tree_NodePtr node = m_library->GetRelativeNode(path, m_library);
    RequireSameResult(parent, node);
    if (parent == nullptr) return;
    Tree_NodePtr leaf(new Tree_Node(Bytes(name), new Tree_Value(Bytes(text), 0)));
    const int added =
        parent->Add(naive::Node::Make(m_world, name, new naive::Value(m_world, text, 0)));
    Require(node->Add(leaf) == added, "one takes the leaf, the other does not");
  }

  void LookUp(const std::string& text) {
    for (const bool by_ref : {false, true}) {
      naive::Path model_path(text);
      Tree_Path path(Bytes(text));
      const naive::Handle found = m_model->GetRelativeNode(model_path, m_model);
      RequireSameResult(found, by_ref ? m_library->GetRelativeNodeByRef(path, m_library)
                                      : m_library->GetRelativeNode(path, m_library));
      Require(model_path.IsOnlyRoot() == path.IsOnlyRoot(), "the path was read to elsewhere");
    }
    RWCString name = Bytes(text);
    RequireSameResult(m_model->Get(text, m_model), m_library->Get(name, m_library));
    RequireSameResult(m_model->GetByRef(text, m_model), m_library->GetByRef(name, m_library));
  }

  void LookUpSubTree(const std::string& text) {
    naive::Path model_path(text);
    Tree_Path path(Bytes(text));
    RequireSameResult(m_model->GetRelativeSubTree(model_path, m_model),
                      m_library->GetRelativeSubTree(path, m_library));
    RWCString whole = Bytes(text);
    const int index = static_cast<int>(text.size() % 4) - 1;
    RequireSameResult(m_model->GetRelativeSubTree(text, index, m_model),
                      m_library->GetRelativeSubTree(whole, index, m_library));
    RequireSameText(property::Show(m_model->GetSubTreePaths(text, m_model)),
                    property::Show(m_library->GetSubTreePaths(whole, m_library)), "a listing");
  }

  void Search(const std::string& text) {
    for (const int strip_top : {0, 1}) {
      RequireSameText(property::Show(m_model->Search(text, m_model, strip_top)),
                      property::Show(m_library->Search(Bytes(text), m_library, strip_top)),
                      "a search");
    }
  }

  void Read(const std::string& text) {
    RWCString path = Bytes(text);
    RequireSameText(m_model->GetValue(text, m_model), Text(m_library->GetValue(path, m_library)),
                    "a value");
    for (int i = -1; i < 4; ++i) {
      RequireSameText(m_model->GetValue(text, i, m_model),
                      Text(m_library->GetValue(path, i, m_library)), "a value by its number");
      RequireSameText(m_model->GetValueName(text, i, m_model),
                      Text(m_library->GetValueName(path, i, m_library)), "a name by its number");
    }
    Require(
        m_model->GetValueNum(text, m_model) == m_library->GetValueNum(path, m_library) &&
            m_model->GetSubTreeNum(text, m_model) == m_library->GetSubTreeNum(path, m_library) &&
            m_model->GetSubTreeEntriesCount(text, m_model) ==
                m_library->GetSubTreeEntriesCount(path, m_library),
        "a count differs");
    RequireSameText(property::Show(m_model->GetSubTreeValues(text, m_model)),
                    property::Show(m_library->GetSubTreeValues(path, m_library)), "the values");
  }

  void Remove(const std::string& text) {
    Require(m_model->Remove(text) == m_library->Remove(Bytes(text)), "only one removes a child");
  }

  naive::World m_world;
  naive::Handle m_model;
  Tree_NodePtr m_library;
};

}  // namespace

void TreePath(std::string_view bytes) {
  const LogCapture log(5);
  Trees trees;
  for (Take take(bytes); !take.AtEnd();) {
    const unsigned what = take.Byte();
    std::string path = take.Line();
    // In the model this byte stands for the digits of a name made after the clock.
    std::replace(path.begin(), path.end(), naive::kDigits, '~');
    try {
      RequireSplit(path);
      trees.Do(what, path);
    } catch (const property::Parted& parted) {
      throw Bug(parted.what);
    }
  }
  trees.RequireSame();
}

}  // namespace fuzz
