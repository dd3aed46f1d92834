// The children vector, used directly.

#include <gtest/gtest.h>

#include <climits>
#include <cstddef>
#include <new>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "Tree/Tree_Node.h"
#include "support/LeakCheck.h"
#include "support/LogCapture.h"
#include "support/TreeChildren.h"
#include "support/TreeText.h"

namespace {

void Append(Tree_NodePtrVec& vec, const std::string& names) {
  for (const char name : names) {
    Tree_NodePtr node = Inner(Bytes(std::string(1, name)));
    vec.insertAt(vec.entries(), node);
  }
}

std::string Names(Tree_NodePtrVec& vec) {
  std::string names;
  for (int i = 0; i < vec.entries(); ++i) names += Text(vec.at(i)->GetKeyName());
  return names;
}

TEST(TreeNodePtrVec, IsEmptyAtFirst) {
  const PoolFigures before = PoolFigures::Now();
  LogCapture log;
  {
    Tree_NodePtrVec vec;
    EXPECT_EQ(0, vec.entries());
    EXPECT_EQ(-1, vec.index(Inner("a")));
    EXPECT_EQ(-1, vec.index(Tree_NodePtr()));
    EXPECT_NO_LOG(log);
  }
  EXPECT_LOG(log, VecLine(0));
  EXPECT_EQ((PoolFigures{0, 0, 0, 0, 0}), PoolFigures::Now() - before);
}

struct InsertCase {
  const char* names;
  int index;
  const char* result;
};

const InsertCase kInserts[] = {
    // Nothing is tested for index 0.
    {"", 0, "n"},       {"a", 0, "na"},     {"a", 1, "an"},     {"abc", 0, "nabc"},
    {"abc", 1, "anbc"}, {"abc", 2, "abnc"}, {"abc", 3, "abcn"},
};

TEST(TreeNodePtrVec, InsertsACountedCopyBeforeThePosition) {
  for (const InsertCase& c : kInserts) {
    SCOPED_TRACE(testing::Message() << c.names << " " << c.index);
    Tree_NodePtrVec vec;
    Append(vec, c.names);
    const PoolFigures before = PoolFigures::Now();
    Tree_NodePtr node = Inner("n");
    vec.insertAt(c.index, node);
    EXPECT_EQ(c.result, Names(vec));
    EXPECT_EQ(2u, node.UseCount());
    EXPECT_EQ(node, vec.at(c.index));
    EXPECT_NE(&node, &vec.at(c.index));
    EXPECT_EQ((PoolFigures{1, 0, 1, 0, 1}), PoolFigures::Now() - before);
    // The vector lists nodes and knows nothing of parents.
    EXPECT_EQ(nullptr, node->GetParent());
  }
}

struct BadInsertCase {
  const char* names;
  int index;
};

const BadInsertCase kBadInserts[] = {
    {"", 1},    {"", -1},    {"", 2},     {"", INT_MAX},    {"", INT_MIN},    {"abc", 4},
    {"abc", 5}, {"abc", -1}, {"abc", -2}, {"abc", INT_MAX}, {"abc", INT_MIN},
};

TEST(TreeNodePtrVec, ThrowsForABadPositionAndLosesTheCopy) {
  for (const BadInsertCase& c : kBadInserts) {
    SCOPED_TRACE(testing::Message() << c.names << " " << c.index);
    Tree_NodePtrVec vec;
    Append(vec, c.names);
    Tree_NodePtr node = Inner("n");
    ExpectBoundsErr(static_cast<long long>(c.index) - 1, std::string(c.names).size(),
                    [&] { vec.insertAt(c.index, node); });
    EXPECT_EQ(c.names, Names(vec));
    EXPECT_EQ(2u, node.UseCount());
    ExpectLost({.nodes = 1, .elements = 1, .records = 1});
  }
}

TEST(TreeNodePtrVec, LosesTheCopyOfANullHandleToo) {
  Tree_NodePtrVec vec;
  Tree_NodePtr without_record;
  ExpectBoundsErr(-2, 0, [&] { vec.insertAt(-1, without_record); });
  ExpectLost({.elements = 1});
  Tree_NodePtr with_record(static_cast<Tree_Node*>(nullptr));
  ExpectBoundsErr(0, 0, [&] { vec.insertAt(1, with_record); });
  ExpectLost({.elements = 1, .records = 1});
}

TEST(TreeNodePtrVec, MayHoldNullHandles) {
  Tree_NodePtrVec vec;
  Tree_NodePtr null;
  Tree_NodePtr node = Inner("n");
  vec.insertAt(0, null);
  vec.insertAt(1, node);
  vec.insertAt(2, Tree_Node::NULL_TREE_NODE_PTR);
  EXPECT_EQ(3, vec.entries());
  EXPECT_EQ(0, vec.index(null));
  EXPECT_EQ(1, vec.index(node));
  EXPECT_TRUE(vec.at(2).isNull());
  vec.removeAt(0);
  EXPECT_EQ(1, vec.index(null));
}

TEST(TreeNodePtrVec, YieldsItsHandlesByPosition) {
  Tree_NodePtrVec vec;
  Append(vec, "abc");
  for (int i = 0; i < 3; ++i) EXPECT_EQ(&vec.at(i), &vec.at(i));
  EXPECT_EQ("b", Text(vec.at(1)->GetKeyName()));
  Tree_NodePtr other = Inner("x");
  vec.at(1) = other;
  EXPECT_EQ("axc", Names(vec));
  EXPECT_EQ(2u, other.UseCount());
}

TEST(TreeNodePtrVec, ThrowsForAPositionOutside) {
  for (const char* names : {"", "a", "abc"}) {
    Tree_NodePtrVec vec;
    Append(vec, names);
    const int count = vec.entries();
    for (const int i : {-1, INT_MIN, count, count + 1, INT_MAX}) {
      SCOPED_TRACE(testing::Message() << names << " " << i);
      const auto n = static_cast<std::size_t>(count);
      ExpectBoundsErr(i, n, [&] { vec.at(i); });
      ExpectBoundsErr(i, n, [&] { vec.removeAt(i); });
    }
    EXPECT_EQ(names, Names(vec));
  }
}

TEST(TreeNodePtrVec, FindsTheFirstPositionOfANode) {
  Tree_NodePtrVec vec;
  Append(vec, "ab");
  Tree_NodePtr twice = Inner("t");
  vec.insertAt(1, twice);
  vec.insertAt(3, twice);
  EXPECT_EQ("atbt", Names(vec));
  EXPECT_EQ(1, vec.index(twice));
  EXPECT_EQ(0, vec.index(vec.at(0)));
  EXPECT_EQ(2, vec.index(vec.at(2)));
  EXPECT_EQ(-1, vec.index(Inner("a")));
  EXPECT_EQ(-1, vec.index(Tree_NodePtr()));
  EXPECT_EQ(3u, twice.UseCount());
  vec.removeAt(1);
  EXPECT_EQ(2, vec.index(twice));
}

TEST(TreeNodePtrVec, LetsTheHandleGoThatItRemoves) {
  Tree_NodePtrVec vec;
  Append(vec, "abcd");
  Tree_NodePtr held = vec.at(1);
  const PoolFigures before = PoolFigures::Now();
  LogCapture log;
  vec.removeAt(1);
  EXPECT_EQ("acd", Names(vec));
  EXPECT_EQ(1u, held.UseCount());
  EXPECT_EQ((PoolFigures{0, 0, 1, 0, 0}), before - PoolFigures::Now());
  vec.removeAt(2);
  vec.removeAt(0);
  EXPECT_EQ("c", Names(vec));
  EXPECT_EQ((PoolFigures{2, 0, 3, 0, 2}), before - PoolFigures::Now());
  vec.removeAt(0);
  EXPECT_EQ(0, vec.entries());
  EXPECT_NO_LOG(log);
}

TEST(TreeNodePtrVec, WritesOneLineAndDropsEveryHandleWhenItGoes) {
  Tree_NodePtr held = Inner("held");
  const PoolFigures before = PoolFigures::Now();
  LogCapture log;
  {
    Tree_NodePtrVec vec;
    Append(vec, "ab");
    vec.insertAt(1, held);
    EXPECT_EQ(2u, held.UseCount());
  }
  EXPECT_LOG(log, VecLine(3));
  EXPECT_EQ(1u, held.UseCount());
  EXPECT_EQ((PoolFigures{0, 0, 0, 0, 0}), PoolFigures::Now() - before);
}

TEST(TreeNodePtrVec, WritesTheLinesOfItsChildrenBehindItsOwn) {
  LogCapture log;
  {
    Tree_NodePtrVec vec;
    Tree_NodePtr a = Plant("a(b(c,d),e)");
    Tree_NodePtr f = Plant("f(g,h,i)");
    vec.insertAt(0, a);
    vec.insertAt(1, f);
    log.Take();
  }
  // `a` and `f` were let go before the vector, which held them last.
  EXPECT_LOG(log, VecLine(2), VecLine(2), VecLine(2), VecLine(3));
}

TEST(TreeNodePtrVec, WritesItsLineAtLevelSevenOnly) {
  LogCapture log(6);
  {
    Tree_NodePtrVec vec;
    Append(vec, "ab");
  }
  EXPECT_NO_LOG(log);
}

TEST(TreeNodePtrVec, ReservesRoomAndChangesNothingElse) {
  Tree_NodePtrVec vec;
  for (const int n : {0, 1, 5, 2, 100, 0, 100, 3}) {
    vec.resize(n);
    EXPECT_EQ(0, vec.entries());
  }
  Append(vec, "abc");
  for (const int n : {0, 1, 2, 3, 4, 1000, 10}) {
    Tree_NodePtr* const slot = &vec.at(1);
    vec.resize(n);
    EXPECT_EQ("abc", Names(vec));
    EXPECT_EQ(slot, &vec.at(1));
  }
}

TEST(TreeNodePtrVec, GrowsOnceToTheReservedSize) {
  if (!HeapIsCounted()) GTEST_SKIP() << "needs the counting heap";
  std::vector<Tree_NodePtr> nodes;
  for (int i = 0; i < 20; ++i) nodes.push_back(Inner("n"));
  for (int round = 0; round < 2; ++round) {  // the first one lets the pools grow
    Tree_NodePtrVec vec;
    const std::int64_t before = HeapBlocksMade();
    vec.resize(20);
    for (Tree_NodePtr& node : nodes) vec.insertAt(0, node);
    vec.resize(19);
    vec.resize(20);
    if (round == 1) {
      EXPECT_EQ(1, HeapBlocksMade() - before);
    }
  }
}

TEST(TreeNodePtrVec, RefusesANegativeSize) {
  Tree_NodePtrVec vec;
  Append(vec, "ab");
  for (const int n : {-1, -2, INT_MIN}) {
    SCOPED_TRACE(n);
    EXPECT_THROW(vec.resize(n), std::length_error);
    EXPECT_EQ("ab", Names(vec));
  }
}

TEST(TreeNodePtrVec, SharesItsHandlesWithItsCopies) {
  Tree_NodePtrVec empty;
  Tree_NodePtrVec vec;
  Append(vec, "abc");
  const PoolFigures before = PoolFigures::Now();
  LogCapture log;
  Tree_NodePtrVec copy(vec);
  Tree_NodePtrVec assigned;
  assigned = vec;
  EXPECT_EQ((PoolFigures{0, 0, 0, 0, 0}), PoolFigures::Now() - before);
  EXPECT_NO_LOG(log);
  ASSERT_EQ(3, copy.entries());
  ASSERT_EQ(3, assigned.entries());
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(&vec.at(i), &copy.at(i));
    EXPECT_EQ(&vec.at(i), &assigned.at(i));
    EXPECT_EQ(1u, vec.at(i).UseCount());
  }
  // Only one of the three may drop the handles.
  copy = empty;
  assigned = empty;
  EXPECT_EQ(0, copy.entries());
  EXPECT_EQ("abc", Names(vec));
}

