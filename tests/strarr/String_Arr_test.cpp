// Generic_String_Arr, through a small derived class, and String_Arr.

#include "strarr/String_Arr.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <type_traits>
#include <vector>

#include "strarr/Generic_String_Arr.h"
#include "support/TreeMaking.h"
#include "support/VirtualSlots.h"

namespace {

// Writes down what the base asks of it.
class Recorder : public Generic_String_Arr {
 public:
  struct Call {
    int index;
    const char* text;
    int length;
  };

  Recorder() = default;
  explicit Recorder(int array_length) : Generic_String_Arr(array_length) {}

  char* GetStr(int) const override { return nullptr; }
  void SetStr(int index, const char* text, int length) override {
    calls.push_back({index, text, length});
    if (index >= m_inserted) m_inserted = index + 1;
  }
  int GetArrLen() const override { return m_array_length; }

  void SetCounts(int array_length, int inserted) {
    m_array_length = array_length;
    m_inserted = inserted;
  }

  std::vector<Call> calls;

 protected:
  void clear() override {}
};

TEST(GenericStringArr, BeginsWithoutSlotsAndStrings) {
  Recorder array;
  EXPECT_EQ(0, array.GetArrLen());
  EXPECT_EQ(0, array.GetInsertedNum());
}

// The array length is the derived class's to set: the base does not store it.
TEST(GenericStringArr, LeavesTheNumberOfSlotsToTheDerivedClass) {
  alignas(Recorder) unsigned char memory[sizeof(Recorder)];
  std::memset(memory, 0, sizeof memory);
  Recorder* const array = new (memory) Recorder(7);
  EXPECT_EQ(0, array->GetInsertedNum());
  array->SetCounts(3, 1);
  EXPECT_EQ(3, array->GetArrLen());
  EXPECT_EQ(1, array->GetInsertedNum());
  array->~Recorder();
}

TEST(GenericStringArr, AddsBehindTheStringsWrittenSoFar) {
  Recorder array;
  Generic_String_Arr& base = array;
  const char text[] = "text";
  base.AddStr(text, 4);
  base.AddStr(text, -1);
  base.SetStr(9, text, 0);
  base.AddStr(nullptr, INT_MAX);
  ASSERT_EQ(4u, array.calls.size());
  const Recorder::Call expected[] = {
      {0, text, 4}, {1, text, -1}, {9, text, 0}, {10, nullptr, INT_MAX}};
  for (std::size_t i = 0; i < 4; ++i) {
    EXPECT_EQ(expected[i].index, array.calls[i].index);
    EXPECT_EQ(expected[i].text, array.calls[i].text);
    EXPECT_EQ(expected[i].length, array.calls[i].length);
  }
  EXPECT_EQ(11, base.GetInsertedNum());
}

TEST(GenericStringArr, ForgetsTheStringsButNotTheSlots) {
  Recorder array;
  array.SetCounts(5, 4);
  array.ClearWithoutDeleting();
  EXPECT_EQ(5, array.GetArrLen());
  EXPECT_EQ(0, array.GetInsertedNum());
  EXPECT_TRUE(array.calls.empty());
}

TEST(GenericStringArr, CopiesBothCounts) {
  Recorder source;
  source.SetCounts(5, 4);
  Recorder copy(source);
  EXPECT_EQ(5, copy.GetArrLen());
  EXPECT_EQ(4, copy.GetInsertedNum());
  Recorder assigned;
  assigned.SetCounts(9, 9);
  assigned = source;
  EXPECT_EQ(5, assigned.GetArrLen());
  EXPECT_EQ(4, assigned.GetInsertedNum());
}

TEST(GenericStringArr, IsDestroyedThroughItsBase) {
  static_assert(std::has_virtual_destructor<Generic_String_Arr>::value, "deleted by the caller");
  static_assert(std::is_abstract<Generic_String_Arr>::value, "only derived classes have slots");
  std::unique_ptr<Generic_String_Arr> array(new String_Arr(2));
  array->AddStr("a", 1);
  EXPECT_STREQ("a", array->GetStr(0));
  EXPECT_EQ(2, array->GetArrLen());
}

#if defined(__GNUC__) && defined(__x86_64__)
struct SlotsOfClear : Recorder {
  static std::ptrdiff_t Get() { return SlotOf(&SlotsOfClear::clear); }
};

struct SlotsOfStringArrClear : String_Arr {
  static std::ptrdiff_t Get() { return SlotOf(&SlotsOfStringArrClear::clear); }
};

TEST(GenericStringArr, KeepsTheOrderOfItsVirtualFunctions) {
  EXPECT_EQ(2, SlotOf(&Generic_String_Arr::ClearWithoutDeleting));
  EXPECT_EQ(3, SlotOf(&Generic_String_Arr::GetStr));
  EXPECT_EQ(4, SlotOf(&Generic_String_Arr::SetStr));
  EXPECT_EQ(5, SlotOf(&Generic_String_Arr::AddStr));
  EXPECT_EQ(6, SlotOf(&Generic_String_Arr::GetArrLen));
  EXPECT_EQ(7, SlotsOfClear::Get());
  EXPECT_EQ(3, SlotOf(&String_Arr::GetStr));
  EXPECT_EQ(4, SlotOf(&String_Arr::SetStr));
  EXPECT_EQ(6, SlotOf(&String_Arr::GetArrLen));
  EXPECT_EQ(7, SlotsOfStringArrClear::Get());
}
#endif

// Lets a test clear an array.
class Clearable : public String_Arr {
 public:
  using String_Arr::clear;
  using String_Arr::String_Arr;
};

TEST(StringArr, BeginsWithoutSlotsByDefault) {
  String_Arr array;
  EXPECT_EQ(0, array.GetArrLen());
  EXPECT_EQ(0, array.GetInsertedNum());
  EXPECT_EQ(nullptr, array.GetStr(0));
  EXPECT_EQ(nullptr, array.GetStr(-1));
  EXPECT_EQ(nullptr, array.GetStrArray());
}

TEST(StringArr, BeginsWithAsManyEmptySlotsAsAskedFor) {
  for (int length : {0, 1, 4, 1000}) {
    SCOPED_TRACE(length);
    String_Arr array(length);
    EXPECT_EQ(length, array.GetArrLen());
    EXPECT_EQ(0, array.GetInsertedNum());
    for (int i = 0; i < length; ++i) {
      ASSERT_NE(nullptr, array.GetStr(i));
      // New slots are zero to their last byte.
      EXPECT_EQ(std::string(256, '\0'), std::string(array.GetStr(i), 256));
    }
    EXPECT_EQ(nullptr, array.GetStr(length));
    EXPECT_EQ(nullptr, array.GetStr(INT_MAX));
    EXPECT_EQ(nullptr, array.GetStr(-1));
    EXPECT_EQ(nullptr, array.GetStr(INT_MIN));
  }
}

TEST(StringArr, RefusesANegativeNumberOfSlots) {
  EXPECT_THROW(String_Arr(-1), std::bad_alloc);
  EXPECT_THROW(String_Arr{INT_MIN}, std::bad_alloc);
}

TEST(StringArr, AddsStringsAndGrowsByFive) {
  String_Arr array(3);
  for (int i = 0; i < 3; ++i) {
    array.AddStr("a", 1);
    EXPECT_EQ(3, array.GetArrLen());
    EXPECT_EQ(i + 1, array.GetInsertedNum());
  }
  array.AddStr("d", 1);
  EXPECT_EQ(8, array.GetArrLen());
  EXPECT_EQ(4, array.GetInsertedNum());
  EXPECT_STREQ("a", array.GetStr(0));
  EXPECT_STREQ("a", array.GetStr(2));
  EXPECT_STREQ("d", array.GetStr(3));
  for (int i = 4; i < 8; ++i) {
    EXPECT_EQ(std::string(256, '\0'), std::string(array.GetStr(i), 256));
  }
  EXPECT_EQ(nullptr, array.GetStr(8));
}

TEST(StringArr, GrowsFromNothing) {
  String_Arr never_sized;
  never_sized.AddStr("a", 1);
  EXPECT_EQ(5, never_sized.GetArrLen());
  EXPECT_STREQ("a", never_sized.GetStr(0));
  String_Arr none(0);
  none.SetStr(0, "b", 1);
  EXPECT_EQ(5, none.GetArrLen());
  EXPECT_STREQ("b", none.GetStr(0));
}

TEST(StringArr, MovesItsSlotsWhenItGrows) {
  String_Arr array(2);
  array.AddStr("a", 1);
  array.AddStr("b", 1);
  char* const a = array.GetStr(0);
  char* const b = array.GetStr(1);
  // The text to add may stand in the array itself.
  array.AddStr(a, 1);
  EXPECT_EQ(7, array.GetArrLen());
  EXPECT_EQ(a, array.GetStr(0));
  EXPECT_EQ(b, array.GetStr(1));
  EXPECT_STREQ("a", array.GetStr(2));
}

struct GrowCase {
  int slots;
  int index;
  int slots_after;
};

const GrowCase kGrowCases[] = {
    {4, 0, 4},
    {4, 3, 4},
    // One step of five serves up to five slots behind the end.
    {4, 4, 9},
    {4, 8, 9},
    // What lies further takes further steps.
    {4, 9, 14},
    {4, 13, 14},
    {4, 14, 19},
    {0, 0, 5},
    {0, 4, 5},
    {0, 5, 10},
    {3, 20, 23},
    {1, 1000, 1001},
    {2, 1000, 1002},
    {4, 1000, 1004},
    {5, 1000, 1005},
};

TEST(StringArr, GrowsInStepsOfFiveUntilTheSlotExists) {
  for (const GrowCase& row : kGrowCases) {
    SCOPED_TRACE(testing::Message() << row.slots << " slots, index " << row.index);
    String_Arr array(row.slots);
    array.SetStr(row.index, "x", 1);
    EXPECT_EQ(row.slots_after, array.GetArrLen());
    EXPECT_EQ(row.index + 1, array.GetInsertedNum());
    EXPECT_STREQ("x", array.GetStr(row.index));
    for (int i = 0; i < row.slots_after; ++i) {
      if (i != row.index) {
        EXPECT_STREQ("", array.GetStr(i));
      }
    }
    EXPECT_EQ(nullptr, array.GetStr(row.slots_after));
  }
}

TEST(StringArr, CountsUpToTheHighestIndexWritten) {
  String_Arr array(4);
  array.SetStr(2, "x", 0);
  EXPECT_EQ(3, array.GetInsertedNum());
  EXPECT_STREQ("", array.GetStr(1));
  EXPECT_EQ(nullptr, array.GetStr(4));
  array.SetStr(0, "y", 0);
  EXPECT_EQ(3, array.GetInsertedNum());
  array.AddStr("z", 0);
  EXPECT_EQ(4, array.GetInsertedNum());
  EXPECT_STREQ("y", array.GetStr(0));
  EXPECT_STREQ("x", array.GetStr(2));
  EXPECT_STREQ("z", array.GetStr(3));
  EXPECT_EQ(4, array.GetArrLen());
}

TEST(StringArr, IgnoresANegativeIndex) {
  String_Arr array(2);
  array.AddStr("a", 1);
  array.SetStr(-1, "x", 1);
  array.SetStr(INT_MIN, "x", 1);
  EXPECT_EQ(2, array.GetArrLen());
  EXPECT_EQ(1, array.GetInsertedNum());
  EXPECT_STREQ("a", array.GetStr(0));
  EXPECT_STREQ("", array.GetStr(1));
}

TEST(StringArr, CopiesUpToTheZeroByteWhateverTheLengthSays) {
  String_Arr array(1);
  for (int length : {-1, 0, 1, 5, INT_MAX, INT_MIN}) {
    array.SetStr(0, "hello", length);
    EXPECT_STREQ("hello", array.GetStr(0));
    array.SetStr(0, "hi\0there", length);
    EXPECT_STREQ("hi", array.GetStr(0));
    array.SetStr(0, "", length);
    EXPECT_STREQ("", array.GetStr(0));
  }
}

TEST(StringArr, CutsAtTheWidthOfASlot) {
  String_Arr array(2);
  array.SetStr(1, "untouched", 0);
  const std::string text(5000, 't');
  for (std::size_t length : {254u, 255u, 256u, 257u, 5000u}) {
    SCOPED_TRACE(length);
    array.SetStr(0, text.substr(0, length).c_str(), static_cast<int>(length));
    EXPECT_EQ(text.substr(0, length < 255 ? length : 255), array.GetStr(0));
  }
  EXPECT_STREQ("untouched", array.GetStr(1));
}

TEST(StringArr, IsUnchangedByASlotSetToItself) {
  String_Arr array(1);
  array.SetStr(0, "same", 4);
  array.SetStr(0, array.GetStr(0), 4);
  EXPECT_STREQ("same", array.GetStr(0));
}

TEST(StringArr, WritesSlotZeroAgainOnceItsStringsAreForgotten) {
  String_Arr array(2);
  array.AddStr("a", 1);
  array.AddStr("b", 1);
  char* const slot = array.GetStr(0);
  const char** const table = array.GetStrArray();
  array.ClearWithoutDeleting();
  EXPECT_EQ(0, array.GetInsertedNum());
  EXPECT_EQ(2, array.GetArrLen());
  EXPECT_STREQ("a", array.GetStr(0));
  EXPECT_STREQ("b", array.GetStr(1));
  array.AddStr("c", 1);
  EXPECT_EQ(1, array.GetInsertedNum());
  EXPECT_EQ(slot, array.GetStr(0));
  EXPECT_EQ(table, array.GetStrArray());
  EXPECT_STREQ("c", array.GetStr(0));
  EXPECT_STREQ("b", array.GetStr(1));
}

TEST(StringArr, HandsOutTheTableItself) {
  String_Arr array(3);
  array.AddStr("a", 1);
  const char** const table = array.GetStrArray();
  ASSERT_NE(nullptr, table);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(array.GetStr(i), table[i]);
  array.AddStr("b", 1);
  EXPECT_EQ(table, array.GetStrArray());
  EXPECT_STREQ("b", table[1]);
  array.SetStr(3, "d", 1);
  const char** const grown = array.GetStrArray();
  for (int i = 0; i < 8; ++i) EXPECT_EQ(array.GetStr(i), grown[i]);
}

TEST(StringArr, IsEmptyOnceItIsCleared) {
  Clearable array(3);
  array.AddStr("a", 1);
  array.clear();
  EXPECT_EQ(0, array.GetArrLen());
  EXPECT_EQ(0, array.GetInsertedNum());
  EXPECT_EQ(nullptr, array.GetStr(0));
  EXPECT_EQ(nullptr, array.GetStrArray());
  array.clear();
  array.AddStr("b", 1);
  EXPECT_EQ(5, array.GetArrLen());
  EXPECT_STREQ("b", array.GetStr(0));
}

// A copy shares table and slots, so only one of the two may be destroyed.
TEST(StringArr, CopiesShareTheSlotsOfTheirSource) {
  String_Arr source(2);
  source.AddStr("a", 1);

  alignas(String_Arr) unsigned char copy_memory[sizeof(String_Arr)];
  String_Arr* const copy = new (copy_memory) String_Arr(source);
  EXPECT_EQ(2, copy->GetArrLen());
  EXPECT_EQ(1, copy->GetInsertedNum());
  EXPECT_EQ(source.GetStrArray(), copy->GetStrArray());
  source.SetStr(0, "changed", 1);
  EXPECT_STREQ("changed", copy->GetStr(0));
  // The counts are each one's own.
  copy->AddStr("b", 1);
  EXPECT_EQ(2, copy->GetInsertedNum());
  EXPECT_EQ(1, source.GetInsertedNum());
  EXPECT_STREQ("b", source.GetStr(1));

  alignas(String_Arr) unsigned char assigned_memory[sizeof(String_Arr)];
  String_Arr* const assigned = new (assigned_memory) String_Arr();
  *assigned = source;
  EXPECT_EQ(source.GetStrArray(), assigned->GetStrArray());
  EXPECT_EQ(2, assigned->GetArrLen());
  EXPECT_EQ(1, assigned->GetInsertedNum());

  String_Arr& same = source;
  source = same;
  EXPECT_EQ(2, source.GetArrLen());
  EXPECT_STREQ("changed", source.GetStr(0));
}

TEST(StringArr, HoldsTwentyThousandStrings) {
  String_Arr array;
  for (int i = 0; i < 20000; ++i) array.AddStr(std::to_string(i).c_str(), -1);
  EXPECT_EQ(20000, array.GetInsertedNum());
  EXPECT_EQ(20000, array.GetArrLen());
  for (int i = 0; i < 20000; ++i) ASSERT_EQ(std::to_string(i), array.GetStr(i));
}

TEST(StringArr, LosesNothingWhenMemoryRunsOut) {
  if (!HeapIsCounted()) GTEST_SKIP() << "needs the counting heap";
  const int made = FailEveryAllocation([] { String_Arr array(10); }, [] {});
  EXPECT_LT(0, made);

  String_Arr array(2);
  array.AddStr("a", 1);
  array.AddStr("b", 1);
  const auto expect_sound = [&array] {
    EXPECT_EQ(2, array.GetInsertedNum());
    EXPECT_STREQ("a", array.GetStr(0));
    EXPECT_STREQ("b", array.GetStr(1));
    for (int i = 0; i < array.GetArrLen(); ++i) EXPECT_NE(nullptr, array.GetStr(i));
    EXPECT_EQ(nullptr, array.GetStr(array.GetArrLen()));
  };
  const int grown = FailEveryAllocation([&] { array.SetStr(30, "x", 1); }, expect_sound);
  EXPECT_LT(0, grown);
  EXPECT_STREQ("x", array.GetStr(30));
}

}  // namespace
