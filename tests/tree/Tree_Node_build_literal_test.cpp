// Building and converting beside the same operations put together step by step from
// one-level and path calls.  Both get the same random records and trees, valid ones and
// every kind of odd ones, and must agree on the tree, on the lines of levels 3 to 6, and
// on failing.
//
//   TREE_TEST_ROUNDS  number of random lists (20,000) and trees (10,000)
//   TREE_TEST_SEED    seed of the first one (a new one every time); a failure names
//                     the seed of its round, to be repeated with one round

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <iostream>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "Tree/Tree_Node.h"
#include "Zel/Zel_LogFile.h"
#include "property/settings.h"
#include "support/LogCapture.h"
#include "support/TreeMaking.h"
#include "support/TreeRecords.h"

namespace {

// --- Building, step by step ---------------------------------------------------------

void Write(int level, const char* text) {
  if (ZelGLog.StoreParams("Tree/Tree_Node", "Tree_Node::BuildSubTree", __LINE__, level, 501, 1)) {
    ZelGLog.Log("%s", text);
  }
}
void Write(int level, const char* format, const RWCString& argument) {
  if (ZelGLog.StoreParams("Tree/Tree_Node", "Tree_Node::BuildSubTree", __LINE__, level, 501, 1)) {
    ZelGLog.Log(format, argument.data());
  }
}

constexpr char kBackslash = '\\';
constexpr std::size_t kNoCut = std::string::npos;

// Where the common ancestor of two paths ends in both of them.
std::size_t CutOf(const std::string& previous, const std::string& next) {
  const std::string& shorter = previous.size() <= next.size() ? previous : next;
  const std::string& longer = previous.size() <= next.size() ? next : previous;
  std::size_t equal = 0;
  while (equal < shorter.size() && shorter[equal] == longer[equal]) ++equal;
  if (equal == shorter.size() && (longer.size() == shorter.size() || longer[equal] == kBackslash)) {
    return equal;
  }
  for (std::size_t i = equal; i > 0; --i) {
    if (shorter[i - 1] == kBackslash) return i - 1;
  }
  return kNoCut;
}

// The handle of the node `levels` above, out of its parent's children; `node` itself when
// there is none.
Tree_NodePtr ClimbFrom(const Tree_NodePtr& node, std::size_t levels) {
  Tree_Node* reached = node.get();
  for (; levels > 0 && reached != nullptr; --levels) reached = reached->GetParent();
  if (reached == nullptr || reached->GetParent() == nullptr) return node;
  Tree_Node* const parent = reached->GetParent();
  for (int i = 0; i < parent->GetChildCount(); ++i) {
    if (parent->GetChildAt(i).get() == reached) return parent->GetChildAt(i);
  }
  return node;
}

Tree_NodePtr DescendFrom(Tree_NodePtr& node, const std::string& path) {
  if (node.isNull()) return Tree_NodePtr();
  Tree_Path reader(Bytes(path));
  return node->GetOrCreateRelativeNode(reader, node);
}

class LiteralBuilder {
 public:
  Tree_NodePtr Build(RecordList* list, const RWCString& root_path) {
    const std::string whole = Text(root_path);
    if (whole.empty()) return Tree_NodePtr();
    const std::string name = whole.substr(whole.rfind(kBackslash) + 1);
    if (name.empty()) return Tree_NodePtr();
    m_root = Tree_NodePtr(new Tree_Node(Bytes(name)));
    Write(6, "BuildSubTree :: Start build <%s>\n", root_path);
    const std::size_t count = list == nullptr ? 0 : list->entries();
    std::size_t done = 0;
    while (done < count && Place(*list->at(done))) delete list->at(done++);
    if (done < count) {
      Write(3, "path_elem_parent_path\n");
      m_root = Tree_NodePtr();
    }
    for (std::size_t i = done; i < count; ++i) delete list->at(i);
    delete list;
    if (m_root.isNull()) return m_root;
    RWCString path = root_path;
    m_root->SetVirtualParentPath(path);
    Write(6, "BuildSubTree :: End build <%s>\n", root_path);
    return m_root;
  }

