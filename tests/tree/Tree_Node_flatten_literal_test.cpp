// Flattening and serializing beside the same operations put together step by step from
// one-level calls, by plain recursion.  Both run on random trees and must agree on
// records, on bytes, on where records come from and on every line that they write.
//
//   TREE_TEST_ROUNDS  number of random trees (2000)
//   TREE_TEST_SEED    seed of the first one (a new one every time); a failure names
//                     the seed of its round, to be repeated with one round

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <iostream>
#include <memory>
#include <ostream>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "Tree/Tree_Node.h"
#include "Zel/Zel_PoolAllocator.h"
#include "property/settings.h"
#include "support/FlatTrees.h"
#include "support/LogCapture.h"
#include "support/TreeMaking.h"

namespace {

using flat::RecordVec;
using flat::Taken;

// --- The plain way -------------------------------------------------------------

struct PlainRecord {
  bool has_value = false;
  std::string value;
  std::string path;
  int parent_id = -1;
  int id = 0;
  int is_change = 0;

  friend bool operator==(const PlainRecord& a, const PlainRecord& b) {
    return a.has_value == b.has_value && a.value == b.value && a.path == b.path &&
           a.parent_id == b.parent_id && a.id == b.id && a.is_change == b.is_change;
  }
  friend std::ostream& operator<<(std::ostream& out, const PlainRecord& r) {
    out << "\n  " << r.id << " below " << r.parent_id << ": " << testing::PrintToString(r.path);
    if (r.has_value) out << " = " << testing::PrintToString(r.value);
    return out << ", change " << r.is_change;
  }
};

// What the plain way writes: records, or bytes, and lines.
struct Plain {
  std::vector<PlainRecord> records;
  std::string bytes;
  std::vector<LogLine> lines;

  void FillIdNode(Tree_NodePtr& node, bool with_value, int parent_id, int id) {
    PlainRecord record;
    record.path = Text(node->GetKeyName());
    record.parent_id = parent_id;
    record.id = id;
    if (with_value) {
      Tree_Value* const value = node->GetTreeValue();
      record.has_value = true;
      if (value != nullptr) {
        record.is_change = value->IsChange();
        record.value = Text(value->GetValue());
      }
    }
    records.push_back(record);
  }

  void FillIdVecFromTree(Tree_NodePtr& node, int& last_id, int parent_id,
                         const RWCString& skip_name) {
    ++last_id;
    FillIdNode(node, false, parent_id, last_id);
    const int my_id = last_id;
    for (int i = 0; i < node->GetChildCount(); ++i) {
      Tree_NodePtr& child = node->GetChildAt(i);
      if (child->IsLeaf()) {
        ++last_id;
        FillIdNode(child, true, my_id, last_id);
      } else if (child->GetKeyName() != skip_name) {
        FillIdVecFromTree(child, last_id, my_id, RWCString());
      }
    }
  }

  void GetIdNodeVecFromTree(Tree_NodePtr& tree, const RWCString& skip_name) {
    lines.push_back(TreeLine(7, "Tree_Node::GetIdNodeVecFromTreeSkipPath",
                             "Start GetIdNodeVecFromTree(Tree_NodePtr & tree)\n"));
    int last_id = -1;
    FillIdVecFromTree(tree, last_id, -1, skip_name);
  }

  int GetInfoVecLen(const RWCString& path, bool with_path) const {
    int sum = with_path ? static_cast<int>(path.length()) + 4 : 0;
    for (const PlainRecord& record : records) {
      sum += 16 + static_cast<int>(record.path.size());
      if (!record.value.empty()) sum += static_cast<int>(record.value.size()) + 4;
    }
    return sum;
  }

  void WriteInt(int number) {
    const auto bits = static_cast<std::uint32_t>(number);
    for (const int shift : {24, 16, 8, 0}) bytes += static_cast<char>(bits >> shift & 0xFF);
  }

  void Line(const std::string& text) {
    lines.push_back(TreeLine(6, "Tree_Node::GetSerializeIdNodeInfoVec", text + "\n"));
  }

