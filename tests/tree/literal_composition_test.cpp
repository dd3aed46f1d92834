// Every operation that takes a path, the search, the counts and the listings, beside
// the same operation put together step by step from one-level calls (see
// support/LiteralTree.h).  Both run on random trees under random changes and must
// agree on results, on which node or slot it is, on where they leave a used path, and
// on every line that they write.
//
//   TREE_TEST_ROUNDS  number of random trees (600)
//   TREE_TEST_SEED    seed of the first one (a new one every time); a failure names
//                     the seed of its round, to be repeated with one round

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "Tree/Tree_Node.h"
#include "support/LiteralTree.h"
#include "support/LogCapture.h"
#include "support/Random.h"
#include "support/TreeMaking.h"

namespace {

// --- What an operation answers -----------------------------------------------------

struct Result {
  const void* node = nullptr;  // which node it is
  const void* slot = nullptr;  // which handle it is, for operations that return one
  int number = 0;
  std::vector<std::string> texts;

  friend bool operator==(const Result& a, const Result& b) {
    return a.node == b.node && a.slot == b.slot && a.number == b.number && a.texts == b.texts;
  }
  friend std::ostream& operator<<(std::ostream& out, const Result& r) {
    return out << "node " << r.node << ", slot " << r.slot << ", number " << r.number << ", "
               << testing::PrintToString(r.texts);
  }
};

Result OfNode(const Tree_Node* node) {
  Result r;
  r.node = node;
  return r;
}
Result OfHandle(const Tree_NodePtr& node) {
  return OfNode(node.get());
}
Result OfSlot(const Tree_NodePtr& slot) {
  Result r = OfNode(slot.get());
  r.slot = &slot;
  return r;
}
Result OfText(const RWCString& text) {
  Result r;
  r.texts = {Text(text)};
  return r;
}
Result OfNumber(int number) {
  Result r;
  r.number = number;
  return r;
}
Result OfArray(String_Arr* array) {
  const std::unique_ptr<String_Arr> owner(array);
  if (array == nullptr) return OfNumber(-1);
  Result r = OfNumber(array->GetInsertedNum());
  for (int i = 0; i < array->GetArrLen(); ++i) r.texts.emplace_back(array->GetStr(i));
  return r;
}
Result OfArray(Tree_PathAndValueArray* array) {
  const std::unique_ptr<Tree_PathAndValueArray> owner(array);
  if (array == nullptr) return OfNumber(-1);
  Result r = OfNumber(array->GetArrLen());
  for (int i = 0; i < array->GetArrLen(); ++i) {
    // Both fields whole, what stands behind a zero byte included.
    Tree_ValueAndPath* const pair = array->GetPV(i);
    r.texts.emplace_back(pair->GetPath(), Tree_ValueAndPath::kPathWidth);
    r.texts.emplace_back(pair->GetValue(), Tree_ValueAndPath::kValueWidth);
  }
  return r;
}

// --- What is asked -------------------------------------------------------------------

struct Question {
  Tree_NodePtr start;
  Tree_NodePtr* this_ptr;
  RWCString path;
  RWCString name;
  int index;
  int strip_top;
};

struct Operation {
  const char* name;
  bool this_ptr_may_be_null;
  Result (*literal)(Question& q, Tree_Path& reader);
  Result (*library)(Question& q, Tree_Path& reader);
};

#define OPERATION(name, null_ok, made_of, literally, library) \
  {                                                           \
    name, null_ok,                                            \
        [](Question& q, Tree_Path& reader) {                  \
          (void)reader;                                       \
          return made_of(literally);                          \
        },                                                    \
        [](Question& q, Tree_Path& reader) {                  \
          (void)reader;                                       \
          return made_of(library);                            \
        }                                                     \
  }

const Operation kOperations[] = {
    OPERATION("GetPath", true, OfText, literal::GetPath(*q.start), q.start->GetPath()),
    OPERATION("Get text", true, OfHandle, literal::Get(*q.start, q.name.data(), *q.this_ptr),
              q.start->Get(q.name.data(), *q.this_ptr)),
    OPERATION("Get", true, OfHandle, literal::Get(*q.start, q.name, *q.this_ptr),
              q.start->Get(q.name, *q.this_ptr)),
    OPERATION("Get pointer", true, OfNode, literal::Get(*q.start, q.name, q.this_ptr->get()),
              q.start->Get(q.name, q.this_ptr->get())),
    OPERATION("GetByRef", true, OfSlot, literal::GetByRef(*q.start, q.name, *q.this_ptr),
              q.start->GetByRef(q.name, *q.this_ptr)),
    OPERATION("GetRelativeNode", true, OfHandle,
              literal::GetRelativeNode(*q.start, reader, *q.this_ptr),
              q.start->GetRelativeNode(reader, *q.this_ptr)),
    OPERATION("GetRelativeNodeByRef", true, OfSlot,
              literal::GetRelativeNodeByRef(*q.start, reader, *q.this_ptr),
              q.start->GetRelativeNodeByRef(reader, *q.this_ptr)),
    OPERATION("GetRelativeSubTree", false, OfHandle,
              literal::GetRelativeSubTree(*q.start, reader, *q.this_ptr),
              q.start->GetRelativeSubTree(reader, *q.this_ptr)),
    OPERATION("GetRelativeSubTreeByRef", false, OfSlot,
              literal::GetRelativeSubTreeByRef(*q.start, reader, *q.this_ptr),
              q.start->GetRelativeSubTreeByRef(reader, *q.this_ptr)),
    OPERATION("GetRelativeSubTree index", true, OfHandle,
              literal::GetRelativeSubTree(*q.start, q.path, q.index, *q.this_ptr),
              q.start->GetRelativeSubTree(q.path, q.index, *q.this_ptr)),
    OPERATION("GetRelativeSubTreeByRef index", true, OfSlot,
              literal::GetRelativeSubTreeByRef(*q.start, q.path, q.index, *q.this_ptr),
              q.start->GetRelativeSubTreeByRef(q.path, q.index, *q.this_ptr)),
    OPERATION("Search", true, OfArray, literal::Search(*q.start, q.path, *q.this_ptr, q.strip_top),
              q.start->Search(q.path, *q.this_ptr, q.strip_top)),
    OPERATION("GetValue", true, OfText, literal::GetValue(*q.start, q.path, *q.this_ptr),
              q.start->GetValue(q.path, *q.this_ptr)),
    OPERATION("GetValue index", true, OfText,
              literal::GetValue(*q.start, q.path, q.index, *q.this_ptr),
              q.start->GetValue(q.path, q.index, *q.this_ptr)),
    OPERATION("GetValueName", true, OfText,
              literal::GetValueName(*q.start, q.path, q.index, *q.this_ptr),
              q.start->GetValueName(q.path, q.index, *q.this_ptr)),
    OPERATION("GetValueNum", true, OfNumber, literal::GetValueNum(*q.start, q.path, *q.this_ptr),
              q.start->GetValueNum(q.path, *q.this_ptr)),
    OPERATION("GetSubTreeNum", true, OfNumber,
              literal::GetSubTreeNum(*q.start, q.path, *q.this_ptr),
              q.start->GetSubTreeNum(q.path, *q.this_ptr)),
    OPERATION("GetTreeNodeEntriesCount", true, OfNumber,
              literal::GetTreeNodeEntriesCount(*q.this_ptr),
              q.start->GetTreeNodeEntriesCount(*q.this_ptr)),
    OPERATION("GetSubTreeEntriesCount", true, OfNumber,
              literal::GetSubTreeEntriesCount(*q.start, q.path, *q.this_ptr),
              q.start->GetSubTreeEntriesCount(q.path, *q.this_ptr)),
    OPERATION("GetSubTreePaths", true, OfArray,
              literal::GetSubTreePaths(*q.start, q.path, *q.this_ptr),
              q.start->GetSubTreePaths(q.path, *q.this_ptr)),
    OPERATION("GetSubTreeValues", true, OfArray,
              literal::GetSubTreeValues(*q.start, q.path, *q.this_ptr),
              q.start->GetSubTreeValues(q.path, *q.this_ptr)),
};

#undef OPERATION

// --- Random trees, changes and paths -------------------------------------------------

RWCString RandomName(Random& random) {
  static const RWCString kOdd[] = {"",
                                   " a",
                                   "a ",
                                   " ",
                                   "\t",
                                   "A",
                                   "ab",
                                   "%s%d",
                                   "a\\b",
                                   "\\",
                                   Bytes("a\0b"),
                                   Bytes("a\0c"),
                                   Bytes("a\0"),
                                   Bytes("b\0a"),
                                   Bytes("\0"),
                                   Bytes("\0a"),
                                   RWCString(std::string(300, 'l').c_str())};
  switch (random.Below(4)) {
    case 0:
      return kOdd[static_cast<std::size_t>(random.Below(sizeof kOdd / sizeof kOdd[0]))];
    case 1:
      return RWCString(("n" + std::to_string(random.Below(60))).c_str());
    default: {
      const char letter = static_cast<char>('a' + random.Below(4));
      return RWCString(&letter, 1);
    }
  }
}

RWCString RandomValue(Random& random) {
  switch (random.Below(8)) {
    case 0:
      return RWCString();
    case 1:
      return Bytes("v\0w");
    case 2:
      return random.OneIn(4) ? RWCString(std::string(4000, 'v').c_str()) : RWCString("long");
    default:
      return RWCString(std::to_string(random.Below(10)).c_str());
  }
}

Tree_NodePtr RandomNode(Random& random) {
  const RWCString name = RandomName(random);
  return random.OneIn(2) ? Inner(name) : Leaf(name, RandomValue(random), random.Below(2));
}

// Two trees.  Starting nodes come from either, and this_ptr from the other one too.
struct World {
  Tree_NodePtr top;
  Tree_NodePtr elsewhere;

