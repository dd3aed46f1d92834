// What stands when the library has been loaded, before any caller ran, and what still
// works when the process ends.

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "Tree/Tree_Node.h"
#include "support/LeakCheck.h"
#include "support/LogCapture.h"
#include "support/TreeText.h"

namespace {

// Released when the static objects of this file are destroyed.  It is made before the
// first string is interned, so it goes after the container of interned strings.
struct HeldTillTheEnd {
  Tree_NodePtr tree;
  bool announce = false;

  ~HeldTillTheEnd() {
    tree = Tree_NodePtr();
    if (announce) std::fprintf(stderr, "the last tree is gone\n");
  }
};
HeldTillTheEnd held_till_the_end;

// Looks at everything while static objects are made, which is before main().
struct AtLoad {
  struct Pool {
    const Zel_PoolAllocator* pool;
    std::string name;
    std::size_t element_size;
    int block_elements;
  };

  std::vector<Pool> pools;
  std::string separator = Text(Tree_Node::separator);
  std::string dummy_name = Text(Tree_EmptySubTree_DummyName);
  int true_bool = Tree_Node::TRUE_BOOL;
  bool null_is_null = Tree_Node::NULL_TREE_NODE_PTR.isNull();
  unsigned null_count = Tree_Node::NULL_TREE_NODE_PTR.UseCount();
  std::vector<LogLine> lines_of_first_string;
  std::vector<LogLine> lines_of_second_string;
  std::string drawn;

  AtLoad() {
    Zel_PoolAllocator::VisitAll([this](Zel_PoolAllocator& pool) {
      pools.push_back(
          {&pool, pool.GetName(), pool.GetElementSize(), pool.GetCurrElementsInBlock()});
    });
    LogCapture log;
    {
      Tree_Value value("the first string of all", 0);
      lines_of_first_string = log.Take();
      Tree_Value another("the second string", 0);
      lines_of_second_string = log.Take();
    }
    Tree_NodePtr top = Plant("top(a(b=1),c)");
    drawn = Draw(top->DuplicateFromHereDown(false));
  }

  // Where `pool` stands among all; -1 when it was not there yet.
  int PlaceOf(const Zel_PoolAllocator& pool) const {
    for (std::size_t i = 0; i < pools.size(); ++i) {
      if (pools[i].pool == &pool) return static_cast<int>(i);
    }
    return -1;
  }
};
const AtLoad at_load;

TEST(LoadOrder, HasThePublishedDataBeforeAnyCallerRuns) {
  EXPECT_EQ("\\", at_load.separator);
  EXPECT_EQ("this_is_an_empty_sub_tree_name_indication", at_load.dummy_name);
  EXPECT_EQ(1, at_load.true_bool);
  EXPECT_TRUE(at_load.null_is_null);
}

TEST(LoadOrder, MakesTheNullHandleFromANullPointer) {
  // That is why it has a record, which counts the handle itself.
  EXPECT_EQ(1u, at_load.null_count);
}

TEST(LoadOrder, MakesThePoolsInOrder) {
  // The record of the null handle is the first thing that any pool is asked for.
  const int records = at_load.PlaceOf(RecordsPool());
  const int nodes = at_load.PlaceOf(NodesPool());
  const int vectors = at_load.PlaceOf(VectorsPool());
  const int elements = at_load.PlaceOf(ElementsPool());
  const int values = at_load.PlaceOf(ValuesPool());
  EXPECT_LE(0, records);
  EXPECT_LT(records, nodes);
  EXPECT_LT(nodes, vectors);
  EXPECT_LT(vectors, elements);
  EXPECT_LT(elements, values);
}

struct PoolCase {
  const char* name;
  Zel_PoolAllocator& pool;
  std::size_t element_size;
  int block_elements;
};

TEST(LoadOrder, GivesEveryPoolItsNameAndSizes) {
  const PoolCase kPools[] = {
      {"Tree_Node", NodesPool(), sizeof(Tree_Node), 10000},
      {"Tree_NodePtrVec", VectorsPool(), sizeof(Tree_NodePtrVec), 10000},
      {"Tree_NodePtrVec", ElementsPool(), sizeof(Tree_NodePtr), 2000},
      {"Tree_Value", ValuesPool(), sizeof(Tree_Value), 2000},
  };
  for (const PoolCase& c : kPools) {
    SCOPED_TRACE(testing::Message() << c.name << " of " << c.element_size);
    const int place = at_load.PlaceOf(c.pool);
    ASSERT_LE(0, place);
    const AtLoad::Pool& found = at_load.pools[static_cast<std::size_t>(place)];
    EXPECT_EQ(c.name, found.name);
    EXPECT_EQ(c.element_size, found.element_size);
    EXPECT_EQ(c.block_elements, found.block_elements);
  }
}

TEST(LoadOrder, MakesTheContainerOfStringsWithTheFirstOfThem) {
  EXPECT_EQ((std::vector<LogLine>{
                FlyweightLine(6, "Zel_FlyweightContainer",
                              "Zel_FlyweightContainer, Created with thread_safe = 1, "
                              "fly_size = 40000\n"),
                FlyweightLine(6, "Zel_FlyweightContainer",
                              "Zel_FlyweightContainer, Initializing Readers-Writers Lock\n"),
                FlyweightLine(7, "Zel_FlyweightContainer",
                              "Zel_FlyweightContainer, Expend buffer, fly size is 40000\n"),
            }),
            at_load.lines_of_first_string);
  EXPECT_EQ(std::vector<LogLine>{}, at_load.lines_of_second_string);
}

TEST(LoadOrder, BuildsTreesBeforeMain) {
  EXPECT_EQ("top(a(b=1),c)", at_load.drawn);
}

// Ends the process with a tree still held, and writes every line to standard error.
[[noreturn]] void EndTheProcess() {
  ZelGLog.SetLevel(7);
  ZelGLog.SetSink([](const Zel_LogRecord& record) {
    std::fprintf(stderr, "level %d, category %d, %s, %s: %s", record.level, record.category,
                 record.source, record.function, record.text.c_str());
  });
  held_till_the_end.announce = true;
  held_till_the_end.tree = Plant("top(a(b=1),c)");
  std::exit(0);
}

TEST(LoadOrderDeathTest, DestroysTheContainerOfStringsWhenTheProcessEnds) {
  EXPECT_EXIT(EndTheProcess(), testing::ExitedWithCode(0),
              "level 6, category 234, Zel/Zel_Flyweight, "
              "Zel_FlyweightContainer<class RWCString>::~Zel_FlyweightContainer: "
              "Dtor ~Zel_FlyweightContainer\n");
}

TEST(LoadOrderDeathTest, ReleasesATreeAfterTheStringsAreGone) {
#if defined(_WIN32)
  // A DLL ends behind the static objects of the program.
  const std::string container_goes;
#else
  const std::string container_goes = "Dtor ~Zel_FlyweightContainer\n";
#endif
  EXPECT_EXIT(EndTheProcess(), testing::ExitedWithCode(0),
              container_goes +
                  "level 7, category 501, Tree/Tree_NodePtrVec, Tree_NodePtrVec::~Tree_NodePtrVec: "
                  "Clearing vec, about to delete 2 elements\n"
                  "level 7, category 501, Tree/Tree_NodePtrVec, Tree_NodePtrVec::~Tree_NodePtrVec: "
                  "Clearing vec, about to delete 1 elements\n"
                  "the last tree is gone\n");
}

}  // namespace
