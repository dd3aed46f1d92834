// Random operations on a forest of trees, each of them carried out by the library and
// by a naive model.
//
// After every operation the two must agree on the result, on the exception with its
// figures, and on every log line in its order; every few operations on everything that
// is in memory: names, order, parents, values, flags, ids, the number of handles to
// each node, and the figures of the pools.  Names come from a small alphabet, so that
// siblings share them; some nodes are wide enough to have an index.  Now and then
// parents are set by hand and nodes are listed twice.  Rings are left out, they have
// no defined outcome.
//
//   TREE_TEST_ROUNDS  number of forests per test (50)
//   TREE_TEST_SEED    seed of the first one (a new one every time); a failure names the
//                     seed of its round, to be repeated with one round

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <deque>
#include <exception>
#include <iostream>
#include <iterator>
#include <map>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "Tree/Tree_Node.h"
#include "property/naive_tree.h"
#include "property/settings.h"
#include "support/LeakCheck.h"
#include "support/LogCapture.h"
#include "support/TreeMaking.h"

namespace {

using naive::Handle;

constexpr int kStepsPerRound = 600;
constexpr int kStepsPerCheck = 12;
constexpr std::size_t kHeld = 8;
constexpr std::size_t kMostNodes = 320;
constexpr int kMostInOneTree = 1200;  // a node that is listed twice counts twice
constexpr int kMostLost = 400;        // elements, per run of the test

// --- What names, values and indexes are made of ---------------------------------

std::vector<std::string> MakeNames() {
  std::vector<std::string> names = {"a", "b", "c", "A", "ab", "x y", "-", "\t", "a\\b", "%s%d"};
  for (int i = 0; i < 30; ++i) names.push_back("n" + std::to_string(i));
  names.push_back(std::string(620, 'w'));
  return names;
}
const std::vector<std::string> kNames = MakeNames();
constexpr std::size_t kShortNames = 10;

// Names that some comparisons read only up to their zero byte.
const std::string kZeroNames[] = {std::string("a\0b", 3), std::string("a\0c", 3),
                                  std::string("\0", 1)};

// What a constructor or a creating path may be given beside them.
const std::string kOddNames[] = {"", " ", "   ", " a", "a ", "  b  ", " x y ", "\t ", " \\ "};

const std::string kValues[] = {"",
                               "1",
                               "two",
                               " three ",
                               "a\\b",
                               std::string("z\0ero", 5),
                               std::string(3071, 'v'),
                               std::string(3072, 'v'),
                               std::string(3100, 'v'),
                               "%d%s"};

const std::string kVirtualPaths[] = {"", "sys", "sys\\main", "\\", std::string("v\0p", 3)};

const std::string kSeparators[] = {"\\", "\\", "/", "", "::"};

RWCString Rw(const std::string& text) {
  return RWCString(text.data(), text.size());
}

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
  static RWCString Text(const std::string& text) { return Rw(text); }
  static Path MakePath(const std::string& path) { return Path(Rw(path)); }
  static const char* Chars(const std::string& text) { return text.c_str(); }

  Tree_NodePtr Make(const std::string& name) const { return new Tree_Node(Rw(name)); }
  Tree_NodePtr Make(const std::string& name, const std::string& value, int flag) const {
    return new Tree_Node(Rw(name), new Tree_Value(Rw(value), flag));
  }
  void SetTreeValue(Node* node, const std::string* value, int flag) const {
    const Quiet quiet;
    Tree_Value* old = node->GetTreeValue();
    node->SetTreeValue(value == nullptr ? nullptr : new Tree_Value(Rw(*value), flag));
    delete old;
  }
  std::string NameOf(const Node* node) const {
    if (node == nullptr) return "none";
    const auto found = known.find(node);
    return found == known.end() ? "unknown" : "#" + std::to_string(found->second->serial);
  }
};

std::string Show(const std::string& text) {
  return testing::PrintToString(text);
}
std::string Show(const RWCString& text) {
  return Show(Str(text));
}
std::string Show(long long number) {
  return std::to_string(number);
}

std::string Show(const naive::StringArray& array) {
  if (array == nullptr) return "no array";
  std::string text = std::to_string(array->size()) + " of " + std::to_string(array->size());
  for (const std::string& entry : *array) text += " " + Show(entry);
  return text;
}
std::string Show(String_Arr* array) {
  const std::unique_ptr<String_Arr> owned(array);
  if (array == nullptr) return "no array";
  std::string text =
      std::to_string(array->GetInsertedNum()) + " of " + std::to_string(array->GetArrLen());
  for (int i = 0; i < array->GetArrLen(); ++i) text += " " + Show(std::string(array->GetStr(i)));
  return text;
}