TEST(TreeNodePtrVec, SharesItsHandlesWithItsCopiesWhenItIsWide) {
  Tree_NodePtrVec empty;
  Tree_NodePtrVec vec;
  for (int i = 0; i < 100; ++i) {
    Tree_NodePtr node = Inner(Bytes("n" + std::to_string(i)));
    vec.insertAt(i, node);
  }
  Tree_NodePtrVec copy(vec);
  Tree_NodePtrVec assigned;
  assigned = vec;
  // The copies may change, each on its own.
  Tree_NodePtr more = Inner("more");
  copy.insertAt(50, more);
  EXPECT_EQ(101, copy.entries());
  EXPECT_EQ(100, vec.entries());
  EXPECT_EQ(&vec.at(50), &copy.at(51));
  copy.removeAt(50);
  copy = empty;
  assigned = empty;
  EXPECT_EQ(1u, more.UseCount());
  vec.at(17)->SetKeyName("renamed");
  vec.removeAt(17);
  EXPECT_EQ(99, vec.entries());
}

TEST(TreeNodePtrVec, KeepsWhatItHeldOutOfAnAssignment) {
  Tree_NodePtrVec empty;
  Tree_NodePtrVec vec;
  Tree_NodePtrVec other;
  Append(vec, "ab");
  Append(other, "xyz");
  Tree_NodePtr held = vec.at(0);
  Tree_NodePtrVec saved(vec);  // or the old handles would be lost
  const PoolFigures before = PoolFigures::Now();
  LogCapture log;
  Tree_NodePtrVec& result = (vec = other);
  EXPECT_EQ(&vec, &result);
  EXPECT_EQ("xyz", Names(vec));
  EXPECT_EQ((PoolFigures{0, 0, 0, 0, 0}), PoolFigures::Now() - before);
  EXPECT_EQ(2u, held.UseCount());
  EXPECT_NO_LOG(log);
  vec = saved;
  EXPECT_EQ("ab", Names(vec));
  saved = empty;
}