  void Serialize(const RWCString& path, bool with_path) {
    const auto size = static_cast<std::size_t>(GetInfoVecLen(path, with_path));
    if (with_path) {
      Line("Write virtual parent path len <" + std::to_string(path.length()) + ">");
      WriteInt(static_cast<int>(path.length()));
      bytes += Text(path);
      Line("Write virtual parent path <" + Text(path) + ">");
    }
    for (const PlainRecord& record : records) {
      Line("Write id <" + std::to_string(record.id) + ">");
      WriteInt(record.id);
      Line("Write p_id <" + std::to_string(record.parent_id) + ">");
      WriteInt(record.parent_id);
      // Texts are C strings to the writer.
      const std::string name = record.path.c_str();
      Line("Write path len <" + std::to_string(name.size()) + ">");
      WriteInt(static_cast<int>(name.size()));
      bytes += name;
      Line("Write path <" + name + ">");
      const std::string value = record.value.c_str();
      Line("Write val_len  <" + std::to_string(value.size()) + ">");
      WriteInt(static_cast<int>(value.size()));
      if (value.empty()) continue;
      Line("Write val <" + value + ">");
      bytes += value;
      Line("Write is change <" + std::to_string(record.is_change) + ">");
      WriteInt(record.is_change);
    }
    // What zero bytes inside texts have left over.
    bytes.resize(size, '\0');
  }
};

// --- Random trees --------------------------------------------------------------

class Random {
 public:
  explicit Random(std::uint32_t seed) : m_engine(seed) {}

  // From 0 to n - 1.
  int Below(int n) { return static_cast<int>(m_engine() % static_cast<std::uint32_t>(n)); }
  bool OneIn(int n) { return Below(n) == 0; }

  template <class T, std::size_t N>
  const T& Of(const T (&choices)[N]) {
    return choices[Below(static_cast<int>(N))];
  }