 private:
  bool Place(Tree_NodeInfo& record) {
    const std::string parent_path = Text(record.GetParentPath());
    const std::string path = Text(record.GetPath());
    const std::string name = Resolve(parent_path, path);
    m_previous_path = path;
    if (m_parent.isNull()) {
      Write(3, "there is an element without a root in the vec:");
      return false;
    }
    Tree_Path reader(Bytes(name));
    if (!m_parent->GetRelativeNode(reader, m_parent).isNull()) {
      Write(5, "entry exists for path %s skip it\n", Bytes(path));
      return true;
    }
    if (!record.GetValue().isNull()) {
      Tree_NodePtr leaf(
          new Tree_Node(Bytes(name), new Tree_Value(record.GetValue(), record.IsChange())));
      m_parent->Add(leaf);
      return true;
    }
    m_last_inner = Tree_NodePtr(new Tree_Node(Bytes(name)));
    m_parent->Add(m_last_inner);
    return true;
  }

  // Sets the parent, and yields the name below it.
  std::string Resolve(const std::string& parent_path, const std::string& path) {
    if (parent_path.empty()) {
      m_parent = m_root;
      m_previous_parent_path.clear();
      return path;
    }
    if (parent_path != m_previous_parent_path) {
      if (parent_path == m_previous_path) {
        m_parent = m_last_inner;
      } else {
        MoveTo(parent_path);
      }
      m_previous_parent_path = parent_path;
    }
    return path.substr(std::min(path.size(), parent_path.size() + 1));
  }

  void MoveTo(const std::string& parent_path) {
    const std::size_t cut = CutOf(m_previous_parent_path, parent_path);
    if (cut == kNoCut) {
      m_parent = DescendFrom(m_root, parent_path);
      return;
    }
    if (m_previous_parent_path.size() > cut) {
      std::size_t levels = 1;
      for (std::size_t i = cut + 1; i < m_previous_parent_path.size(); ++i) {
        if (m_previous_parent_path[i] == kBackslash) ++levels;
      }
      m_parent = ClimbFrom(m_parent, levels);
    }
    if (parent_path.size() > cut) m_parent = DescendFrom(m_parent, parent_path.substr(cut + 1));
  }

  Tree_NodePtr m_root;
  Tree_NodePtr m_parent;
  Tree_NodePtr m_last_inner;
  std::string m_previous_parent_path;
  std::string m_previous_path;
};

// --- Converting, step by step ----------------------------------------------------------

template <class Put>
void LiteralConvert(Tree_NodePtr& node, const RWCString& parent_path, Put put) {
  std::unique_ptr<Tree_NodeInfo> record(new Tree_NodeInfo);
  RWCString path = parent_path;
  if (!parent_path.isNull()) path.append(Tree_Node::separator);
  path.append(node->GetKeyName());
  record->SetPath(path);
  if (node->IsLeaf()) {
    Tree_Value* const held = node->GetTreeValue();
    RWCString value = held == nullptr ? RWCString() : held->GetValue();
    record->SetValue(value);
    record->SetIsChange(held == nullptr ? 0 : held->IsChange());
  }
  record->SetParentPathIndex(static_cast<int>(parent_path.length()));
  put(record.release());
  for (int i = 0; i < node->GetChildCount(); ++i) LiteralConvert(node->GetChildAt(i), path, put);
}

// --- Random records -----------------------------------------------------------------------

class Random {
 public:
  explicit Random(std::uint64_t seed) : m_engine(static_cast<std::uint32_t>(seed * 2654435761u)) {}

  // From 0 to n - 1; 0 when n is not positive.
  int Below(int n) {
    return n <= 0 ? 0 : static_cast<int>(m_engine() % static_cast<std::uint32_t>(n));
  }
  bool OneIn(int n) { return Below(n) == 0; }
  template <class T>
  const T& OneOf(const std::vector<T>& all) {
    return all[static_cast<std::size_t>(Below(static_cast<int>(all.size())))];
  }

