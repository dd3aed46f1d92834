// The sizes that docs/memory.md tells.

#include <gtest/gtest.h>

#include "Tree/Tree_Node.h"

namespace {

TEST(RecordsInTheDocs, HaveTheSizesThatAreTold) {
  EXPECT_EQ(32u, sizeof(Tree_IdNodeInfo));
  EXPECT_EQ(24u, sizeof(Tree_NodeInfo));
}

TEST(MemoryInTheDocs, IsWhatIsTold) {
  EXPECT_EQ(48u, sizeof(Tree_Node));
  EXPECT_EQ(16u, sizeof(Tree_Value));
  EXPECT_EQ(16u, sizeof(Tree_NodePtr));
  EXPECT_EQ(192u, sizeof(Tree_NodePtrVec));
}

}  // namespace