TEST(TreeNodePtrVec, MayBeAssignedToItself) {
  Tree_NodePtrVec vec;
  Append(vec, "abc");
  Tree_NodePtrVec& self = vec;
  vec = self;
  EXPECT_EQ("abc", Names(vec));
}

TEST(TreeNodePtrVec, BehavesLikeAVectorUnderRandomChanges) {
  std::mt19937 random(11);
  const auto below = [&](int n) { return std::uniform_int_distribution<int>(0, n - 1)(random); };
  Tree_NodePtrVec vec;
  std::vector<Tree_NodePtr> model;
  std::vector<Tree_NodePtr> nodes;
  for (int i = 0; i < 30; ++i) nodes.push_back(Inner(Bytes("n" + std::to_string(i))));
  for (int step = 0; step < 5000; ++step) {
    const int count = static_cast<int>(model.size());
    // Sizes go up and down between nothing and some eighty.
    if (below(80) >= count) {
      Tree_NodePtr& node = nodes[static_cast<std::size_t>(below(30))];
      const int at = below(count + 1);
      vec.insertAt(at, node);
      model.insert(model.begin() + at, node);
    } else {
      const int at = below(count);
      vec.removeAt(at);
      model.erase(model.begin() + at);
    }
    ASSERT_EQ(static_cast<int>(model.size()), vec.entries());
    for (int i = 0; i < vec.entries(); ++i) {
      ASSERT_EQ(model[static_cast<std::size_t>(i)], vec.at(i)) << "step " << step;
    }
    const Tree_NodePtr& wanted = nodes[static_cast<std::size_t>(below(30))];
    int expected = -1;
    for (std::size_t i = model.size(); i-- > 0;) {
      if (model[i] == wanted) expected = static_cast<int>(i);
    }
    ASSERT_EQ(expected, vec.index(wanted));
  }
}

}  // namespace
