#include "ThreadAPI/ThreadAPI_AutoPtrThreadSafe.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include "Zel/Zel_PoolAllocator.h"
#include "Zel/Zel_PoolReturns.h"

namespace {

std::atomic<int> g_live{0};

// Counts its live objects, and can hold a handle to another of its kind.
struct Thing {
  explicit Thing(int n = 0) : number(n) { ++g_live; }
  ~Thing() { --g_live; }
  Thing(const Thing&) = delete;
  Thing& operator=(const Thing&) = delete;

  int number;
  ThreadAPI_AutoPtrThreadSafe<Thing> next;
};

using Handle = ThreadAPI_AutoPtrThreadSafe<Thing>;

static_assert(sizeof(Handle) == 2 * sizeof(void*), "object and record");
static_assert(sizeof(autoptrthreadsafe_internal_data) == 8, "count and flag");
static_assert(std::is_convertible_v<Thing*, Handle>, "implicit from a raw pointer");
static_assert(!std::is_convertible_v<Handle, bool>, "the test for null is explicit");
static_assert(!std::is_convertible_v<Handle, Thing*>, "no way back without get()");
static_assert(std::is_nothrow_default_constructible_v<Handle>);
static_assert(std::is_nothrow_copy_constructible_v<Handle>);
static_assert(std::is_nothrow_move_constructible_v<Handle>);
static_assert(std::is_nothrow_copy_assignable_v<Handle>);
static_assert(std::is_nothrow_move_assignable_v<Handle>);
static_assert(!std::is_nothrow_constructible_v<Handle, Thing*>);

std::uint64_t RecordsInUse() {
  return autoptrthreadsafe_internal_data::Pool().GetStats().elements_in_use;
}

class HandleTest : public testing::Test {
 protected:
  void TearDown() override {
    EXPECT_EQ(0, g_live) << "objects left";
    EXPECT_EQ(m_records_before, RecordsInUse()) << "records left";
  }
  const std::uint64_t m_records_before = RecordsInUse();
};

TEST_F(HandleTest, DefaultConstructedHasNeitherObjectNorRecord) {
  const Handle handle;
  EXPECT_TRUE(handle.isNull());
  EXPECT_EQ(nullptr, handle.get());
  EXPECT_EQ(0u, handle.UseCount());
  EXPECT_EQ(m_records_before, RecordsInUse());
}

TEST_F(HandleTest, ARawPointerGetsARecordEvenWhenItIsNull) {
  const Handle null = nullptr;
  EXPECT_TRUE(null.isNull());
  EXPECT_EQ(1u, null.UseCount());
  EXPECT_EQ(m_records_before + 1, RecordsInUse());
  {
    const Handle copy(null);
    EXPECT_EQ(2u, null.UseCount());
  }
  EXPECT_EQ(1u, null.UseCount());
}

TEST_F(HandleTest, TheLastHandleDeletesTheObject) {
  {
    Handle first = new Thing(7);
    EXPECT_EQ(1, g_live);
    EXPECT_EQ(1u, first.UseCount());
    {
      const Handle second(first);
      EXPECT_EQ(2u, first.UseCount());
      EXPECT_EQ(first.get(), second.get());
    }
    EXPECT_EQ(1u, first.UseCount());
    EXPECT_EQ(1, g_live);
    EXPECT_EQ(7, first->number);
  }
  EXPECT_EQ(0, g_live);
}

TEST_F(HandleTest, AConstHandleGivesAccessToTheObject) {
  const Handle handle(new Thing(1));
  handle->number = 2;
  EXPECT_EQ(2, (*handle).number);
  (*handle).number = 3;
  EXPECT_EQ(3, handle.get()->number);
}

TEST_F(HandleTest, TestsForNull) {
  const Handle null;
  const Handle handle(new Thing);
  EXPECT_TRUE(!null);
  EXPECT_FALSE(!handle);
  EXPECT_FALSE(static_cast<bool>(null));
  EXPECT_TRUE(handle ? true : false);
}

TEST_F(HandleTest, EqualityIsThatOfThePointers) {
  const Handle a(new Thing);
  const Handle b(new Thing);
  const Handle same(a);
  const Handle null;
  const Handle recorded_null(nullptr);
  const Thing* const raw = a.get();
  EXPECT_TRUE(a == same);
  EXPECT_FALSE(a != same);
  EXPECT_TRUE(a != b);
  EXPECT_FALSE(a == b);
  EXPECT_TRUE(null == recorded_null);
  EXPECT_TRUE(a == raw);
  EXPECT_TRUE(raw == a);
  EXPECT_TRUE(a == a.get());
  EXPECT_TRUE(b != raw);
  EXPECT_TRUE(raw != b);
  EXPECT_TRUE(null == nullptr);
  EXPECT_TRUE(nullptr == recorded_null);
  EXPECT_TRUE(a != nullptr);
  EXPECT_TRUE(nullptr != a);
}

TEST_F(HandleTest, AssignmentSharesTheNewObjectAndReleasesTheOld) {
  Handle a(new Thing(1));
  const Handle b(new Thing(2));
  a = b;
  EXPECT_EQ(1, g_live);
  EXPECT_EQ(2, a->number);
  EXPECT_EQ(2u, b.UseCount());
  a = Handle();
  EXPECT_TRUE(a.isNull());
  EXPECT_EQ(1u, b.UseCount());
  a = new Thing(3);
  EXPECT_EQ(3, a->number);
}

TEST_F(HandleTest, AssigningTheSameObjectChangesNothing) {
  Handle a(new Thing);
  Handle b(a);
  a = b;
  EXPECT_EQ(2u, a.UseCount());
  Handle& self = a;
  a = self;
  EXPECT_EQ(2u, a.UseCount());
  // Two nulls point at the same: the record stays with the one that has it.
  Handle recorded_null(nullptr);
  recorded_null = Handle(Handle());
  Handle plain_null;
  const Handle other_null(nullptr);
  plain_null = other_null;
  EXPECT_EQ(0u, plain_null.UseCount());
  EXPECT_EQ(1u, other_null.UseCount());
}

TEST_F(HandleTest, MovingLeavesNull) {
  Handle a(new Thing(5));
  Handle b(std::move(a));
  EXPECT_TRUE(a.isNull());  // NOLINT(bugprone-use-after-move): what the test is about
  EXPECT_EQ(0u, a.UseCount());
  EXPECT_EQ(1u, b.UseCount());
  Handle c(new Thing(6));
  c = std::move(b);
  EXPECT_TRUE(b.isNull());  // NOLINT(bugprone-use-after-move)
  EXPECT_EQ(5, c->number);
  EXPECT_EQ(1, g_live);
}

TEST_F(HandleTest, MovingBetweenHandlesToOneObjectLeavesNullToo) {
  Handle a(new Thing);
  Handle b(a);
  a = std::move(b);
  EXPECT_TRUE(b.isNull());  // NOLINT(bugprone-use-after-move)
  EXPECT_EQ(1u, a.UseCount());
  EXPECT_EQ(1, g_live);
}

TEST_F(HandleTest, MovingOntoItselfKeepsTheObject) {
  Handle a(new Thing(4));
  Handle& self = a;
  a = std::move(self);
  ASSERT_FALSE(a.isNull());
  EXPECT_EQ(4, a->number);
}

TEST_F(HandleTest, AssignmentFromAHandleInsideTheOldObjectWorks) {
  Handle list(new Thing(1));
  list->next = new Thing(2);
  list->next->next = new Thing(3);
  // Releasing object 1 destroys the very handle that is assigned from.
  list = list->next;
  EXPECT_EQ(2, list->number);
  EXPECT_EQ(2, g_live);
  list = std::move(list->next);
  EXPECT_EQ(3, list->number);
  EXPECT_EQ(1, g_live);
}

// An object whose destruction looks at the handle that lets go of it.
struct Curious {
  explicit Curious(ThreadAPI_AutoPtrThreadSafe<Curious>* handle, bool* null)
      : holder(handle), saw_null(null) {}
  ~Curious() { *saw_null = holder->get() != this; }
  ThreadAPI_AutoPtrThreadSafe<Curious>* holder;
  bool* saw_null;
};

TEST_F(HandleTest, AnAssignedHandleHoldsTheNewObjectWhenTheOldOneGoes) {
  bool saw_null = false;
  ThreadAPI_AutoPtrThreadSafe<Curious> handle;
  handle = new Curious(&handle, &saw_null);
  handle = ThreadAPI_AutoPtrThreadSafe<Curious>();
  EXPECT_TRUE(saw_null);
}

TEST_F(HandleTest, DropReferenceHandsOutTheObjectOnlyToTheLast) {
  Zel_PoolReturns records(autoptrthreadsafe_internal_data::Pool());
  Handle a(new Thing(1));
  Handle b(a);
  EXPECT_EQ(nullptr, a.DropReference(records));
  EXPECT_TRUE(a.isNull());
  EXPECT_EQ(0u, a.UseCount());
  EXPECT_EQ(1u, b.UseCount());
  Thing* const thing = b.DropReference(records);
  ASSERT_NE(nullptr, thing);
  EXPECT_TRUE(b.isNull());
  EXPECT_EQ(1, g_live) << "the caller deletes it";
  EXPECT_EQ(1, thing->number);
  delete thing;
  records.GiveBack();
  EXPECT_EQ(m_records_before, RecordsInUse());
}

TEST_F(HandleTest, DropReferenceOfANullHandleFreesItsRecord) {
  Zel_PoolReturns records(autoptrthreadsafe_internal_data::Pool());
  Handle null(nullptr);
  EXPECT_EQ(nullptr, null.DropReference(records));
  records.GiveBack();
  EXPECT_EQ(m_records_before, RecordsInUse());
  EXPECT_EQ(nullptr, null.DropReference(records));
  Handle empty;
  EXPECT_EQ(nullptr, empty.DropReference(records));
}

TEST_F(HandleTest, SwapExchangesEverything) {
  Handle a(new Thing(1));
  const Handle also_a(a);
  Handle b;
  a.Swap(b);
  EXPECT_TRUE(a.isNull());
  EXPECT_EQ(1, b->number);
  EXPECT_EQ(2u, b.UseCount());
}

TEST_F(HandleTest, RecordsComeFromTheHeapWhenThePoolHasNone) {
  autoptrthreadsafe_internal_data::Pool().FailNextAllocations(1);
  {
    const Handle handle(new Thing(9));
    EXPECT_EQ(m_records_before, RecordsInUse()) << "the record is not the pool's";
    const Handle copy(handle);
    EXPECT_EQ(2u, handle.UseCount());
  }
  EXPECT_EQ(0, g_live);
}

TEST_F(HandleTest, IncreasePoolOnlyEverEnlarges) {
  Zel_PoolAllocator& pool = autoptrthreadsafe_internal_data::Pool();
  const int before = pool.GetCurrElementsInBlock();
  autoptrthreadsafe_internal_data::IncreasePool(before - 1, -1);
  EXPECT_EQ(before, pool.GetCurrElementsInBlock());
  autoptrthreadsafe_internal_data::IncreasePool(before + 1, -1);
  EXPECT_EQ(before + 1, pool.GetCurrElementsInBlock());
  pool.ResetBlockInfo(before, -1);
  EXPECT_STREQ("autoptrthreadsafe_internal_data", pool.GetName());
  EXPECT_EQ(8u, pool.GetElementSize());
}

// The handle of an incomplete type can be declared, copied and held.
struct Unknown;
struct HoldsUnknown {
  HoldsUnknown();
  HoldsUnknown(const HoldsUnknown& other);
  ~HoldsUnknown();
  ThreadAPI_AutoPtrThreadSafe<Unknown> handle;
};
struct Unknown {
  Thing thing;
};
HoldsUnknown::HoldsUnknown() : handle(new Unknown) {}
HoldsUnknown::HoldsUnknown(const HoldsUnknown& other) = default;
HoldsUnknown::~HoldsUnknown() = default;

TEST_F(HandleTest, TypesMayBeCompletedLater) {
  const HoldsUnknown a;
  const HoldsUnknown b(a);
  EXPECT_EQ(2u, b.handle.UseCount());
  EXPECT_EQ(1, g_live);
}

TEST_F(HandleTest, ThreadsCopyAndReleaseHandlesToOneObject) {
  Handle shared(new Thing(11));
  std::vector<std::thread> threads;
  std::atomic<int> wrong{0};
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([mine = shared, &wrong] {
      std::vector<Handle> copies;
      for (int i = 0; i < 5000; ++i) {
        copies.push_back(mine);
        if (copies.back()->number != 11) ++wrong;
        if (copies.size() == 100) copies.clear();
      }
    });
  }
  shared = nullptr;
  for (std::thread& thread : threads) thread.join();
  threads.clear();
  EXPECT_EQ(0, wrong);
  EXPECT_EQ(0, g_live);
}

TEST_F(HandleTest, ExactlyOneThreadReleasesTheLastHandle) {
  for (int round = 0; round < 200; ++round) {
    std::atomic<int> dropped{0};
    std::atomic<bool> go{false};
    std::vector<std::thread> threads;
    {
      Handle shared(new Thing);
      for (int t = 0; t < 3; ++t) {
        threads.emplace_back([mine = shared, &dropped, &go]() mutable {
          while (!go) std::this_thread::yield();
          Zel_PoolReturns records(autoptrthreadsafe_internal_data::Pool());
          if (Thing* const last = mine.DropReference(records)) {
            ++dropped;
            delete last;
          }
        });
      }
    }
    go = true;
    for (std::thread& thread : threads) thread.join();
    ASSERT_EQ(1, dropped);
    ASSERT_EQ(0, g_live);
  }
}

}  // namespace