 private:
  std::minstd_rand m_engine;
};

// How odd the names of one list or tree are.
struct Habits {
  explicit Habits(Random& random)
      : letters(1 + random.Below(4)),
        odd_names(random.OneIn(2) ? 0 : 2 + random.Below(10)),
        odd_paths(random.OneIn(2) ? 0 : 2 + random.Below(10)),
        wrong_indexes(random.OneIn(2) ? 0 : 2 + random.Below(10)),
        leaves(1 + random.Below(4)),
        depth(1 + random.Below(5)) {}

  static bool Now(Random& random, int one_in) { return one_in > 0 && random.OneIn(one_in); }

  int letters;
  int odd_names;
  int odd_paths;
  int wrong_indexes;
  int leaves;
  int depth;
};

std::string RandomName(Random& random, const Habits& habits) {
  static const std::vector<std::string> kOdd = {"",
                                                " ",
                                                "  ",
                                                " a",
                                                "b ",
                                                " a ",
                                                "A",
                                                "B",
                                                "aB",
                                                "a!",
                                                "ab",
                                                "a b",
                                                "\t",
                                                "%s%d",
                                                "\xe4",
                                                std::string("a\0b", 3),
                                                std::string("\0", 1),
                                                std::string("b\0", 2)};
  if (Habits::Now(random, habits.odd_names)) return random.OneOf(kOdd);
  return std::string(1, static_cast<char>('a' + random.Below(habits.letters)));
}

std::string RandomPath(Random& random, const Habits& habits) {
  std::string path;
  for (int parts = 1 + random.Below(habits.depth); parts > 0; --parts) {
    path += RandomName(random, habits);
    if (parts > 1) path += kBackslash;
  }
  if (Habits::Now(random, habits.odd_paths)) {
    path.insert(static_cast<std::size_t>(random.Below(static_cast<int>(path.size()) + 1)), 1,
                kBackslash);
  }
  if (Habits::Now(random, 3 * habits.odd_paths)) path.insert(0, 1, kBackslash);
  if (Habits::Now(random, 3 * habits.odd_paths)) path += kBackslash;
  return path;
}

RWCString RandomValue(Random& random) {
  static const std::vector<RWCString> kOdd = {"", " ", Bytes("v\0w"), Bytes("\0"), "%s"};
  if (random.OneIn(8)) return random.OneOf(kOdd);
  const char digit = static_cast<char>('0' + random.Below(10));
  return RWCString(&digit, 1);
}

int RandomFlag(Random& random) {
  return random.OneIn(3) ? 1 : random.OneIn(10) ? -7 : 0;
}

int RandomIndex(Random& random, const std::string& path) {
  switch (random.Below(10)) {
    case 0:
      return random.OneIn(2) ? INT_MAX : INT_MIN;
    case 1:
      return -1 - random.Below(5);
    case 2:
      return static_cast<int>(path.size()) + random.Below(3);
    default:
      return random.Below(static_cast<int>(path.size()) + 1);
  }
}

struct Record {
  std::string path;
  int index;
  bool has_value;
  RWCString value;
  int is_change;

