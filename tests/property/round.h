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
// What is done is up to Choices: a seed in the tests, the bytes of an input when fuzzing.

#ifndef TREE_TESTS_PROPERTY_ROUND_H
#define TREE_TESTS_PROPERTY_ROUND_H

#include <algorithm>
#include <chrono>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <deque>
#include <exception>
#include <iterator>
#include <map>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "Tree/Tree_Node.h"
#include "property/naive_tree.h"
#include "property/sides.h"
#include "support/LeakCheck.h"
#include "support/LogCapture.h"
#include "support/TreeMaking.h"

namespace property {

constexpr std::size_t kHeld = 8;
constexpr std::size_t kMostNodes = 320;
constexpr int kMostInOneTree = 1200;  // a node that is listed twice counts twice

// --- What names, values and indexes are made of ---------------------------------

extern const std::vector<std::string> kNames;  // the short ones first
extern const std::size_t kShortNames;

// Names that some comparisons read only up to their zero byte.
extern const std::vector<std::string> kZeroNames;

// What a constructor or a creating path may be given beside them.
extern const std::vector<std::string> kOddNames;

extern const std::vector<std::string> kValues;
extern const std::vector<std::string> kVirtualPaths;
extern const std::vector<std::string> kSeparators;

// Where a round takes its decisions from.
class Choices {
 public:
  virtual ~Choices() = default;

  // From 0 to n - 1; `n` is not 0.
  virtual std::size_t Below(std::size_t n) = 0;

  // Whether the round shall end.
  virtual bool Spent() const { return false; }
};

struct RoundOptions {
  enum class Pools {
    kFed,
    kStarvedNowAndThen,  // some of the next allocations come from the heap
    kStarved,            // all of them do, where a sanitizer looks after them
  };

  bool zero_names = false;  // whether nodes may get names with zero bytes
  Pools pools = Pools::kFed;
  int losses = 0;  // how many elements may be lost for good, which some refusals do
  int steps = 600;
};

// --- One round ------------------------------------------------------------------

class Round {
 public:
  Round(Choices& choices, const RoundOptions& options);
  ~Round();
  Round(const Round&) = delete;
  Round& operator=(const Round&) = delete;

  // Throws Parted.
  void Run();

  // What was done last, the latest at the end.
  std::string Story() const {
    std::string story;
    for (const std::string& line : m_story) story += "  " + line + "\n";
    return story;
  }

  long long steps() const { return m_steps; }

  // How much of `losses` the round has used up.
  int lost() const { return m_options.losses - m_losses_left; }

  // What the round left in the pools for good, once it has run.
  LostElements LostForGood() const { return m_lost_for_good; }

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

  unsigned Below(std::size_t n) { return static_cast<unsigned>(m_choices.Below(n)); }
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
    if (m_options.zero_names && Chance(10)) return kZeroNames[Below(std::size(kZeroNames))];
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

  bool IsStarved() const { return m_options.pools != RoundOptions::Pools::kFed; }

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
    if (IsStarved()) Starve();
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
    if (m_counts == nullptr) {
      CompareLines(m_world.lines, lines);
    } else {
      CompareLines(Counted(m_world.lines), Counted(lines));
      m_counts = nullptr;
    }
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

  // The lines that are compared after the next operation; all when nothing was said.
  using Counts = bool (*)(const LogLine&);
  void CompareOnly(Counts counts) { m_counts = counts; }
  std::vector<LogLine> Counted(const std::vector<LogLine>& lines) const {
    std::vector<LogLine> counted;
    std::copy_if(lines.begin(), lines.end(), std::back_inserter(counted), m_counts);
    return counted;
  }

  [[noreturn]] void Part(const std::string& what) { throw Parted{what}; }

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
    if (model->real == nullptr) Learn(*model, *library);
    if (model->real != library.get()) {
      Part("The library yields another node than " + ModelSide::NameOf(model.get()) + ", " +
           Show(library->GetKeyName()) + ".");
    }
    PairChildren(*model, *library);
  }

  // A new node, and those above it that are new: the path of a node names them all.
  void Learn(naive::Node& model, Tree_Node& library) {
    if (m_world.known.count(&library) != 0) Part("The library yields an old node.");
    model.real = &library;
    m_world.known[&library] = &model;
    const std::string name = Text(library.GetKeyName());
    if (!Matches(model.name, name)) Part("A new node is called " + Show(name) + ".");
    if (model.name != name) {
      CompareWithClock(name);
      // From here on the clock plays no part: the round can be repeated.
      model.name = kNames[static_cast<std::size_t>(model.serial) % kNames.size()];
      library.SetKeyName(Bytes(model.name));
    }
    if (model.parent == nullptr || model.parent->real != nullptr) return;
    if (library.GetParent() == nullptr) {
      Part("Node " + ModelSide::NameOf(&model) + " should have a parent.");
    }
    Learn(*model.parent, *library.GetParent());
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
    const bool all = m_options.pools == RoundOptions::Pools::kStarved;
    for (Zel_PoolAllocator* pool : Pools()) {
      pool->FailNextAllocations(all ? INT_MAX : static_cast<int>(Below(4)));
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

  void MakeChunkArea();
  void MergeSome();
  void ExtractChanges();
  void ChecksumSome();
  void SerializeSome();
  void ConvertSome();
  void BuildSome();

  void ChangeLevel();
  void ChangeSeparator();

  Choices& m_choices;
  const RoundOptions m_options;
  int m_losses_left;
  LostElements m_lost_for_good;
  Counts m_counts = nullptr;
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

}  // namespace property

#endif  // TREE_TESTS_PROPERTY_ROUND_H