std::string Show(const naive::NameAndValueArray& array) {
  if (array == nullptr) return "no array";
  std::string text = std::to_string(array->size());
  for (const naive::NameAndValue& pair : *array) {
    text += " " + Show(pair.name) + "=" + Show(pair.value);
  }
  return text;
}
std::string Field(const char* field, int width) {
  const std::string all(field, static_cast<std::size_t>(width));
  const std::size_t end = std::min(all.find('\0'), all.size());
  // What is behind the text is zero throughout.
  EXPECT_EQ(std::string::npos, all.find_first_not_of('\0', end));
  return all.substr(0, end);
}
std::string Show(Tree_PathAndValueArray* array) {
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
bool Matches(const std::string& expected, const std::string& actual) {
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

// --- What a walk over a sub-tree does to the nodes that it meets --------------------

// The actions of one walk.  Both sides read the same list, each from its start.
struct Script {
  struct Action {
    unsigned number;
    std::string name;
  };
  std::vector<Action> actions;
  std::size_t next = 0;
  std::string visited;
};
Script* g_script = nullptr;

Handle NewChild(naive::Node* at, const std::string& name, bool leaf) {
  naive::World& world = at->world;
  return naive::Node::Make(world, name, leaf ? new naive::Value(world, "new", 1) : nullptr);
}
Tree_NodePtr NewChild(Tree_Node*, const std::string& name, bool leaf) {
  if (leaf) return new Tree_Node(Rw(name), new Tree_Value("new", 1));
  return new Tree_Node(Rw(name));
}
std::string NameAsText(naive::Node* node) {
  return node->GetKeyName();
}
std::string NameAsText(Tree_Node* node) {
  return Str(node->GetKeyName());
}
void Rename(naive::Node* node, const std::string& name) {
  node->SetKeyName(name);
}
void Rename(Tree_Node* node, const std::string& name) {
  node->SetKeyName(Rw(name));
}

// The node's place among its parent's children, -1 when it has none.
template <class Node>
int OwnIndex(Node* node) {
  Node* parent = node->GetParent();
  for (int i = 0; parent != nullptr && i < parent->GetChildCount(); ++i) {
    if (&*parent->GetChildAt(i) == node) return i;
  }
  return -1;
}

template <class Node>
void Visit(Node* node) {
  Script& script = *g_script;
  script.visited += "<" + NameAsText(node) + ">";
  if (script.next == script.actions.size()) return;
  const Script::Action& action = script.actions[script.next++];
  const std::string& name = action.name;
  switch (action.number) {
    case 0:
      Rename(node, name);
      break;
    case 1:
      if (node->GetChildCount() > 0) node->Remove(0);
      break;
    case 2:
      if (node->GetChildCount() > 0) node->Remove(node->GetChildCount() - 1);
      break;
    case 3:
    case 4: {
      auto child = NewChild(node, name, action.number == 3);
      node->Add(child);
      break;
    }
    case 5: {
      auto child = NewChild(node, name, false);
      node->Insert(child, 0, 3);
      break;
    }
    case 6:
      // The first child goes to the end and is met again.
      if (node->GetChildCount() > 1) {
        node->Insert(node->GetChildAt(0), node->GetChildCount() - 1, -1);
      }
      break;
    case 7: {
      const int index = OwnIndex(node);
      if (index >= 0) node->GetParent()->Remove(index);
      break;
    }
    case 8:
      node->SetId(node->GetId() + 1);
      break;
    case 9:
      node->Destroy();
      break;
    case 10:
      node->RemoveEmptyBranches();
      break;
    case 11: {
      // A sibling behind it is still met, one before it makes this node be met again.
      auto sibling = NewChild(node, name, false);
      if (OwnIndex(node) >= 0) node->GetParent()->Add(sibling);
      break;
    }
    case 12: {
      auto sibling = NewChild(node, name, true);
      if (OwnIndex(node) >= 0) node->GetParent()->Insert(sibling, 0, -1);
      break;
    }
    case 13: {
      const int index = OwnIndex(node);
      if (index < 0) break;
      Node* parent = node->GetParent();
      parent->Insert(parent->GetChildAt(index), parent->GetChildCount() - 1, -1);
      break;
    }
    default:
      break;
  }
}

// --- One round ------------------------------------------------------------------

// Thrown once a difference was reported: both sides have parted, nothing that follows
// would mean anything.
struct Parted {};

class Round {
 public:
  Round(std::uint64_t seed, bool zero_names, int& losses_left)
      : m_random(seed),
        m_zero_names(zero_names),
        m_losses_left(losses_left),
        m_starved(seed % 8 == 0),
        m_before(PoolFigures::Now()) {
    m_held.resize(kHeld);
  }

  ~Round() {
    if (m_starved) Feed();
    Tree_Node::separator = "\\";
  }
  Round(const Round&) = delete;
  Round& operator=(const Round&) = delete;

  void Run();

  // What was done last, the latest at the end.
  std::string Story() const {
    std::string story;
    for (const std::string& line : m_story) story += "  " + line + "\n";
    return story;
  }

  long long steps() const { return m_steps; }

 private:
  struct Held {
    Handle model;
    Tree_NodePtr library;
  };
  struct Operation {
    int weight;
    void (Round::*run)();
  };
  static const std::vector<Operation> kOperations;

  // --- Choosing -----------------------------------------------------------------

  unsigned Below(std::size_t n) { return static_cast<unsigned>(m_random() % n); }
  bool Chance(unsigned percent) { return Below(100) < percent; }

  Place AtHeld(std::size_t i) { return {&m_held[i].model, &m_held[i].library}; }

  // A place that holds a node: one that is held, or a slot below one.
  Place Some() {
    std::vector<std::size_t> full;
    for (std::size_t i = 0; i < kHeld; ++i) {
      if (m_held[i].model != nullptr) full.push_back(i);
    }
    if (full.empty()) {
      NewTree(0);
      full.push_back(0);
    }
    Place place = AtHeld(full[Below(full.size())]);
    while (place.model->get()->GetChildCount() > 0 && Chance(60)) {
      const int i = static_cast<int>(Below(place.model->get()->children.size()));
      place = ChildOf(place, i);
    }
    return place;
  }

  Place ChildOf(const Place& place, int i) {
    return {&(*place.model)->GetChildAt(i), &(*place.library)->GetChildAt(i)};
  }

  Place SomeWithChildren() {
    for (int i = 0; i < 10; ++i) {
      const Place place = Some();
      if ((*place.model)->GetChildCount() > 0) return place;
    }
    return Some();
  }

  Place Null() {
    switch (Below(3)) {
      case 0:
        return {&m_null, &m_null_without_record};
      case 1:
        return {&m_null, &m_null_with_record};
      default:
        return {&m_world.null, &Tree_Node::NULL_TREE_NODE_PTR};
    }
  }

  // What is passed as `this_ptr`: mostly the handle that the operation is called on.
  Place This(const Place& at) {
    if (Chance(90)) return at;
    return Chance(60) ? Some() : Null();
  }

  // A name to give to a node.
  std::string Name() {
    if (m_zero_names && Chance(10)) return kZeroNames[Below(std::size(kZeroNames))];
    return Chance(70) ? kNames[Below(kShortNames)] : kNames[Below(std::size(kNames))];
  }
  std::string GivenName() { return Chance(12) ? kOddNames[Below(std::size(kOddNames))] : Name(); }
  // A name to look for.
  std::string AskedName() { return Chance(6) ? kZeroNames[Below(std::size(kZeroNames))] : Name(); }
  std::string Value() { return kValues[Below(std::size(kValues))]; }

  // The name of one of the node's children, or just a name.
  std::string ChildName(const Place& at) {
    const naive::Node& node = **at.model;
    if (node.children.empty() || Chance(25)) return Chance(10) ? "" : AskedName();
    return node.children[Below(node.children.size())]->name;
  }

  std::string PathFrom(const Place& at) {
    std::string path;
    if (Chance(60)) {
      const naive::Node* node = at.model->get();
      while (!node->children.empty() && (path.empty() || Chance(60))) {
        node = node->children[Below(node->children.size())].get();
        path += (path.empty() ? "" : "\\") + node->name;
      }
      if (Chance(20)) path += "\\" + AskedName();
    } else {
      for (unsigned i = Below(4); i > 0; --i) path += AskedName() + (i > 1 ? "\\" : "");
    }
    if (Chance(8)) path += "\\";
    if (Chance(4)) path = "\\" + path;
    if (Chance(4)) path += "\\\\" + AskedName();
    return path;
  }

  int Index(int count) {
    if (Chance(10)) {
      const int odd[] = {-1, -2, INT_MIN, INT_MAX, count + 1, count + 7};
      return odd[Below(6)];
    }
    return static_cast<int>(Below(static_cast<std::size_t>(count) + 1));
  }

  static std::string Told(const Place& place) { return ModelSide::NameOf(place.model->get()); }

  // --- Doing ----------------------------------------------------------------------

  // Carries `operation` out on both sides and compares.  It returns what it yielded as
  // text; a node goes into side.result or side.slot.
  template <class Operation>
  void Step(const std::string& told, Operation operation) {
    ++m_steps;
    m_story.push_back(told);
    if (m_story.size() > 25) m_story.pop_front();

    ModelSide model{m_world, nullptr};
    LibrarySide library{m_world.known, Tree_NodePtr()};
    std::string expected;
    std::string actual;
    try {
      expected = operation(model);
    } catch (const naive::BoundsError& error) {
      expected =
          "throws index " + std::to_string(error.index) + ", count " + std::to_string(error.count);
    }
    if (m_starved) Starve();
    try {
      actual = operation(library);
    } catch (const RWBoundsErr& error) {
      actual = "throws index " + std::to_string(error.index()) + ", count " +
               std::to_string(error.count());
    } catch (const std::exception& error) {
      actual = std::string("throws ") + error.what();
    }
    const std::vector<LogLine> lines = TakeLines();

    CompareResults(expected, actual);
    CompareLines(m_world.lines, lines);
    m_world.lines.clear();
    if (model.slot != nullptr) CompareSlots(model.slot, library.slot);
    m_this = {nullptr, nullptr};
    Pair(model.result, library.result);
    AdoptOrphans();
    // The results go last: what dies with them is compared as well.
    model.result.reset();
    library.result = Tree_NodePtr();
    CompareLines(m_world.lines, TakeLines());
    m_world.lines.clear();
    AdoptOrphans();
  }

  std::vector<LogLine> TakeLines() {
    std::vector<LogLine> lines = m_log.Take();
    // Whether a string was interned before depends on all of the process.
    std::erase_if(lines, [](const LogLine& line) { return line.category == 234; });
    return lines;
  }

  [[noreturn]] void Part(const std::string& what) {
    ADD_FAILURE() << what;
    throw Parted();
  }

  void CompareResults(const std::string& expected, const std::string& actual) {
    if (!Matches(expected, actual)) {
      Part("The results differ.\n  model:   " + expected + "\n  library: " + actual);
    }
  }

  void CompareLines(const std::vector<LogLine>& expected, const std::vector<LogLine>& actual) {
    for (std::size_t i = 0; i < expected.size() || i < actual.size(); ++i) {
      const LogLine* model = i < expected.size() ? &expected[i] : nullptr;
      const LogLine* library = i < actual.size() ? &actual[i] : nullptr;
      if (model != nullptr && library != nullptr && model->level == library->level &&
          model->category == library->category && model->source == library->source &&
          model->function == library->function && Matches(model->text, library->text)) {
        continue;
      }
      std::ostringstream what;
      what << "Line " << i << " differs.\nmodel (" << expected.size() << " lines):";
      if (model != nullptr) what << *model;
      what << "\nlibrary (" << actual.size() << " lines):";
      if (library != nullptr) what << *library;
      Part(what.str());
    }
  }

  // The library's slot must stand where the model's stands, not only hold the same.
  void CompareSlots(Handle* model, Tree_NodePtr* library) {
    if (model == &m_world.null) {
      if (library != &Tree_Node::NULL_TREE_NODE_PTR) Part("The slot should be the null handle.");
      return;
    }
    if (model == m_this.model) {
      if (library != m_this.library) Part("The slot should be this_ptr.");
      return;
    }
    for (const auto& [number, node] : m_world.all) {
      for (std::size_t i = 0; i < node->children.size(); ++i) {
        if (&node->children[i] != model) continue;
        if (library == &node->real->GetChildAt(static_cast<int>(i))) return;
        Part("The slot should be that of child " + std::to_string(i) + " of " +
             ModelSide::NameOf(node) + ".");
      }
    }
    Part("The model returned a slot of nowhere.");
  }

  // Learns which node of the library is which node of the model, from here down, and
  // compares what it knows already.
  void Pair(const Handle& model, const Tree_NodePtr& library) {
    if (model == nullptr || library.isNull()) {
      if (model != nullptr || !library.isNull()) Part("One side yields a node, the other none.");
      return;
    }
    if (model->real == nullptr) {
      if (m_world.known.count(library.get()) != 0) Part("The library yields an old node.");
      model->real = library.get();
      m_world.known[library.get()] = model.get();
      const std::string name = Str(library->GetKeyName());
      if (!Matches(model->name, name)) Part("A new node is called " + Show(name) + ".");
      if (model->name != name) {
        CompareWithClock(name);
        // From here on the clock plays no part: the round can be repeated.
        model->name = kNames[static_cast<std::size_t>(model->serial) % kNames.size()];
        library->SetKeyName(Rw(model->name));
      }
    }
    if (model->real != library.get()) {
      Part("The library yields another node than " + ModelSide::NameOf(model.get()) + ", " +
           Show(library->GetKeyName()) + ".");
    }
    PairChildren(*model, *library);
  }

  void PairChildren(naive::Node& model, Tree_Node& library) {
    if (model.GetChildCount() != library.GetChildCount()) {
      Part("Node " + ModelSide::NameOf(&model) + " has " + std::to_string(library.GetChildCount()) +
           " children instead of " + std::to_string(model.GetChildCount()) + ".");
    }
    for (int i = 0; i < model.GetChildCount(); ++i) {
      Pair(model.GetChildAt(i), library.GetChildAt(i));
    }
  }

  // The number in a nameless node's name is made of the milliseconds of the clock.
  void CompareWithClock(const std::string& name) {
    const long long now = std::chrono::duration_cast<std::chrono::milliseconds>(
                              std::chrono::system_clock::now().time_since_epoch())
                              .count();
    for (long long ms = now - 2000; ms <= now + 1; ++ms) {
      const long long number =
          static_cast<std::int32_t>(static_cast<std::uint32_t>(static_cast<std::uint64_t>(ms)));
      if (name == "undefined_tree" + std::to_string(std::abs(number) % 100000)) return;
    }
    Part("The name " + name + " is not of this moment.");
  }

  // A node whose parent is gone must not be asked for its path.
  void AdoptOrphans() {
    for (const int number : m_world.orphans) {
      const auto node = m_world.all.find(number);
      if (node != m_world.all.end()) node->second->real->SetParent(nullptr);
    }
    m_world.orphans.clear();
  }

  // Takes back the parents that were set by hand.
  void TidyParents() {
    for (const auto& [number, node] : m_world.all) {
      if (node->parent == nullptr) continue;
      bool listed = false;
      for (const Handle& child : node->parent->children) listed |= child.get() == node;
      if (listed) continue;
      node->SetParent(nullptr);
      node->real->SetParent(nullptr);
    }
  }

  // Makes the pools yield nothing for some of the next allocations.
  void Starve() {
    for (Zel_PoolAllocator* pool : Pools()) {
      pool->FailNextAllocations(static_cast<int>(Below(4)));
    }
  }
  static void Feed() {
    for (Zel_PoolAllocator* pool : Pools()) pool->FailNextAllocations(0);
  }
  static std::vector<Zel_PoolAllocator*> Pools() {
    return {&NodesPool(), &VectorsPool(), &ElementsPool(), &ValuesPool(), &RecordsPool()};
  }

  // --- Rings ----------------------------------------------------------------------

  static bool Lists(const naive::Node* top, const naive::Node* node) {
    if (top == node) return true;
    for (const Handle& child : top->children) {
      if (Lists(child.get(), node)) return true;
    }
    return false;
  }
  static bool HasAbove(const naive::Node* node, const naive::Node* top) {
    for (; node != nullptr; node = node->parent) {
      if (node == top) return true;
    }
    return false;
  }
  // Whether a ring would come of making `child` a child of `parent`.
  static bool MakesRing(const Place& parent, const Place& child) {
    return Lists(child.model->get(), parent.model->get()) ||
           HasAbove(parent.model->get(), child.model->get());
  }

  // --- Looking at everything ------------------------------------------------------

  void CheckAll();
  void CheckNode(const naive::Node& model, Tree_Node& library);
  void CheckInterned(const std::string& text, const char* where);
  void CheckPools();
  void Trim();

  // --- Operations -----------------------------------------------------------------

  void NewTree(std::size_t i);
  void MakeTree() { NewTree(Below(kHeld)); }
  void HoldSome();
  void CopyHeld();
  void DropHeld();

  void AddNew();
  void Widen();
  void AddOld();
  void InsertNew();
  void InsertOld();
  void InsertOut();
  void InsertNull();
  void RemoveAt();
  void RemoveOut();
  void RemoveChild();
  void RemoveStranger();
  void RemoveNamed();

  void RenameSome();
  void RenameChildOfWide();
  void ChangeValue();
  void ChangeFields();
  void SetParentByHand();
  void SetVirtualPath();
  void ReadFields();

  void AskChildren();
  void AskKinship();

  void DestroySome();
  void DuplicateSome();
  void WalkSome();
  void PruneSome();
  void CountSome();

  void GetOneLevel();
  void GetByPath();
  void CreateByPath();
  void GetSubTree();
  void GetSubTreeAt();
  void SearchSome();

  void ReadValue();
  void ReadValueAt();
  void CountByPath();
  void ListByPath();

  void ChangeLevel();
  void ChangeSeparator();

  std::mt19937_64 m_random;
  const bool m_zero_names;  // whether nodes may get names with zero bytes
  int& m_losses_left;
  const bool m_starved;
  const PoolFigures m_before;
  LogCapture m_log;
  naive::World m_world;
  std::map<std::string, const char*> m_interned;
  std::vector<Held> m_held;
  Place m_this{nullptr, nullptr};  // this_ptr of the running ByRef form
  Handle m_null;
  Tree_NodePtr m_null_without_record;
  Tree_NodePtr m_null_with_record{static_cast<Tree_Node*>(nullptr)};
  std::deque<std::string> m_story;
  long long m_steps = 0;
};

const std::vector<Round::Operation> Round::kOperations = {
    {3, &Round::MakeTree},       {6, &Round::HoldSome},      {2, &Round::CopyHeld},
    {3, &Round::DropHeld},       {30, &Round::AddNew},       {2, &Round::Widen},
    {10, &Round::AddOld},        {15, &Round::InsertNew},    {20, &Round::InsertOld},
    {3, &Round::InsertOut},      {2, &Round::InsertNull},    {5, &Round::RemoveAt},
    {2, &Round::RemoveOut},      {4, &Round::RemoveChild},   {2, &Round::RemoveStranger},
    {5, &Round::RemoveNamed},    {12, &Round::RenameSome},   {12, &Round::RenameChildOfWide},
    {6, &Round::ChangeValue},    {6, &Round::ChangeFields},  {6, &Round::SetParentByHand},
    {4, &Round::SetVirtualPath}, {6, &Round::ReadFields},    {10, &Round::AskChildren},
    {10, &Round::AskKinship},    {2, &Round::DestroySome},   {5, &Round::DuplicateSome},
    {5, &Round::WalkSome},       {3, &Round::PruneSome},     {6, &Round::CountSome},
    {25, &Round::GetOneLevel},   {30, &Round::GetByPath},    {20, &Round::CreateByPath},
    {10, &Round::GetSubTree},    {15, &Round::GetSubTreeAt}, {12, &Round::SearchSome},
    {12, &Round::ReadValue},     {20, &Round::ReadValueAt},  {20, &Round::CountByPath},
    {12, &Round::ListByPath},    {5, &Round::ChangeLevel},   {2, &Round::ChangeSeparator},
};

void Round::Run() {
  int total = 0;
  for (const Operation& operation : kOperations) total += operation.weight;
  for (int step = 0; step < kStepsPerRound; ++step) {
    int chosen = static_cast<int>(Below(static_cast<std::size_t>(total)));
    const Operation* operation = kOperations.data();
    while (chosen >= operation->weight) chosen -= operation++->weight;
    (this->*operation->run)();
    if (step % kStepsPerCheck == 0) {
      CheckAll();
      Trim();
    }
  }
  CheckAll();
  for (std::size_t i = 0; i < kHeld; ++i) {
    const Place place = AtHeld(i);
    Step("let go of " + Told(place), [&](auto& side) {
      side.In(place) = typename std::decay_t<decltype(side)>::NodeHandle();
      return std::string();
    });
  }
  // What was lost stays in memory, and no more than that.  A lost node is emptied, so
  // that nothing of it is in the heap.
  for (const Handle& lost : m_world.lost) {
    Step("empty the lost " + ModelSide::NameOf(lost.get()), [&](auto& side) {
      if constexpr (std::is_same_v<std::decay_t<decltype(side)>, ModelSide>) {
        lost->Destroy();
      } else {
        lost->real->Destroy();
      }
      return std::string();
    });
  }
  CheckPools();
  ExpectLost({.nodes = m_world.nodes,
              .vectors = m_world.vectors,
              .elements = m_world.elements,
              .values = m_world.values,
              .records = m_world.nodes});
  m_world.level = 0;
  m_world.lost.clear();
  if (!m_world.all.empty()) Part("The model leaks.");
}

// --- Looking at everything ----------------------------------------------------------

void Round::CheckAll() {
  const Quiet quiet;
  for (Held& held : m_held) Pair(held.model, held.library);
  // Nodes that were lost are known, but what was made below them need not be.
  for (const Handle& lost : m_world.lost) PairChildren(*lost, *lost->real);
  for (const auto& [number, node] : m_world.all) {
    if (node->real == nullptr) Part("A node is out of reach.");
    CheckNode(*node, *node->real);
  }
  // How many handles there are to each node, as the handles themselves tell.
  for (const Held& held : m_held) {
    if (held.library.UseCount() != static_cast<std::uint32_t>(held.model.use_count()) &&
        held.model != nullptr) {
      Part("Node " + ModelSide::NameOf(held.model.get()) + " has " +
           std::to_string(held.library.UseCount()) + " handles instead of " +
           std::to_string(held.model.use_count()) + ".");
    }
  }
  CheckPools();
}

void Round::CheckNode(const naive::Node& model, Tree_Node& library) {
  const auto expect = [&](const char* what, const std::string& expected,
                          const std::string& actual) {
    if (expected == actual) return;
    Part(std::string(what) + " of node " + ModelSide::NameOf(&model) +
         " differs.\n  model:   " + expected + "\n  library: " + actual);
  };
  const LibrarySide names{m_world.known, Tree_NodePtr()};
  expect("The name", Show(model.name), Show(library.GetKeyName()));
  expect("The virtual parent path", Show(model.virtual_parent_path),
         Show(library.GetVirtualParentPath()));
  expect("IsAllowsChildren", Show(model.allows_children), Show(library.IsAllowsChildren()));
  expect("IsLeaf", Show(model.IsLeaf()), Show(library.IsLeaf()));
  expect("The id", Show(model.id), Show(library.GetId()));
  expect("The parent", ModelSide::NameOf(model.parent), names.NameOf(library.GetParent()));
  expect("The number of children", Show(model.GetChildCount()), Show(library.GetChildCount()));
  CheckInterned(model.name, library.GetKeyName().data());

  Tree_Value* value = library.GetTreeValue();
  expect("Having a value", Show(model.value != nullptr), Show(value != nullptr));
  if (value != nullptr) {
    const RWCString text = value->GetValue();
    expect("The value", Show(model.value->text), Show(text));
    expect("The change flag", Show(model.value->flag), Show(value->IsChange()));
    CheckInterned(model.value->text, text.data());
  }

  for (int i = 0; i < model.GetChildCount(); ++i) {
    const Handle& child = model.children[static_cast<std::size_t>(i)];
    Tree_NodePtr& slot = library.GetChildAt(i);
    expect("A child", ModelSide::NameOf(child.get()), names.NameOf(slot.get()));
    expect("The number of handles to a child", Show(child.use_count()), Show(slot.UseCount()));
  }
}

// Equal texts are one text, whatever they are the name or the value of.
void Round::CheckInterned(const std::string& text, const char* where) {
  const auto known = m_interned.emplace(text, where);
  if (known.first->second != where) Part("There are two texts " + Show(text) + ".");
}

void Round::CheckPools() {
  if (m_starved) return;  // some of it is in the heap
  const PoolFigures expected{m_world.nodes, m_world.vectors, m_world.elements, m_world.values,
                             m_world.nodes};
  PoolFigures actual = PoolFigures::Now() - m_before;
  actual.records -= 1;  // m_null_with_record
  if (expected == actual) return;
  std::ostringstream what;
  what << "The pools differ.\n  model:   " << expected << "\n  library: " << actual;
  Part(what.str());
}

// Lets go of something when the forest has grown too large.
void Round::Trim() {
  for (std::size_t i = 0; i < kHeld; ++i) {
    const Place place = AtHeld(i);
    if (*place.model == nullptr) continue;
    if (m_world.all.size() < kMostNodes && (*place.model)->GetNodeNum() < kMostInOneTree) continue;
    Step("trim " + Told(place), [&](auto& side) {
      side.In(place)->Destroy();
      side.In(place) = typename std::decay_t<decltype(side)>::NodeHandle();
      return std::string();
    });
  }
}

// --- Holding and letting go -----------------------------------------------------------

void Round::NewTree(std::size_t i) {
  const Place place = AtHeld(i);
  const std::string name = GivenName();
  const bool leaf = Chance(15);
  const std::string value = Value();
  const int flag = static_cast<int>(Below(3)) - 1;
  Step("make a tree " + Show(name), [&](auto& side) {
    side.In(place) = leaf ? side.Make(name, value, flag) : side.Make(name);
    side.result = side.In(place);
    return std::string();
  });
}

void Round::HoldSome() {
  const Place from = Some();
  const Place to = AtHeld(Below(kHeld));
  Step("hold " + Told(from) + " instead of " + Told(to), [&](auto& side) {
    side.In(to) = side.In(from);
    return std::string();
  });
}

void Round::CopyHeld() {
  const Place from = AtHeld(Below(kHeld));
  const Place to = AtHeld(Below(kHeld));
  Step("copy held " + Told(from) + " over " + Told(to), [&](auto& side) {
    auto copy = side.In(from);
    side.In(to) = std::move(copy);
    return std::string();
  });
}

void Round::DropHeld() {
  const Place place = AtHeld(Below(kHeld));
  Step("drop " + Told(place), [&](auto& side) {
    side.In(place) = typename std::decay_t<decltype(side)>::NodeHandle();
    return std::string();
  });
}

// --- Children -------------------------------------------------------------------------

void Round::AddNew() {
  const Place at = Some();
  const std::string name = GivenName();
  const bool leaf = Chance(50);
  const std::string value = Value();
  const int flag = static_cast<int>(Below(2));
  Step(Told(at) + " Add new " + Show(name), [&](auto& side) {
    auto child = leaf ? side.Make(name, value, flag) : side.Make(name);
    side.result = child;
    return Show(side.At(at)->Add(child));
  });
}

void Round::Widen() {
  if (m_world.all.size() > kMostNodes) return;
  const Place at = Some();
  std::vector<std::string> names;
  for (unsigned i = 20 + Below(40); i > 0; --i) names.push_back(Name());
  const bool leaves = Chance(30);
  Step(Told(at) + " Add " + Show(static_cast<long long>(names.size())) + " children",
       [&](auto& side) {
         for (const std::string& name : names) {
           auto child = leaves ? side.Make(name, "wide", 0) : side.Make(name);
           side.At(at)->Add(child);
         }
         side.result = side.In(at);
         return std::string();
       });
}

void Round::AddOld() {
  const Place at = Some();
  const Place child = Some();
  if (MakesRing(at, child)) return;
  // A child of this node is refused by an exception, and an element is lost.
  const bool loses = (*child.model)->parent == at.model->get();
  if (loses && (m_starved || m_losses_left-- <= 0)) return;
  Step(Told(at) + " Add " + Told(child),
       [&](auto& side) { return Show(side.At(at)->Add(side.In(child))); });
}

void Round::InsertNew() {
  const Place at = SomeWithChildren();
  const std::string name = GivenName();
  const int index = static_cast<int>(Below((*at.model)->children.size() + 1));
  const int hint = Chance(50) ? -1 : static_cast<int>(Below(50));
  Step(Told(at) + " Insert new " + Show(name) + " at " + Show(index), [&](auto& side) {
    auto child = side.Make(name);
    side.result = child;
    return Show(side.At(at)->Insert(child, index, hint));
  });
}

// Moves a node, often inside its own parent.
void Round::InsertOld() {
  Place at = SomeWithChildren();
  Place child = Some();
  if (Chance(50) && !(*at.model)->children.empty()) {
    child = ChildOf(at, static_cast<int>(Below((*at.model)->children.size())));
  }
  if (MakesRing(at, child)) return;
  int room = (*at.model)->GetChildCount() + 1;
  if ((*child.model)->parent == at.model->get() && (*at.model)->GetIndex(*child.model) >= 0) --room;
  m_world.lines.clear();  // those of GetIndex
  const int index = static_cast<int>(Below(static_cast<std::size_t>(room)));
  Step(Told(at) + " Insert " + Told(child) + " at " + Show(index),
       [&](auto& side) { return Show(side.At(at)->Insert(side.In(child), index, -1)); });
}

void Round::InsertOut() {
  const Place at = Some();
  const Place child = Some();
  if (MakesRing(at, child) || m_starved || m_losses_left-- <= 0) return;
  const int count = (*at.model)->GetChildCount();
  const int odd[] = {-1, -2, INT_MIN, INT_MAX, count + 1, count + 2};
  const int index = odd[Below(6)];
  Step(Told(at) + " Insert " + Told(child) + " at " + Show(index),
       [&](auto& side) { return Show(side.At(at)->Insert(side.In(child), index, 2)); });
}

void Round::InsertNull() {
  const Place at = Some();
  const Place child = Null();
  const bool add = Chance(50);
  Step(Told(at) + " Add or Insert null", [&](auto& side) {
    return Show(add ? side.At(at)->Add(side.In(child)) : side.At(at)->Insert(side.In(child), 0, 1));
  });
}

void Round::RemoveAt() {
  const Place at = SomeWithChildren();
  const int count = (*at.model)->GetChildCount();
  const int index = count == 0 ? 0 : static_cast<int>(Below(static_cast<std::size_t>(count)));
  Step(Told(at) + " Remove " + Show(index),
       [&](auto& side) { return Show(side.At(at)->Remove(index)); });
}

void Round::RemoveOut() {
  const Place at = Some();
  const int count = (*at.model)->GetChildCount();
  const int odd[] = {-1, count, count + 3, INT_MIN, INT_MAX};
  const int index = odd[Below(5)];
  Step(Told(at) + " Remove " + Show(index),
       [&](auto& side) { return Show(side.At(at)->Remove(index)); });
}

void Round::RemoveChild() {
  const Place at = SomeWithChildren();
  if ((*at.model)->children.empty()) return;
  const Place child = ChildOf(at, static_cast<int>(Below((*at.model)->children.size())));
  const bool copy = Chance(50);
  Step(Told(at) + " Remove child " + Told(child), [&](auto& side) {
    if (!copy) return Show(side.At(at)->Remove(side.In(child)));
    auto kept = side.In(child);
    return Show(side.At(at)->Remove(kept));
  });
}

void Round::RemoveStranger() {
  const Place at = Some();
  const Place child = Chance(70) ? Some() : Null();
  Step(Told(at) + " Remove " + Told(child),
       [&](auto& side) { return Show(side.At(at)->Remove(side.In(child))); });
}

void Round::RemoveNamed() {
  const Place at = SomeWithChildren();
  const std::string name = ChildName(at);
  Step(Told(at) + " Remove " + Show(name),
       [&](auto& side) { return Show(side.At(at)->Remove(side.Text(name))); });
}

// --- Fields ---------------------------------------------------------------------------

void Round::RenameSome() {
  const Place at = Some();
  const std::string name = Chance(10) ? kOddNames[Below(std::size(kOddNames))] : Name();
  Step(Told(at) + " SetKeyName " + Show(name), [&](auto& side) {
    side.At(at)->SetKeyName(side.Text(name));
    return std::string();
  });
}

// Wide nodes keep an index of names; here it has to follow.
void Round::RenameChildOfWide() {
  for (const auto& entry : m_world.all) {
    naive::Node* const wide = entry.second;
    if (wide->GetChildCount() < 20 || Chance(30)) continue;
    Handle& child = wide->children[Below(wide->children.size())];
    const Place at{&child, &wide->real->GetChildAt(wide->GetIndex(child))};
    const std::string old_name = child->name;
    const std::string name = Name();
    Step(Told(at) + " of a wide node SetKeyName " + Show(name), [&](auto& side) {
      side.At(at)->SetKeyName(side.Text(name));
      return std::string();
    });
    const auto ask = [&](const std::string& asked) {
      Step(ModelSide::NameOf(wide) + " Get " + Show(asked), [&](auto& side) {
        using Side = std::decay_t<decltype(side)>;
        typename Side::Node* node = nullptr;
        if constexpr (std::is_same_v<Side, ModelSide>) {
          node = wide;
        } else {
          node = wide->real;
        }
        return side.NameOf(node->Get(side.Text(asked), node));
      });
    };
    ask(old_name);
    ask(name);
    return;
  }
}

void Round::ChangeValue() {
  const Place at = Some();
  const bool take = Chance(20);
  const bool give = Chance(40);
  const std::string value = Value();
  const int flag = static_cast<int>(Below(3));
  if (take || give) {
    Step(Told(at) + (take ? " SetTreeValue null" : " SetTreeValue"), [&](auto& side) {
      side.SetTreeValue(side.At(at), take ? nullptr : &value, flag);
      return std::string();
    });
    return;
  }
  const Place name = Some();
  const bool by_pointer = Chance(30);
  Step(Told(at) + " SetValue", [&](auto& side) {
    auto* held = side.At(at)->GetTreeValue();
    if (held == nullptr) return std::string("no value");
    if (by_pointer) {
      // An interned string stored as it is: a name of some node.
      if constexpr (std::is_same_v<std::decay_t<decltype(side)>, ModelSide>) {
        held->SetValue(side.At(name)->GetKeyName());
      } else {
        held->SetValue(&side.At(name)->GetKeyName());
      }
    } else {
      held->SetValue(side.Text(value));
    }
    held->SetIsChange(flag);
    return Show(held->GetValue()) + Show(held->IsChange());
  });
}

void Round::ChangeFields() {
  const Place at = Some();
  const Place other = Some();
  const int id = static_cast<int>(Below(1000)) - 500;
  Step(Told(at) + " SetId", [&](auto& side) {
    int protection = 7;
    side.At(at)->SetId(id);
    side.At(at)->ChangeTreeNodePtrProtection(side.In(other), protection);
    return Show(side.At(at)->GetId()) + " " + Show(protection);
  });
}

void Round::SetParentByHand() {
  const Place at = Some();
  const Place parent = Chance(40) ? Null() : Some();
  if (*parent.model != nullptr && HasAbove(parent.model->get(), at.model->get())) return;
  Step(Told(at) + " SetParent " + Told(parent), [&](auto& side) {
    side.At(at)->SetParent(side.At(parent));
    return side.NameOf(side.At(at)->GetParent());
  });
  // The child may now be listed by one node and belong to another.
  const std::string name = Name();
  if (Chance(30)) {
    Step(Told(at) + " SetKeyName " + Show(name), [&](auto& side) {
      side.At(at)->SetKeyName(side.Text(name));
      return std::string();
    });
  }
}

void Round::SetVirtualPath() {
  const Place at = Some();
  const std::string path = kVirtualPaths[Below(std::size(kVirtualPaths))];
  Step(Told(at) + " SetVirtualParentPath " + Show(path), [&](auto& side) {
    auto text = side.Text(path);
    side.At(at)->SetVirtualParentPath(text);
    return Show(side.At(at)->GetVirtualParentPath());
  });
}

void Round::ReadFields() {
  const Place at = Some();
  Step(Told(at) + " fields", [&](auto& side) {
    auto* node = side.At(at);
    auto* value = node->GetTreeValue();
    return Show(node->GetPath()) + Show(node->GetKeyName()) + Show(node->IsEmpty()) +
           Show(node->IsLeaf()) + Show(node->IsAllowsChildren()) + Show(node->GetChildCount()) +
           side.NameOf(node->GetParent()) + (value == nullptr ? "" : Show(value->GetValue()));
  });
}

// --- Questions ------------------------------------------------------------------------

void Round::AskChildren() {
  const Place at = Some();
  const Place child = Chance(50) ? Some() : Null();
  const int index = Index((*at.model)->GetChildCount());
  Step(Told(at) + " GetChildAt " + Show(index), [&](auto& side) {
    side.slot = &side.At(at)->GetChildAt(index);
    return Show(side.At(at)->GetIndex(*side.slot)) + " " +
           Show(side.At(at)->GetIndex(side.In(child)));
  });
}

void Round::AskKinship() {
  const Place at = Some();
  Place node = Chance(90) ? Some() : Null();
  if (Chance(40) && !(*at.model)->children.empty()) {
    node = ChildOf(at, static_cast<int>(Below((*at.model)->children.size())));
  }
  Step(Told(at) + " and " + Told(node) + ": kinship", [&](auto& side) {
    std::string told = Show(side.At(at)->IsNodeChild(side.In(node))) +
                       Show(side.At(at)->IsNodeAncestor(side.In(node)));
    if (side.At(node) != nullptr) told += Show(side.At(node)->IsNodeAncestor(side.In(at)));
    return told;
  });
}

// --- Whole sub-trees --------------------------------------------------------------------

void Round::DestroySome() {
  const Place at = Some();
  const bool twice = Chance(20);
  Step(Told(at) + " Destroy", [&](auto& side) {
    auto kept = side.In(at);
    kept->Destroy();
    if (twice) kept->Destroy();
    return std::string();
  });
}

void Round::DuplicateSome() {
  const Place at = Some();
  if (m_world.all.size() > kMostNodes) return;
  const Place to = AtHeld(Below(kHeld));
  const bool argument = Chance(50);
  Step(Told(at) + " DuplicateFromHereDown", [&](auto& side) {
    side.result = side.At(at)->DuplicateFromHereDown(argument);
    side.In(to) = side.result;
    return std::string();
  });
}

void Round::WalkSome() {
  TidyParents();
  const Place at = Some();
  const bool only_look = Chance(40);
  Script script;
  for (unsigned i = only_look ? 0 : 10; i > 0; --i) script.actions.push_back({Below(16), Name()});
  Step(Told(at) + " ExecuteOnEntireSubtree", [&](auto& side) {
    using Node = typename std::decay_t<decltype(side)>::Node;
    auto kept = side.In(at);
    script.next = 0;
    script.visited.clear();
    g_script = &script;
    kept->ExecuteOnEntireSubtree(&Visit<Node>);
    g_script = nullptr;
    side.result = kept;
    return script.visited;
  });
  const Quiet quiet;
  for (Held& held : m_held) Pair(held.model, held.library);
}

void Round::PruneSome() {
  const Place at = Some();
  Step(Told(at) + " RemoveEmptyBranches",
       [&](auto& side) { return Show(side.At(at)->RemoveEmptyBranches()); });
}

void Round::CountSome() {
  const Place at = Some();
  const Place counted = Chance(90) ? Some() : Null();
  const int start = static_cast<int>(Below(20)) - 10;
  Step(Told(at) + " counts", [&](auto& side) {
    using Node = typename std::decay_t<decltype(side)>::Node;
    int count = start;
    Node::GetRecursiveChildCount(side.In(counted), count);
    return Show(side.At(at)->GetNodeNum()) + " " + Show(count) + " " +
           Show(static_cast<long long>(side.At(at)->GetTotalSize()));
  });
}

// --- Navigation -------------------------------------------------------------------------

void Round::GetOneLevel() {
  const Place at = SomeWithChildren();
  const Place self = This(at);
  const std::string name = ChildName(at);
  m_this = self;
  const unsigned form = Below(4);
  Step(Told(at) + " Get " + Show(name) + ", form " + Show(form), [&](auto& side) {
    auto text = side.Text(name);
    switch (form) {
      case 0:
        side.result = side.At(at)->Get(side.Chars(name), side.In(self));
        return std::string();
      case 1:
        side.result = side.At(at)->Get(text, side.In(self));
        return std::string();
      case 2:
        return side.NameOf(side.At(at)->Get(text, side.At(self)));
      default:
        side.slot = &side.At(at)->GetByRef(text, side.In(self));
        return std::string();
    }
  });
}

void Round::GetByPath() {
  const Place at = Some();
  const Place self = This(at);
  const std::string path = PathFrom(at);
  const bool by_ref = Chance(50);
  // A path that was read before goes on where it stopped.
  const unsigned read_before = Chance(10) ? Below(4) : 0;
  m_this = self;
  Step(Told(at) + " GetRelativeNode " + Show(path), [&](auto& side) {
    auto segments = side.MakePath(path);
    for (unsigned i = 0; i < read_before; ++i) segments.GetRoot();
    if (by_ref) {
      side.slot = &side.At(at)->GetRelativeNodeByRef(segments, side.In(self));
    } else {
      side.result = side.At(at)->GetRelativeNode(segments, side.In(self));
    }
    return Show(segments.IsOnlyRoot()) + Show(segments.GetRoot()) + Show(segments.IsOnlyRoot());
  });
}

void Round::CreateByPath() {
  const Place at = Some();
  const Place self = This(at);
  const Place to = AtHeld(Below(kHeld));
  std::string path = PathFrom(at);
  if (Chance(10)) path += "\\" + kOddNames[Below(std::size(kOddNames))];
  if (Chance(10)) path = kOddNames[Below(std::size(kOddNames))] + "\\" + path;
  const bool unprotected = Chance(20);
  const bool hold = Chance(10);
  Step(Told(at) + " GetOrCreateRelativeNode " + Show(path), [&](auto& side) {
    auto segments = side.MakePath(path);
    auto* node = side.At(at);
    side.result = unprotected ? node->GetOrCreateUnProtectedRelativeNode(segments, side.In(self))
                              : node->GetOrCreateRelativeNode(segments, side.In(self));
    if (hold) side.In(to) = side.result;
    return Show(segments.IsOnlyRoot());
  });
  const Quiet quiet;
  for (Held& held : m_held) Pair(held.model, held.library);
}

void Round::GetSubTree() {
  const Place at = Some();
  const Place self = Chance(80) ? at : Some();
  const std::string path = PathFrom(self);
  const bool by_ref = Chance(50);
  m_this = self;
  Step(Told(at) + " GetRelativeSubTree " + Show(path), [&](auto& side) {
    auto segments = side.MakePath(path);
    if (by_ref) {
      side.slot = &side.At(at)->GetRelativeSubTreeByRef(segments, side.In(self));
    } else {
      side.result = side.At(at)->GetRelativeSubTree(segments, side.In(self));
    }
    return Show(segments.IsOnlyRoot());
  });
}

void Round::GetSubTreeAt() {
  const Place at = SomeWithChildren();
  const Place self = This(at);
  const std::string path = Chance(40) ? "" : PathFrom(at);
  const int index = Index((*at.model)->GetChildCount());
  const bool by_ref = Chance(50);
  m_this = self;
  Step(Told(at) + " GetRelativeSubTree " + Show(path) + ", " + Show(index), [&](auto& side) {
    auto text = side.Text(path);
    if (by_ref) {
      side.slot = &side.At(at)->GetRelativeSubTreeByRef(text, index, side.In(self));
    } else {
      side.result = side.At(at)->GetRelativeSubTree(text, index, side.In(self));
    }
    return std::string();
  });
}

void Round::SearchSome() {
  const Place at = Some();
  const Place self = This(at);
  const std::string path = Chance(60) ? ChildName(Some()) : PathFrom(Some());
  const int strip_top = static_cast<int>(Below(3)) - 1;
  Step(Told(at) + " Search " + Show(path), [&](auto& side) {
    return Show(side.At(at)->Search(side.Text(path), side.In(self), strip_top));
  });
}

// --- Values and listings ------------------------------------------------------------------

void Round::ReadValue() {
  const Place at = Some();
  const Place self = This(at);
  const std::string path = PathFrom(at);
  Step(Told(at) + " GetValue " + Show(path), [&](auto& side) {
    auto text = side.Text(path);
    return Show(side.At(at)->GetValue(text, side.In(self)));
  });
}

void Round::ReadValueAt() {
  const Place at = SomeWithChildren();
  const Place self = This(at);
  const std::string path = Chance(50) ? "" : PathFrom(at);
  const int index = Index((*at.model)->GetChildCount());
  const bool name = Chance(40);
  Step(Told(at) + " GetValue or its name " + Show(path) + ", " + Show(index), [&](auto& side) {
    auto text = side.Text(path);
    return Show(name ? side.At(at)->GetValueName(text, index, side.In(self))
                     : side.At(at)->GetValue(text, index, side.In(self)));
  });
}

void Round::CountByPath() {
  const Place at = SomeWithChildren();
  const Place self = This(at);
  const std::string path = Chance(40) ? "" : PathFrom(at);
  const unsigned form = Below(4);
  Step(Told(at) + " counts of " + Show(path) + ", form " + Show(form), [&](auto& side) {
    auto text = side.Text(path);
    auto* node = side.At(at);
    switch (form) {
      case 0:
        return Show(node->GetValueNum(text, side.In(self)));
      case 1:
        return Show(node->GetSubTreeNum(text, side.In(self)));
      case 2:
        return Show(node->GetTreeNodeEntriesCount(side.In(self)));
      default:
        return Show(node->GetSubTreeEntriesCount(text, side.In(self)));
    }
  });
}

void Round::ListByPath() {
  const Place at = SomeWithChildren();
  const Place self = This(at);
  const std::string path = Chance(40) ? "" : PathFrom(at);
  const bool values = Chance(50);
  Step(Told(at) + " lists " + Show(path), [&](auto& side) {
    auto text = side.Text(path);
    return values ? Show(side.At(at)->GetSubTreeValues(text, side.In(self)))
                  : Show(side.At(at)->GetSubTreePaths(text, side.In(self)));
  });
}

// --- The process ----------------------------------------------------------------------------

void Round::ChangeLevel() {
  const int level = Chance(60) ? 7 : 3 + static_cast<int>(Below(4));
  m_world.level = level;
  ZelGLog.SetLevel(level);
  m_story.push_back("level " + Show(level));
}

void Round::ChangeSeparator() {
  const std::string separator = kSeparators[Below(std::size(kSeparators))];
  m_world.separator = separator;
  Tree_Node::separator = Rw(separator);
  m_story.push_back("separator " + Show(separator));
}

// --- The test -------------------------------------------------------------------------------

class RandomOperations : public testing::Test {
 protected:
  // Interns all strings that a round may need, makes the pools large enough and opens
  // the log, so that a round leaves the heap as it finds it.
  static void SetUpTestSuite() {
    constexpr int kInOneForest = 6000;
    SCOPED_TRACE("GoogleTest's own first allocation");
    LogCapture log;
    InternNamesMadeAfterTheClock();
    Tree_NodePtr top(new Tree_Node("top"));
    for (int i = 0; i < kInOneForest; ++i) {
      Tree_NodePtr child = Inner("child", {Leaf("leaf", "value")});
      top->Add(child);
    }
    const auto intern = [&](const std::string& text) { top->SetKeyName(Rw(text)); };
    for (const std::string& text : kNames) intern(text);
    for (const std::string& text : kOddNames) {
      intern(text);
      const std::size_t first = text.find_first_not_of(' ');
      if (first != std::string::npos) {
        intern(text.substr(first, text.find_last_not_of(' ') - first + 1));
      }
    }
    // These are not names yet.
    for (const std::string& text : kZeroNames) Tree_Value value(Rw(text), 0);
    for (const std::string& text : kValues) Tree_Value value(Rw(text), 0);
    for (const std::string& text : kVirtualPaths) Tree_Value value(Rw(text), 0);
  }

  void Run(bool zero_names) {
    const std::uint64_t first = settings::Seed();
    const std::uint64_t rounds = settings::Rounds(50);
    std::cout << rounds << " rounds from seed " << first << "\n";
    int losses_left = kMostLost;
    long long steps = 0;
    for (std::uint64_t seed = first; seed < first + rounds; ++seed) {
      SCOPED_TRACE("TREE_TEST_SEED=" + std::to_string(seed) + " TREE_TEST_ROUNDS=1");
      Round round(seed, zero_names, losses_left);
      try {
        round.Run();
      } catch (const Parted&) {
      }
      steps += round.steps();
      if (HasFailure()) FAIL() << "The last operations:\n" << round.Story();
    }
    std::cout << steps << " operations\n";
  }
};

// As long as no node ever had a name with a zero byte inside, all ways of comparing
// names agree, and the library may rely on it; so this comes first.
TEST_F(RandomOperations, AgreeWithANaiveTree) {
  Run(false);
}

TEST_F(RandomOperations, AgreeWithANaiveTreeWhenNamesHaveZeroBytes) {
  Run(true);
}

}  // namespace