  friend std::ostream& operator<<(std::ostream& out, const Record& r) {
    out << testing::PrintToString(r.path) << "@" << r.index;
    if (r.has_value) out << "=" << testing::PrintToString(Text(r.value)) << "*" << r.is_change;
    return out;
  }
};

Record RandomRecord(Random& random, const Habits& habits) {
  Record record;
  record.path = RandomPath(random, habits);
  const std::size_t last = record.path.rfind(kBackslash);
  record.index = last == std::string::npos ? 0 : static_cast<int>(last);
  if (Habits::Now(random, habits.wrong_indexes)) record.index = RandomIndex(random, record.path);
  record.has_value = random.Below(5) < habits.leaves;
  if (record.has_value) record.value = RandomValue(random);
  record.is_change = RandomFlag(random);
  return record;
}

Tree_NodePtr RandomTree(Random& random, const Habits& habits, int size) {
  Tree_NodePtr top = Inner(Bytes(RandomName(random, habits)));
  std::vector<Tree_NodePtr> inner = {top};
  for (int i = 1; i < size; ++i) {
    Tree_NodePtr parent = random.OneOf(inner);
    const RWCString name = Bytes(RandomName(random, habits));
    Tree_NodePtr node;
    if (random.Below(5) < habits.leaves) {
      node = random.OneIn(10) ? LeafWithoutValue(name)
                              : Leaf(name, RandomValue(random), RandomFlag(random));
    } else {
      node = Inner(name);
      inner.push_back(node);
      if (random.OneIn(10)) node->SetTreeValue(new Tree_Value("inner", 1));
    }
    parent->Insert(node, random.Below(parent->GetChildCount() + 1), -1);
  }
  return top;
}

// The records of a random tree, all or some of them, perhaps with others added.
std::vector<Record> RecordsOfATree(Random& random, const Habits& habits) {
  Tree_NodePtr tree = RandomTree(random, habits, 1 + random.Below(14));
  std::vector<Record> records;
  const auto put = [&](Tree_NodeInfo* made) {
    const std::unique_ptr<Tree_NodeInfo> owner(made);
    if (habits.wrong_indexes > 0 && random.OneIn(6)) return;
    records.push_back({Text(made->GetPath()), static_cast<int>(made->GetParentPath().length()),
                       !made->GetValue().isNull(), made->GetValue(), made->IsChange()});
  };
  if (random.OneIn(3)) {
    LiteralConvert(tree, RWCString(), put);
  } else {
    for (int i = 0; i < tree->GetChildCount(); ++i) {
      LiteralConvert(tree->GetChildAt(i), RWCString(), put);
    }
  }
  while (random.OneIn(3)) records.push_back(RandomRecord(random, habits));
  return records;
}

std::vector<Record> RandomRecords(Random& random) {
  const Habits habits(random);
  if (random.OneIn(3)) return RecordsOfATree(random, habits);
  std::vector<Record> records;
  for (int count = random.Below(random.OneIn(10) ? 60 : 14); count > 0; --count) {
    if (!records.empty() && random.OneIn(8)) {
      // A child of the record before, or another record of an earlier path.
      Record record = random.OneIn(2) ? records.back() : random.OneOf(records);
      record.has_value = random.OneIn(2);
      record.value = record.has_value ? RandomValue(random) : RWCString();
      if (random.OneIn(2)) {
        record.index = static_cast<int>(record.path.size());
        record.path += kBackslash + RandomName(random, habits);
      }
      records.push_back(record);
    } else {
      records.push_back(RandomRecord(random, habits));
    }
  }
  return records;
}

std::string RandomRootPath(Random& random) {
  static const std::vector<std::string> kOdd = {"",
                                                "\\",
                                                "top\\",
                                                "a\\b\\",
                                                "\\top",
                                                "a\\\\b",
                                                " top ",
                                                "a\\ b ",
                                                "a\\b ",
                                                "a\\  ",
                                                "sys\\main\\c",
                                                " ",
                                                "a/b",
                                                "%s",
                                                std::string("a\0b\\c", 5),
                                                std::string("a\\b\0c", 5)};
  return random.OneIn(4) ? random.OneOf(kOdd) : "top";
}

// The records as a list; null stands for none now and then.  In another order than that of
// their paths when `keep_order`.
RecordList* ListOf(const std::vector<Record>& records, bool keep_order, bool null_for_none) {
  if (records.empty() && null_for_none) return nullptr;
  RecordList* const list = new RecordList;
  std::vector<Tree_NodeInfo*> made;
  for (const Record& record : records) {
    Tree_NodeInfo* const info = new Tree_NodeInfo;
    RWCString value = record.value;
    if (record.has_value) info->SetValue(value);
    info->SetIsChange(record.is_change);
    info->SetParentPathIndex(record.index);
    if (!keep_order) SetPath(*info, record.path);
    list->insert(info);
    made.push_back(info);
  }
  for (std::size_t i = 0; keep_order && i < made.size(); ++i) SetPath(*made[i], records[i].path);
  return list;
}

// --- Comparing -------------------------------------------------------------------------------

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

std::vector<LogLine> LinesOfTheTree(LogCapture& log) {
  std::vector<LogLine> lines;
  for (LogLine& line : log.Take()) {
    line.text = WithoutClock(line.text);
    if (line.category == 501) lines.push_back(std::move(line));
  }
  return lines;
}

// A node with everything below it, in text.
void Dump(const Tree_NodePtr& node, std::ostream& out) {
  out << testing::PrintToString(WithoutClock(Text(node->GetKeyName())));
  if (node->IsLeaf()) {
    Tree_Value* const value = node->GetTreeValue();
    out << '=' << (value == nullptr ? "none" : testing::PrintToString(Text(value->GetValue())))
        << '*' << (value == nullptr ? 0 : value->IsChange());
  }
  if (node->GetId() != 0) out << '#' << node->GetId();
  const RWCString above = node->GetVirtualParentPath();
  if (!above.isNull()) out << " below " << testing::PrintToString(Text(above));
  if (node->GetChildCount() > 0) out << '(';
  for (int i = 0; i < node->GetChildCount(); ++i) {
    out << (node->GetChildAt(i)->GetParent() == node.get() ? " " : " other parent:");
    Dump(node->GetChildAt(i), out);
  }
  if (node->GetChildCount() > 0) out << ')';
}

std::string Dump(const Tree_NodePtr& node) {
  if (node.isNull()) return "null";
  std::ostringstream out;
  Dump(node, out);
  return out.str();
}

// --- The tests ------------------------------------------------------------------------------

// What the random lists were; the random tests must meet all of it.
struct Met {
  std::uint64_t built = 0;
  std::uint64_t failed = 0;
  std::uint64_t refused = 0;
  std::uint64_t skipped_records = 0;
  std::uint64_t refused_by_leaves = 0;
  std::uint64_t repaired_names = 0;