  // Every node, in pre-order; a node that is listed twice comes twice.
  std::vector<Tree_NodePtr> Nodes() const {
    std::vector<Tree_NodePtr> nodes;
    Append(top, nodes);
    Append(elsewhere, nodes);
    return nodes;
  }

  static void Append(const Tree_NodePtr& node, std::vector<Tree_NodePtr>& nodes) {
    nodes.push_back(node);
    for (int i = 0; i < node->GetChildCount(); ++i) Append(node->GetChildAt(i), nodes);
  }

  static bool Contains(const Tree_NodePtr& node, const Tree_NodePtr& sought) {
    if (node == sought) return true;
    for (int i = 0; i < node->GetChildCount(); ++i) {
      if (Contains(node->GetChildAt(i), sought)) return true;
    }
    return false;
  }
};

Tree_NodePtr RandomInner(Random& random, const std::vector<Tree_NodePtr>& nodes) {
  for (int attempt = 0; attempt < 20; ++attempt) {
    const Tree_NodePtr& node =
        nodes[static_cast<std::size_t>(random.Below(static_cast<int>(nodes.size())))];
    if (!node->IsLeaf()) return node;
  }
  return nodes[0];  // a top node
}

Tree_NodePtr RandomTree(Random& random, int size) {
  Tree_NodePtr top = Inner(RandomName(random));
  std::vector<Tree_NodePtr> nodes = {top};
  for (int i = 1; i < size; ++i) {
    Tree_NodePtr parent = RandomInner(random, nodes);
    Tree_NodePtr node = RandomNode(random);
    parent->Insert(node, random.Below(parent->GetChildCount() + 1), random.Below(4) - 1);
    nodes.push_back(node);
  }
  return top;
}

World RandomWorld(Random& random) {
  World world;
  world.top = RandomTree(random, 1 + random.Below(40));
  world.elsewhere = RandomTree(random, 1 + random.Below(10));
  for (int wides = random.Below(5) - 2; wides > 0; --wides) {
    Tree_NodePtr wide = RandomInner(random, world.Nodes());
    const int width = 30 + random.Below(171);
    for (int i = 0; i < width; ++i) {
      Tree_NodePtr node = RandomNode(random);
      wide->Insert(node, random.Below(wide->GetChildCount() + 1), -1);
    }
  }
  if (random.OneIn(4)) {
    RWCString above(random.OneIn(2) ? "sys\\main" : "sys");
    world.top->SetVirtualParentPath(above);
  }
  return world;
}

// One change that a client may make.
void Change(World& world, Random& random) {
  std::vector<Tree_NodePtr> nodes = world.Nodes();
  Tree_NodePtr node = nodes[static_cast<std::size_t>(random.Below(static_cast<int>(nodes.size())))];
  Tree_NodePtr inner = RandomInner(random, nodes);
  const int count = inner->GetChildCount();
  const bool is_top = node == world.top || node == world.elsewhere;
  switch (random.Below(10)) {
    case 0:
      node->SetKeyName(RandomName(random));
      break;
    case 1: {  // a rename while the parent pointer names nobody
      Tree_Node* const parent = node->GetParent();
      node->SetParent(nullptr);
      node->SetKeyName(RandomName(random));
      node->SetParent(parent);
      break;
    }
    case 2:
      if (count > 0) inner->Remove(random.Below(count));
      break;
    case 3: {
      Tree_NodePtr made = RandomNode(random);
      inner->Insert(made, random.Below(count + 1), -1);
      break;
    }
    case 4:  // a move
      if (!is_top && !World::Contains(node, inner)) {
        const bool here = node->GetParent() == inner.get();
        inner->Insert(node, random.Below(here ? count : count + 1), -1);
      }
      break;
    case 5:  // a node in two lists
      if (random.OneIn(4) && !is_top && !World::Contains(node, inner)) {
        node->SetParent(nullptr);
        inner->Insert(node, random.Below(count + 1), -1);
      }
      break;
    case 6:
      if (!node->IsLeaf() && random.OneIn(2)) {
        if (node->GetTreeValue() == nullptr) node->SetTreeValue(new Tree_Value("inner", 0));
      } else if (node->IsLeaf() && node->GetTreeValue() != nullptr) {
        if (random.OneIn(2)) {
          node->Destroy();
        } else {
          delete node->GetTreeValue();
          node->SetTreeValue(nullptr);
        }
      }
      break;
    case 7:
      if (random.OneIn(8) && !node->IsLeaf()) node->Destroy();
      break;
    case 8:
      if (nodes.size() < 300) {
        Tree_NodePtr copy = node->DuplicateFromHereDown(true);
        inner->Insert(copy, random.Below(count + 1), -1);
      }
      break;
    default:  // several renames among the children of one node
      for (int i = 0; i < count; ++i) {
        if (random.OneIn(4)) inner->GetChildAt(i)->SetKeyName(RandomName(random));
      }
      break;
  }
}

// Names made after the clock differ between two equal trees.
std::string WithoutClock(const std::string& text) {
  static const std::string kMade = "undefined_tree";
  std::string result;
  std::size_t at = 0;
  for (;;) {
    const std::size_t found = text.find(kMade, at);
    if (found == std::string::npos) return result + text.substr(at);
    result += text.substr(at, found - at) + kMade + '#';
    at = found + kMade.size();
    while (at < text.size() && text[at] >= '0' && text[at] <= '9') ++at;
  }
}

RWCString RandomPath(Random& random, const Tree_NodePtr& start) {
  std::vector<RWCString> segments;
  if (!random.OneIn(3)) {
    // The names on a way down from the start, and perhaps something behind or amiss.
    Tree_NodePtr node = start;
    while (node->GetChildCount() > 0 && !random.OneIn(4)) {
      node = node->GetChildAt(random.Below(node->GetChildCount()));
      const std::string name = Text(node->GetKeyName());
      segments.push_back(WithoutClock(name) == name ? node->GetKeyName() : RWCString("z"));
    }
    if (random.OneIn(5)) segments.push_back(RandomName(random));
    if (!segments.empty() && random.OneIn(8)) segments.back() = RandomName(random);
  } else {
    const int count = random.Below(5);
    for (int i = 0; i < count; ++i) segments.push_back(RandomName(random));
  }
  if (random.OneIn(8)) {
    segments.insert(segments.begin() + random.Below(static_cast<int>(segments.size()) + 1),
                    RWCString());
  }
  RWCString path;
  for (std::size_t i = 0; i < segments.size(); ++i) {
    if (i > 0) path.append("\\");
    path.append(segments[i]);
  }
  return path;
}

int RandomIndex(Random& random) {
  switch (random.Below(12)) {
    case 0:
      return -1;
    case 1:
      return random.OneIn(2) ? INT_MAX : INT_MIN;
    case 2:
      return random.Below(200);
    default:
      return random.Below(4);
  }
}

// --- Comparing -------------------------------------------------------------------------

// The lines of the tree; those of interning come whenever its buffer is full.
std::vector<LogLine> TreeLines(LogCapture& log) {
  std::vector<LogLine> lines;
  for (LogLine& line : log.Take()) {
    line.text = WithoutClock(line.text);
    if (line.category == 501) lines.push_back(std::move(line));
  }
  return lines;
}

void ExpectSameLines(const std::vector<LogLine>& literally, const std::vector<LogLine>& library) {
  if (literally == library) return;
  std::size_t i = 0;
  while (i < literally.size() && i < library.size() && literally[i] == library[i]) ++i;
  ADD_FAILURE() << "log differs from line " << i << "\nliterally: "
                << testing::PrintToString(std::vector<LogLine>(
                       literally.begin() + static_cast<std::ptrdiff_t>(i), literally.end()))
                << "\nlibrary: "
                << testing::PrintToString(std::vector<LogLine>(
                       library.begin() + static_cast<std::ptrdiff_t>(i), library.end()));
}

int RandomLevel(Random& random) {
  return random.OneIn(3) ? 3 + random.Below(4) : 7;
}

// Where a reader stands.
std::string StateOf(Tree_Path& reader) {
  const int before = reader.IsOnlyRoot();
  const std::string next = Text(reader.GetRoot());
  return std::to_string(before) + " " + next + " " + std::to_string(reader.IsOnlyRoot());
}

Tree_Path Reader(const RWCString& path, int taken) {
  Tree_Path reader(path);
  for (int i = 0; i < taken; ++i) reader.GetRootAsCharPtr();
  return reader;
}

void Ask(World& world, Random& random) {
  const std::vector<Tree_NodePtr> nodes = world.Nodes();
  const auto any = [&] {
    return nodes[static_cast<std::size_t>(random.Below(static_cast<int>(nodes.size())))];
  };
  const Operation& operation = kOperations[static_cast<std::size_t>(
      random.Below(sizeof kOperations / sizeof kOperations[0]))];
  Question q;
  q.start = random.OneIn(2) ? world.top : any();
  Tree_NodePtr this_ptr = random.Below(3) > 0 ? q.start : any();
  if (operation.this_ptr_may_be_null && random.OneIn(12)) this_ptr = Tree_NodePtr();
  q.this_ptr = &this_ptr;
  q.path = RandomPath(random, q.start);
  q.name = q.start->GetChildCount() > 0 && random.OneIn(2)
               ? q.start->GetChildAt(random.Below(q.start->GetChildCount()))->GetKeyName()
               : RandomName(random);
  q.index = RandomIndex(random);
  q.strip_top = random.Below(3) - 1;
  const int taken = random.OneIn(5) ? random.Below(3) : 0;
  const int walks = random.OneIn(4) ? 2 : 1;
  SCOPED_TRACE(testing::Message() << operation.name << ", path "
                                  << testing::PrintToString(Text(q.path)) << ", name "
                                  << testing::PrintToString(Text(q.name)) << ", index " << q.index
                                  << ", strip " << q.strip_top << ", " << taken << " taken, "
                                  << walks << " walks, from "
                                  << testing::PrintToString(Text(q.start->GetPath())));

  LogCapture log(RandomLevel(random));
  Tree_Path literal_reader = Reader(q.path, taken);
  Tree_Path library_reader = Reader(q.path, taken);
  for (int walk = 0; walk < walks; ++walk) {
    const Result literally = operation.literal(q, literal_reader);
    const std::vector<LogLine> literal_lines = TreeLines(log);
    const Result library = operation.library(q, library_reader);
    ExpectSameLines(literal_lines, TreeLines(log));
    EXPECT_EQ(literally, library);
  }
  EXPECT_EQ(StateOf(literal_reader), StateOf(library_reader));
}

// A node with everything below it, in text.
std::string Dump(const Tree_NodePtr& node) {
  std::ostringstream out;
  out << testing::PrintToString(WithoutClock(Text(node->GetKeyName())))
      << (node->IsLeaf() ? "=" : "");
  if (Tree_Value* const value = node->GetTreeValue()) {
    out << testing::PrintToString(Text(value->GetValue())) << value->IsChange();
  }
  if (node->GetId() != 0) out << "#" << node->GetId();
  if (node->GetChildCount() > 0) out << "(";
  for (int i = 0; i < node->GetChildCount(); ++i) {
    const Tree_NodePtr& child = node->GetChildAt(i);
    out << (child->GetParent() == node.get() ? " " : " other parent:") << Dump(child);
  }
  if (node->GetChildCount() > 0) out << ")";
  return out.str();
}

// Which node of a world a node is, by its place in pre-order.
std::string PlaceOf(const World& world, const Tree_NodePtr& node) {
  if (node.isNull()) return "null";
  const std::vector<Tree_NodePtr> nodes = world.Nodes();
  const auto found = std::find(nodes.begin(), nodes.end(), node);
  if (found != nodes.end()) return "node " + std::to_string(found - nodes.begin());
  return (node->GetParent() == nullptr ? "nowhere " : "below something ") + Dump(node);
}

// Creation, step by step in one world and by the library in its twin.
void Create(World& world, World& twin, Random& random) {
  const std::vector<Tree_NodePtr> nodes = world.Nodes();
  const std::vector<Tree_NodePtr> twin_nodes = twin.Nodes();
  ASSERT_EQ(nodes.size(), twin_nodes.size());
  const int size = static_cast<int>(nodes.size());
  const std::size_t start = random.OneIn(2) ? 0 : static_cast<std::size_t>(random.Below(size));
  const std::size_t other =
      random.Below(3) > 0 ? start : static_cast<std::size_t>(random.Below(size));
  Tree_NodePtr this_ptr = nodes[other];
  Tree_NodePtr twin_this_ptr = twin_nodes[other];
  if (random.OneIn(12)) this_ptr = twin_this_ptr = Tree_NodePtr();
  const RWCString path = RandomPath(random, nodes[start]);
  const int taken = random.OneIn(5) ? random.Below(3) : 0;
  const bool other_name = random.OneIn(2);
  const int walks = random.OneIn(4) ? 2 : 1;
  SCOPED_TRACE(testing::Message() << "creation, path " << testing::PrintToString(Text(path)) << ", "
                                  << taken << " taken, " << walks << " walks, from "
                                  << testing::PrintToString(Text(nodes[start]->GetPath())));

  Tree_Path literal_reader = Reader(path, taken);
  Tree_Path library_reader = Reader(path, taken);
  LogCapture log(RandomLevel(random));
  for (int walk = 0; walk < walks; ++walk) {
    Tree_NodePtr literally =
        literal::GetOrCreateRelativeNode(*nodes[start], literal_reader, this_ptr);
    const std::vector<LogLine> literal_lines = TreeLines(log);
    Tree_NodePtr library =
        other_name
            ? twin_nodes[start]->GetOrCreateUnProtectedRelativeNode(library_reader, twin_this_ptr)
            : twin_nodes[start]->GetOrCreateRelativeNode(library_reader, twin_this_ptr);
    ExpectSameLines(literal_lines, TreeLines(log));
    EXPECT_EQ(PlaceOf(world, literally), PlaceOf(twin, library));
    EXPECT_EQ(Dump(world.top), Dump(twin.top));
    EXPECT_EQ(Dump(world.elsewhere), Dump(twin.elsewhere));
    log.Take();
  }
  EXPECT_EQ(StateOf(literal_reader), StateOf(library_reader));
}

std::uint32_t FromEnvironment(const char* name, std::uint32_t otherwise) {
  const char* const text = std::getenv(name);
  return text == nullptr ? otherwise : static_cast<std::uint32_t>(std::strtoul(text, nullptr, 10));
}

TEST(LiteralComposition, AgreesWithTheLibraryOnRandomTrees) {
  const std::uint32_t rounds = FromEnvironment("TREE_TEST_ROUNDS", 600);
  // One seed for the whole process: a test that is run again sees the same trees.
  static const std::uint32_t seed = FromEnvironment("TREE_TEST_SEED", std::random_device()());
  InternNamesMadeAfterTheClock();
  std::cout << "seed " << seed << ", " << rounds << " rounds" << std::endl;
  for (std::uint32_t round = 0; round < rounds && !HasFailure(); ++round) {
    SCOPED_TRACE(testing::Message() << "TREE_TEST_SEED=" << seed + round << " TREE_TEST_ROUNDS=1");
    Random random(seed + round);
    Random same = random;
    World world = RandomWorld(random);
    World twin = RandomWorld(same);
    std::unique_ptr<SeparatorGuard> separator;
    if (random.OneIn(8)) separator.reset(new SeparatorGuard(random.OneIn(3) ? "" : "::"));
    for (int step = 0; step < 30 && !HasFailure(); ++step) {
      SCOPED_TRACE(testing::Message() << "step " << step);
      switch (random.Below(10)) {
        case 0:
        case 1:
          same = random;
          Change(world, random);
          Change(twin, same);
          break;
        case 2:
        case 3:
          Create(world, twin, random);
          break;
        default:
          Ask(random.OneIn(2) ? world : twin, random);
          break;
      }
    }
  }
}

// Every operation on one tree and a list of paths, so that each of them is met even
// when few rounds are asked for.
TEST(LiteralComposition, AgreesOnEveryOperationAndPathOfASmallTree) {
  Tree_NodePtr top = Inner(
      "cfg", {Leaf("x", "1"), Inner("a", {Leaf("x", "2"), Inner("b", {Leaf("y", "3")}), Inner("")}),
              Inner("a", {Leaf("z", "4")}), LeafWithoutValue("gone"), Leaf(Bytes("b\0c"), "5")});
  Tree_NodePtr elsewhere = Inner("elsewhere", {Inner("only")});
  Tree_NodePtr null;
  for (const Operation& operation : kOperations) {
    SCOPED_TRACE(operation.name);
    for (const char* path : {"", "x", "a", "a\\b", "a\\b\\y", "a\\z", "z", "\\a", "a\\", "a\\\\b",
                             "gone", "b", "x\\y", "only", "a\\x\\y"}) {
      SCOPED_TRACE(path);
      for (int index : {-1, 0, 1, 2, 4, 5}) {
        for (Tree_NodePtr* this_ptr : {&top, &elsewhere, &null}) {
          if (this_ptr == &null && !operation.this_ptr_may_be_null) continue;
          LogCapture log;
          Question q = {top, this_ptr, path, path, index, index % 2};
          Tree_Path literal_reader(q.path);
          Tree_Path library_reader(q.path);
          const Result literally = operation.literal(q, literal_reader);
          const std::vector<LogLine> literal_lines = TreeLines(log);
          const Result library = operation.library(q, library_reader);
          ExpectSameLines(literal_lines, TreeLines(log));
          EXPECT_EQ(literally, library);
        }
      }
    }
  }
}

}  // namespace