 private:
  std::mt19937 m_engine;
};

RWCString RandomName(Random& random) {
  static const RWCString kFew[] = {"", "x", "y", "z"};
  static const RWCString kOdd[] = {" ",           " x",
                                   "x ",          "X",
                                   "xy",          "%s%n",
                                   "a\\b",        "\x80\xFF",
                                   Bytes("x\0y"), Bytes("\0"),
                                   "\t",          "\"",
                                   Bytes("\0x"),  RWCString(std::string(300, 'l').c_str())};
  return random.OneIn(5) ? random.Of(kOdd) : random.Of(kFew);
}

RWCString RandomValue(Random& random) {
  static const RWCString kValues[] = {"",   "1",        "two",         " ",          "100%",
                                      "\n", "\x80\xFE", Bytes("v\0w"), Bytes("\0w"), "value"};
  if (random.OneIn(30)) return RWCString(std::string(5000, 'v').c_str());
  return random.Of(kValues);
}

int RandomFlag(Random& random) {
  static const int kFlags[] = {0, 0, 0, 1, 1, 2, -1, 256, INT_MAX, INT_MIN};
  return random.Of(kFlags);
}

Tree_NodePtr RandomNode(Random& random) {
  const RWCString name = RandomName(random);
  if (random.OneIn(2)) {
    Tree_NodePtr inner = Inner(name);
    if (random.OneIn(10)) inner->SetTreeValue(new Tree_Value(RandomValue(random), 1));
    return inner;
  }
  Tree_NodePtr leaf = Leaf(name, RandomValue(random), RandomFlag(random));
  if (random.OneIn(12)) leaf->Destroy();
  if (random.OneIn(12)) {
    delete leaf->GetTreeValue();
    leaf->SetTreeValue(nullptr);  // an inner node from now on
  }
  return leaf;
}

// The top is any kind of node; inner nodes hang anywhere below it, deep ones included.
Tree_NodePtr RandomTree(Random& random) {
  Tree_NodePtr top = RandomNode(random);
  if (random.OneIn(3)) {
    RWCString above("sys\\main");
    top->SetVirtualParentPath(above);
  }
  std::vector<Tree_NodePtr> inner;
  if (!top->IsLeaf()) inner.push_back(top);
  const int size = random.OneIn(10) ? 0 : random.Below(random.OneIn(20) ? 400 : 40);
  for (int i = 0; i < size && !inner.empty(); ++i) {
    const int last = static_cast<int>(inner.size()) - 1;
    // Often below the newest one, so that trees get depth.
    const int at = random.OneIn(3) ? last : random.Below(last + 1);
    Tree_NodePtr& parent = inner[static_cast<std::size_t>(at)];
    Tree_NodePtr node = RandomNode(random);
    parent->Insert(node, random.Below(parent->GetChildCount() + 1), -1);
    if (!node->IsLeaf()) inner.push_back(node);
  }
  return top;
}

// --- The library ---------------------------------------------------------------

std::vector<PlainRecord> RecordsOf(const RecordVec& vec) {
  std::vector<PlainRecord> records;
  for (std::size_t i = 0; i < vec.entries(); ++i) {
    const Tree_IdNodeInfo& info = *vec.at(i);
    PlainRecord record;
    record.has_value = info.GetRWValue() != nullptr;
    if (record.has_value) record.value = Text(*info.GetRWValue());
    record.path = Text(*info.GetRWPath());
    record.parent_id = info.GetParentId();
    record.id = info.GetId();
    record.is_change = info.IsChange();
    records.push_back(record);
  }
  return records;
}

// Texts in lines end at their first zero byte.
std::vector<LogLine> AsLogged(std::vector<LogLine> lines) {
  for (LogLine& line : lines) {
    const std::size_t zero = line.text.find('\0');
    if (zero != std::string::npos) line.text = line.text.substr(0, zero) + ">\n";
  }
  return lines;
}

// The list of records, and the buffer written from it.
void CompareLists(Tree_NodePtr& top, Random& random) {
  RWCString skip_name = RandomName(random);
  const bool skips = !random.OneIn(3);
  const RWCString path = random.OneIn(2) ? RWCString("sys\\main") : RandomName(random);
  const bool with_path = random.OneIn(2);
  const bool with_pool = random.OneIn(2);
  const int block_elements = random.Below(4) * 5;
  Zel_PoolAllocator pool("records of a test", sizeof(Tree_IdNodeInfo), -1, block_elements, 8,
                         random.OneIn(2));
  const int failures = random.OneIn(2) ? random.Below(20) : 0;
  const bool keep_vec = with_pool || random.OneIn(2);
  SCOPED_TRACE("skip " + (skips ? testing::PrintToString(Text(skip_name)) : "nothing") + ", path " +
               (with_path ? testing::PrintToString(Text(path)) : "none"));

  Plain plain;
  plain.GetIdNodeVecFromTree(top, skips ? skip_name : RWCString());

  LogCapture log;
  pool.FailNextAllocations(failures);
  Zel_PoolAllocator* const given = with_pool ? &pool : nullptr;
  RecordVec* const vec = skips ? Tree_Node::GetIdNodeVecFromTreeSkipPath(top, given, skip_name)
                               : Tree_Node::GetIdNodeVecFromTree(top, given);
  pool.FailNextAllocations(0);
  EXPECT_EQ(plain.lines, log.Take());
  ASSERT_NE(nullptr, vec);
  ASSERT_EQ(plain.records, RecordsOf(*vec));
  for (std::size_t i = 0; i < vec->entries(); ++i) {
    const bool from_pool = with_pool && block_elements > 0 && static_cast<int>(i) >= failures;
    ASSERT_EQ(from_pool, pool.Exist(vec->at(i))) << "record " << i;
  }

  plain.lines.clear();
  plain.Serialize(path, with_path);
  int size = -1;
  char* const buffer = Tree_Node::GetSerializeIdNodeInfoVec(vec, size, path, with_path, keep_vec);
  ASSERT_EQ(plain.bytes, Taken(buffer, size));
  ASSERT_EQ(AsLogged(plain.lines), log.Take());

  if (keep_vec) {
    EXPECT_EQ(plain.records, RecordsOf(*vec));
    flat::Free(vec, &pool);
  }
  EXPECT_EQ(0u, pool.GetStats().elements_in_use);
}

// Both steps in one call.
void CompareBuffers(Tree_NodePtr& top, Random& random) {
  RWCString skip_name = RandomName(random);
  const bool skips = !random.OneIn(3);
  const bool with_header = random.OneIn(2);
  SCOPED_TRACE("skip " + (skips ? testing::PrintToString(Text(skip_name)) : "nothing") +
               (with_header ? ", with header" : ""));

  Plain plain;
  plain.GetIdNodeVecFromTree(top, skips ? skip_name : RWCString());
  plain.Serialize(RWCString(), with_header);

  const int level = 3 + random.Below(5);
  std::vector<LogLine> expected;
  for (const LogLine& line : AsLogged(plain.lines)) {
    if (line.level <= level) expected.push_back(line);
  }
  LogCapture log(level);
  int size = -1;
  char* const buffer =
      skips ? Tree_Node::GetSerializedTreeNodeSkipPath(top, size, with_header, skip_name)
            : Tree_Node::GetSerializedTreeNode(top, size, with_header);
  ASSERT_EQ(plain.bytes, Taken(buffer, size));
  ASSERT_EQ(expected, log.Take());
}

TEST(FlatteningLikeThePlainWay, GivesTheSameRecordsBytesAndLines) {
  const std::uint64_t seed = settings::Seed();
  const std::uint64_t rounds = settings::Rounds(2000);
  std::cout << "seed " << seed << ", " << rounds << " trees" << std::endl;
  for (std::uint64_t round = 0; round < rounds; ++round) {
    SCOPED_TRACE("TREE_TEST_SEED=" + std::to_string(seed + round) + " TREE_TEST_ROUNDS=1");
    Random random(static_cast<std::uint32_t>(seed + round));
    Tree_NodePtr top = RandomTree(random);
    CompareLists(top, random);
    CompareBuffers(top, random);
    // From a node in the middle as well.
    if (top->GetChildCount() > 0) {
      Tree_NodePtr child = top->GetChildAt(random.Below(top->GetChildCount()));
      CompareLists(child, random);
      CompareBuffers(child, random);
    }
    if (HasFailure()) break;
  }
}

}  // namespace