  void Count(const std::vector<LogLine>& lines, bool is_null) {
    if (lines.empty()) {
      ++refused;
    } else if (is_null) {
      ++failed;
    } else {
      ++built;
    }
    for (const LogLine& line : lines) {
      if (line.level == 5) ++skipped_records;
      if (line.level == 4) ++repaired_names;
      if (line.level == 3 && line.function == "Tree_Node::Insert") ++refused_by_leaves;
    }
  }
};

void BuildBothWays(Random& random, Tree_NodePtr& asked, Met& met) {
  const std::vector<Record> records = RandomRecords(random);
  const std::string root_path = RandomRootPath(random);
  const bool keep_order = random.OneIn(4);
  const bool null_for_none = random.OneIn(2);
  const int level = random.OneIn(4) ? 3 + random.Below(4) : 6;
  RWCString path = Bytes(root_path);
  RWCString same_path = Bytes(root_path);
  RecordList* const list = ListOf(records, keep_order, null_for_none);
  RecordList* const same_list = ListOf(records, keep_order, null_for_none);

  LogCapture log(level);
  const Tree_NodePtr literally = LiteralBuilder().Build(list, path);
  const std::vector<LogLine> literal_lines = LinesOfTheTree(log);
  const Tree_NodePtr built = asked->BuildSubTree(same_list, same_path);
  const std::vector<LogLine> lines = LinesOfTheTree(log);
  const std::string literal_dump = Dump(literally);
  const std::string dump = Dump(built);
  if (literal_lines != lines || literal_dump != dump || Text(same_path) != root_path) {
    std::ostringstream all;
    for (const Record& record : records) all << "\n  " << record;
    ADD_FAILURE() << "below " << testing::PrintToString(root_path)
                  << (keep_order ? ", in this order:" : ", sorted:") << all.str() << "\nliterally "
                  << literal_dump << "\nlibrary   " << dump << "\nliterally "
                  << testing::PrintToString(literal_lines) << "\nlibrary   "
                  << testing::PrintToString(lines);
  }
  if (level == 6) met.Count(lines, built.isNull());

  // Refused at once: everything is still ours.
  const bool is_refused = root_path.empty() || root_path.back() == kBackslash;
  if (is_refused && list != nullptr) {
    EXPECT_EQ(records.size(), list->entries());
    EXPECT_EQ(TextsOf(*list), TextsOf(*same_list));
    DeleteList(list);
    DeleteList(same_list);
  }
}

TEST(LiteralBuild, AgreesWithTheLibraryOnRandomRecords) {
  const std::uint64_t rounds = settings::Rounds(20'000);
  const std::uint64_t seed = settings::Seed();
  InternNamesMadeAfterTheClock();
  std::cout << "seed " << seed << ", " << rounds << " rounds" << std::endl;
  Tree_NodePtr asked = Inner("asked");
  Met met;
  for (std::uint64_t round = 0; round < rounds && !HasFailure(); ++round) {
    SCOPED_TRACE(testing::Message() << "TREE_TEST_SEED=" << seed + round << " TREE_TEST_ROUNDS=1");
    Random random(seed + round);
    BuildBothWays(random, asked, met);
  }
  std::cout << met.built << " built, " << met.failed << " failed, " << met.refused << " refused, "
            << met.skipped_records << " records skipped, " << met.refused_by_leaves
            << " refused by leaves, " << met.repaired_names << " names repaired" << std::endl;
  EXPECT_EQ("\"asked\"", Dump(asked));
  if (rounds >= 5'000 && !HasFailure()) {
    EXPECT_GT(met.built, rounds / 4);
    EXPECT_GT(met.failed, rounds / 100);
    EXPECT_GT(met.refused, rounds / 100);
    EXPECT_GT(met.skipped_records, rounds / 10);
    EXPECT_GT(met.refused_by_leaves, rounds / 100);
    EXPECT_GT(met.repaired_names, rounds / 100);
  }
}

void ConvertBothWays(Random& random) {
  const Habits habits(random);
  Tree_NodePtr tree = RandomTree(random, habits, 1 + random.Below(25));
  const std::unique_ptr<SeparatorGuard> separator(
      random.OneIn(4) ? new SeparatorGuard(random.OneIn(2) ? "" : "::") : nullptr);
  RWCString parent_path = random.OneIn(2) ? RWCString() : Bytes(RandomPath(random, habits));

  // Four lists that hold the same before: sorted and plain, literally and by the library.
  RecordList sorted;
  RecordList same_sorted;
  std::vector<Tree_NodeInfo*> plain;
  std::vector<Tree_NodeInfo*> same_plain;
  for (int held = random.Below(4); held > 0; --held) {
    Tree_NodeInfo record;
    SetPath(record, RandomPath(random, habits));
    record.SetIsChange(100 + held);
    sorted.insert(new Tree_NodeInfo(record));
    same_sorted.insert(new Tree_NodeInfo(record));
    plain.push_back(new Tree_NodeInfo(record));
    same_plain.push_back(new Tree_NodeInfo(record));
  }
  LiteralConvert(tree, parent_path, [&](Tree_NodeInfo* record) { sorted.insert(record); });
  LiteralConvert(tree, parent_path, [&](Tree_NodeInfo* record) { plain.push_back(record); });
  LogCapture log;
  Tree_Node::ConvertTreeNodeToVec(tree, parent_path, &same_sorted);
  Tree_Node::ConvertTreeToSimpleVec(tree, parent_path, &same_plain);
  EXPECT_NO_LOG(log);
  EXPECT_EQ(TextsOf(sorted), TextsOf(same_sorted)) << Dump(tree);
  EXPECT_EQ(TextsOf(plain), TextsOf(same_plain)) << Dump(tree);
  for (RecordList* list : {&sorted, &same_sorted}) DeleteRecords(*list, list->entries());
  for (std::vector<Tree_NodeInfo*>* list : {&plain, &same_plain}) {
    DeleteRecords(*list, list->size());
  }
}

TEST(LiteralConvert, AgreesWithTheLibraryOnRandomTrees) {
  const std::uint64_t rounds = settings::Rounds(10'000);
  const std::uint64_t seed = settings::Seed();
  std::cout << "seed " << seed << ", " << rounds << " rounds" << std::endl;
  for (std::uint64_t round = 0; round < rounds && !HasFailure(); ++round) {
    SCOPED_TRACE(testing::Message() << "TREE_TEST_SEED=" << seed + round << " TREE_TEST_ROUNDS=1");
    Random random(seed + round);
    ConvertBothWays(random);
  }
}

}  // namespace
