// Dynamic_String_Arr: strings of any length, and the flat block of bytes that they are
// written into and read from.
//
// Copies share the buffers of their source, and strings that a slot held before are not
// freed when it is written again.  The tests keep such strings with a copy, an array that
// nothing else is done with, and take them from whoever must not free them with Forget.

#include "strarr/Dynamic_String_Arr.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstring>
#include <locale>
#include <memory>
#include <new>
#include <string>
#include <type_traits>
#include <vector>

#include "support/TreeMaking.h"
#include "support/VirtualSlots.h"

namespace {

// Lets a test clear an array and set its counts.
class Opened : public Dynamic_String_Arr {
 public:
  using Dynamic_String_Arr::clear;
  using Dynamic_String_Arr::Dynamic_String_Arr;

  void SetInserted(int inserted) { m_inserted = inserted; }
};

// Empties an array without freeing its strings: assignment frees nothing.
void Forget(Dynamic_String_Arr& array) {
  const Dynamic_String_Arr empty;
  array = empty;
}

// A flat block; a bar stands for a zero byte.
std::string Bar(std::string text) {
  std::replace(text.begin(), text.end(), '|', '\0');
  return text;
}

// The same for reading: the reader wants char*.
std::vector<char> Block(const std::string& text) {
  const std::string bytes = Bar(text);
  return std::vector<char>(bytes.begin(), bytes.end());
}

void Read(Dynamic_String_Arr& array, std::vector<char> block) {
  array.ReadFromFlattenedByteArray(block.data());
}

// The bytes that the array writes.
std::string Flattened(const Dynamic_String_Arr& array) {
  char* out = nullptr;
  const int size = array.FlattenToByteArray(out);
  if (out == nullptr || size < 0) return "no block";
  const std::string bytes(out, static_cast<std::size_t>(size));
  ::operator delete(out);
  return bytes;
}

void Add(Dynamic_String_Arr& array, const std::string& text) {
  array.AddStr(text.data(), static_cast<int>(text.size()));
}

// The strings of the first `count` slots, each with the zero byte that closes it.
std::vector<std::string> Strings(const Dynamic_String_Arr& array, int count) {
  std::vector<std::string> strings;
  for (int i = 0; i < count; ++i) {
    const char* const text = array.GetStr(i);
    const int length = array.GetLength(i);
    if (text == nullptr || length < 0) {
      strings.emplace_back("nothing");
      continue;
    }
    EXPECT_EQ('\0', text[length]);
    strings.emplace_back(text, static_cast<std::size_t>(length));
  }
  return strings;
}

using Texts = std::vector<std::string>;

void ExpectUnwritten(const Dynamic_String_Arr& array, int from) {
  for (int i = from; i < array.GetArrLen(); ++i) {
    SCOPED_TRACE(i);
    EXPECT_EQ(nullptr, array.GetStr(i));
    EXPECT_EQ(-1, array.GetLength(i));
  }
}

// --- Making one -------------------------------------------------------------------

TEST(DynamicStringArr, BeginsWithoutSlotsByDefault) {
  const Dynamic_String_Arr array;
  EXPECT_EQ(0, array.GetArrLen());
  EXPECT_EQ(0, array.GetInsertedNum());
  EXPECT_EQ(-1, array.GetLength(0));
  EXPECT_EQ(-1, array.GetLength(-1));
}

TEST(DynamicStringArr, BeginsWithAsManyUnwrittenSlotsAsAskedFor) {
  for (int length : {0, 1, 4, 1000}) {
    SCOPED_TRACE(length);
    const Dynamic_String_Arr array(length);
    EXPECT_EQ(length, array.GetArrLen());
    EXPECT_EQ(0, array.GetInsertedNum());
    ExpectUnwritten(array, 0);
    EXPECT_EQ(-1, array.GetLength(length));
  }
}

TEST(DynamicStringArr, RefusesANegativeNumberOfSlots) {
  EXPECT_THROW(Dynamic_String_Arr(-1), std::bad_alloc);
  EXPECT_THROW(Dynamic_String_Arr{INT_MIN}, std::bad_alloc);
}

TEST(DynamicStringArr, IsAGenericStringArr) {
  static_assert(std::is_base_of<Generic_String_Arr, Dynamic_String_Arr>::value, "one interface");
  const std::unique_ptr<Generic_String_Arr> array(new Dynamic_String_Arr(1));
  array->AddStr("one", -1);
  array->AddStr("two and more", 3);
  array->SetStr(0, "three", -1);
  EXPECT_STREQ("one", array->GetStr(0));
  EXPECT_STREQ("two", array->GetStr(1));
  EXPECT_STREQ("three", array->GetStr(2));
  EXPECT_EQ(4, array->GetArrLen());
  EXPECT_EQ(3, array->GetInsertedNum());
}

TEST(DynamicStringArr, IsAnsweredByItsOwnOverridesThroughTheBase) {
  // Written through the base, seen with the methods that only this class has.
  Dynamic_String_Arr array(2);
  Generic_String_Arr& base = array;
  base.SetStr(1, "abc", 2);
  EXPECT_EQ(2, array.GetLength(0));
  EXPECT_EQ(array.GetStr(0), base.GetStr(0));
  const std::unique_ptr<Dynamic_String_Arr> keeper(new Dynamic_String_Arr(array));
  base.ClearWithoutDeleting();
  EXPECT_EQ(0, array.GetInsertedNum());
  EXPECT_EQ(2, array.GetArrLen());
  EXPECT_STREQ("ab", base.GetStr(0));
  Forget(*keeper);
}

#if defined(__GNUC__) && defined(__x86_64__)
struct SlotOfClear : Dynamic_String_Arr {
  static std::ptrdiff_t Get() { return SlotOf(&SlotOfClear::clear); }
};

TEST(DynamicStringArr, KeepsTheOrderOfTheVirtualFunctionsOfItsBase) {
  EXPECT_EQ(2, SlotOf(&Dynamic_String_Arr::ClearWithoutDeleting));
  EXPECT_EQ(3, SlotOf(&Dynamic_String_Arr::GetStr));
  EXPECT_EQ(4, SlotOf(&Dynamic_String_Arr::SetStr));
  EXPECT_EQ(5, SlotOf(&Dynamic_String_Arr::AddStr));
  EXPECT_EQ(6, SlotOf(&Dynamic_String_Arr::GetArrLen));
  EXPECT_EQ(7, SlotOfClear::Get());
}
#endif

// --- Writing ----------------------------------------------------------------------

struct TextCase {
  const char* heading;
  std::string text;  // without its closing zero byte
  int length;        // as passed
  std::string held;
};

const TextCase kTexts[] = {
    {"a negative length means up to the zero byte", "text", -1, "text"},
    {"any negative length does", "text", INT_MIN, "text"},
    {"nothing before the zero byte", "", -1, ""},
    {"a length of 0 is the empty string", "text", 0, ""},
    {"a length cuts", "text", 3, "tex"},
    {"the whole length", "text", 4, "text"},
    {"the zero byte may be part of it", "text", 5, std::string("text\0", 5)},
    {"zero bytes inside stay", std::string("a\0b\0\0c", 6), 6, std::string("a\0b\0\0c", 6)},
    {"a negative length stops at a zero byte inside", std::string("a\0b", 3), -1, "a"},
    {"bytes that are no ASCII", "\x80\xff\x01", -1, "\x80\xff\x01"},
    {"longer than a slot of the other string array", std::string(5000, 'l'), -1,
     std::string(5000, 'l')},
    {"a million bytes", std::string(1000000, 'm'), 1000000, std::string(1000000, 'm')},
};

TEST(DynamicStringArr, HoldsTheBytesThatTheLengthSays) {
  for (const TextCase& c : kTexts) {
    SCOPED_TRACE(c.heading);
    Dynamic_String_Arr array(2);
    array.AddStr(c.text.data(), c.length);
    array.SetStr(0, c.text.data(), c.length);
    EXPECT_EQ((Texts{c.held, c.held}), Strings(array, 2));
    EXPECT_EQ(static_cast<int>(c.held.size()), array.GetLength(1));
    EXPECT_NE(array.GetStr(0), array.GetStr(1));
    EXPECT_NE(c.text.data(), array.GetStr(0));
    EXPECT_EQ(2, array.GetInsertedNum());
  }
}

TEST(DynamicStringArr, HoldsACopyOfTheText) {
  Dynamic_String_Arr array(1);
  char text[] = "before";
  array.AddStr(text, -1);
  std::memcpy(text, "after!", 6);
  EXPECT_STREQ("before", array.GetStr(0));
  // The buffer is the caller's to write in.
  array.GetStr(0)[0] = 'B';
  EXPECT_STREQ("Before", array.GetStr(0));
}

TEST(DynamicStringArr, IgnoresANegativeIndex) {
  Dynamic_String_Arr array(2);
  array.SetStr(-1, "text", -1);
  array.SetStr(INT_MIN, "text", 4);
  array.SetStr(-1, nullptr, -1);
  EXPECT_EQ(2, array.GetArrLen());
  EXPECT_EQ(0, array.GetInsertedNum());
  ExpectUnwritten(array, 0);
}

struct GrowthCase {
  const char* heading;
  int slots;    // -1: made by the default constructor
  int strings;  // added before
  int index;    // of the SetStr in question
  int slots_after;
};

const GrowthCase kGrowths[] = {
    // An index within the array changes nothing.
    {"the first slot", 4, 0, 0, 4},
    {"the last slot", 4, 0, 3, 4},
    {"a slot that is written", 4, 2, 0, 4},
    {"the slot behind the strings", 4, 2, 2, 4},
    // An index behind it doubles the array, once.
    {"behind the end", 2, 0, 2, 4},
    {"far behind the end", 2, 0, 7, 4},
    {"as far as it goes", 2, 0, INT_MAX, 4},
    {"behind the end of one slot", 1, 0, 1, 2},
    {"behind the end of a full array", 2, 2, 2, 4},
    {"far behind the end of a full array", 3, 3, 100, 6},
    {"behind the end of an array with room", 5, 1, 5, 10},
    // A full array must grow, whatever the index says.
    {"a low index in a full array", 2, 2, 0, 4},
    {"the last index in a full array", 3, 3, 2, 6},
    {"a low index in a full array of one slot", 1, 1, 0, 2},
    // Doubling nothing gives nothing, so the array grows by the slot that it needs.
    {"the first string of a default array", -1, 0, 0, 1},
    {"a far index in a default array", -1, 0, 7, 1},
    {"the first string of an array of no slots", 0, 0, 0, 1},
    {"the second string of a default array", -1, 1, 1, 2},
    {"the second string of a default array at a low index", -1, 1, 0, 2},
    {"the third string of a default array", -1, 2, 2, 4},
    {"the fifth string of a default array", -1, 4, 4, 8},
};

TEST(DynamicStringArr, AppendsWhateverTheIndexSaysAndDoublesForAnIndexBehindTheEnd) {
  for (const GrowthCase& c : kGrowths) {
    SCOPED_TRACE(c.heading);
    const std::unique_ptr<Dynamic_String_Arr> array(c.slots < 0 ? new Dynamic_String_Arr()
                                                                : new Dynamic_String_Arr(c.slots));
    Texts expected;
    for (int i = 0; i < c.strings; ++i) {
      expected.push_back(std::to_string(i));
      Add(*array, expected.back());
    }
    array->SetStr(c.index, "the text", -1);
    expected.push_back("the text");
    EXPECT_EQ(c.slots_after, array->GetArrLen());
    EXPECT_EQ(c.strings + 1, array->GetInsertedNum());
    EXPECT_EQ(expected, Strings(*array, c.strings + 1));
    ExpectUnwritten(*array, c.strings + 1);
  }
}

TEST(DynamicStringArr, KeepsTheBuffersWhenItGrows) {
  Dynamic_String_Arr array(1);
  array.AddStr("first", -1);
  char* const first = array.GetStr(0);
  for (int i = 0; i < 100; ++i) array.AddStr("more", -1);
  EXPECT_EQ(first, array.GetStr(0));
  EXPECT_EQ(128, array.GetArrLen());
  EXPECT_EQ(101, array.GetInsertedNum());
}

TEST(DynamicStringArr, HoldsTwoHundredThousandStrings) {
  constexpr int kCount = 200000;
  Dynamic_String_Arr array;
  for (int i = 0; i < kCount; ++i) Add(array, std::to_string(i));
  EXPECT_EQ(262144, array.GetArrLen());
  EXPECT_EQ(kCount, array.GetInsertedNum());
  for (int i = 0; i < kCount; i += 997) ASSERT_EQ(std::to_string(i), array.GetStr(i));

  Dynamic_String_Arr copy;
  char* out = nullptr;
  array.FlattenToByteArray(out);
  copy.ReadFromFlattenedByteArray(out);
  ::operator delete(out);
  EXPECT_EQ(kCount, copy.GetArrLen());
  EXPECT_EQ(kCount, copy.GetInsertedNum());
  for (int i = 0; i < kCount; ++i) {
    ASSERT_EQ(array.GetLength(i), copy.GetLength(i));
    ASSERT_STREQ(array.GetStr(i), copy.GetStr(i));
  }
}

TEST(DynamicStringArr, TellsALengthOnlyOfSlotsThatItHas) {
  Dynamic_String_Arr array(4);
  array.AddStr("abc", -1);
  EXPECT_EQ(3, array.GetLength(0));
  EXPECT_EQ(-1, array.GetLength(1));
  EXPECT_EQ(-1, array.GetLength(3));
  EXPECT_EQ(-1, array.GetLength(4));
  EXPECT_EQ(-1, array.GetLength(-1));
  EXPECT_EQ(-1, array.GetLength(INT_MAX));
  EXPECT_EQ(-1, array.GetLength(INT_MIN));
}

// --- Clearing ---------------------------------------------------------------------

TEST(DynamicStringArr, WritesSlotZeroAgainOnceItsStringsAreForgotten) {
  Dynamic_String_Arr array(2);
  array.AddStr("old 0", -1);
  array.AddStr("old 1", -1);
  // What the slots held before is not freed, so that somebody else must.
  const Dynamic_String_Arr keeper(array);
  array.ClearWithoutDeleting();
  EXPECT_EQ(0, array.GetInsertedNum());
  EXPECT_EQ(2, array.GetArrLen());
  EXPECT_EQ((Texts{"old 0", "old 1"}), Strings(array, 2));

  array.AddStr("new 0", -1);
  EXPECT_EQ(1, array.GetInsertedNum());
  EXPECT_EQ(2, array.GetArrLen());
  EXPECT_EQ((Texts{"new 0", "old 1"}), Strings(array, 2));
  array.AddStr("new 1", -1);
  EXPECT_EQ((Texts{"new 0", "new 1"}), Strings(array, 2));
  EXPECT_EQ((Texts{"old 0", "old 1"}), Strings(keeper, 2));
}

TEST(DynamicStringArr, FlattensToNothingOnceItsStringsAreForgotten) {
  Dynamic_String_Arr array(2);
  array.AddStr("old", -1);
  array.ClearWithoutDeleting();
  EXPECT_EQ(Bar("0|"), Flattened(array));
}

TEST(DynamicStringArr, IsEmptyOnceItIsCleared) {
  Opened array(3);
  array.AddStr("a", -1);
  array.AddStr("b", -1);
  array.clear();
  EXPECT_EQ(0, array.GetArrLen());
  EXPECT_EQ(0, array.GetInsertedNum());
  EXPECT_EQ(-1, array.GetLength(0));
  array.clear();
  EXPECT_EQ(0, array.GetArrLen());
  EXPECT_EQ(Bar("0|"), Flattened(array));

  // It may be used again, and begins like a default array.
  array.AddStr("c", -1);
  EXPECT_EQ(1, array.GetArrLen());
  EXPECT_EQ(1, array.GetInsertedNum());
  EXPECT_EQ((Texts{"c"}), Strings(array, 1));
}

TEST(DynamicStringArr, FreesEverySlotWhenClearedAndNotOnlyTheCountedOnes) {
  Opened array(3);
  array.AddStr("a", -1);
  array.AddStr("b", -1);
  array.ClearWithoutDeleting();
  array.clear();  // the leak check misses "a" and "b" otherwise
  EXPECT_EQ(0, array.GetArrLen());
}

// --- Copies -----------------------------------------------------------------------

TEST(DynamicStringArr, CopiesShareTheBuffersOfTheirSource) {
  Dynamic_String_Arr source(3);
  source.AddStr("a", -1);
  source.AddStr("bc", -1);
  Dynamic_String_Arr copy(source);
  EXPECT_EQ(3, copy.GetArrLen());
  EXPECT_EQ(2, copy.GetInsertedNum());
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(source.GetStr(i), copy.GetStr(i));
    EXPECT_EQ(source.GetLength(i), copy.GetLength(i));
  }
  source.GetStr(0)[0] = 'A';
  EXPECT_STREQ("A", copy.GetStr(0));
  EXPECT_EQ(Flattened(source), Flattened(copy));
  Forget(copy);
  EXPECT_STREQ("A", source.GetStr(0));
}

TEST(DynamicStringArr, CopiesGrowEachForItself) {
  Dynamic_String_Arr source(1);
  Dynamic_String_Arr copy(source);  // nothing written yet, so nothing is shared
  source.AddStr("in the source", -1);
  copy.AddStr("in the copy", -1);
  copy.AddStr("and one more", -1);
  EXPECT_EQ(1, source.GetArrLen());
  EXPECT_EQ(2, copy.GetArrLen());
  EXPECT_EQ((Texts{"in the source"}), Strings(source, 1));
  EXPECT_EQ((Texts{"in the copy", "and one more"}), Strings(copy, 2));
}

TEST(DynamicStringArr, AssignmentSharesAndFreesNothing) {
  Dynamic_String_Arr source(2);
  source.AddStr("shared", -1);
  Dynamic_String_Arr target(5);
  target.AddStr("lost by the target", -1);
  const Dynamic_String_Arr keeper(target);
  target = source;
  EXPECT_EQ(2, target.GetArrLen());
  EXPECT_EQ(1, target.GetInsertedNum());
  EXPECT_EQ(source.GetStr(0), target.GetStr(0));
  EXPECT_EQ(6, target.GetLength(0));
  EXPECT_STREQ("lost by the target", keeper.GetStr(0));
  Forget(target);
}

TEST(DynamicStringArr, AssignmentToItselfChangesNothing) {
  Dynamic_String_Arr array(2);
  array.AddStr("text", -1);
  Dynamic_String_Arr& same = array;
  array = same;
  EXPECT_EQ(2, array.GetArrLen());
  EXPECT_EQ(1, array.GetInsertedNum());
  EXPECT_EQ((Texts{"text"}), Strings(array, 1));
}

// --- The flat block -----------------------------------------------------------------

struct FlatCase {
  const char* heading;
  Texts strings;
  std::string block;
};

const FlatCase kFlats[] = {
    {"no string", {}, Bar("0|")},
    {"one empty string", {""}, Bar("1|0||")},
    {"one letter", {"a"}, Bar("1|1|a|")},
    {"two strings", {"ab", ""}, Bar("2|2|ab|0||")},
    {"a zero byte inside", {std::string("a\0b", 3), "c"}, Bar("2|3|a|b|1|c|")},
    {"nothing but zero bytes", {std::string(2, '\0')}, Bar("1|2||||")},
    {"digits, blanks and signs", {"12", " 3", "-4"}, Bar("3|2|12|2| 3|2|-4|")},
    {"two digits of length", {"0123456789"}, Bar("1|10|0123456789|")},
    {"two digits of count", Texts(10, ""), Bar("10|0||0||0||0||0||0||0||0||0||0||")},
};

TEST(DynamicStringArr, WritesItsStringsIntoOneBlock) {
  for (const FlatCase& c : kFlats) {
    SCOPED_TRACE(c.heading);
    Dynamic_String_Arr array;
    for (const std::string& text : c.strings) Add(array, text);
    EXPECT_EQ(c.block, Flattened(array));
    EXPECT_EQ(c.block, Flattened(array)) << "the second time";
    EXPECT_EQ(static_cast<int>(c.strings.size()), array.GetInsertedNum());
  }
}

TEST(DynamicStringArr, WritesOnlyTheStringsAndNoUnwrittenSlots) {
  Dynamic_String_Arr array(9);
  EXPECT_EQ(Bar("0|"), Flattened(array));
  array.AddStr("x", -1);
  EXPECT_EQ(Bar("1|1|x|"), Flattened(array));
}

TEST(DynamicStringArr, WritesAnUnwrittenSlotThatIsCountedWithItsLengthOfMinusOne) {
  Opened array(2);
  array.SetInserted(2);
  EXPECT_EQ(Bar("2|-1|-1|"), Flattened(array));
}

// Ten bytes for each string beside its own, and ten more.
TEST(DynamicStringArr, MakesTheBlockLargeEnoughForTheLongestNumbers) {
  for (const Texts& texts : {Texts{}, Texts{"ab", ""}, Texts{std::string(123456, 'x')}}) {
    Dynamic_String_Arr array;
    std::size_t size = 10;
    for (const std::string& text : texts) {
      Add(array, text);
      size += 10 + text.size();
    }
    char* out = nullptr;
    const int used = array.FlattenToByteArray(out);
    ASSERT_NE(nullptr, out);
    ASSERT_LE(static_cast<std::size_t>(used), size);
    // All of it is the caller's.
    const std::string first(out, static_cast<std::size_t>(used));
    std::memset(out + used, 0x5a, size - static_cast<std::size_t>(used));
    EXPECT_EQ(first, std::string(out, static_cast<std::size_t>(used)));
    ::operator delete(out);
  }
}

TEST(DynamicStringArr, HandsTheBlockOutAndKeepsNothingOfIt) {
  char* out = nullptr;
  {
    Dynamic_String_Arr array;
    array.AddStr("text", -1);
    EXPECT_EQ(9, array.FlattenToByteArray(out));
    std::memset(out, 'z', 9);
    EXPECT_STREQ("text", array.GetStr(0));
  }
  EXPECT_EQ(std::string(9, 'z'), std::string(out, 9));
  ::operator delete(out);
}

TEST(DynamicStringArr, ReadsWhatItWrote) {
  for (const FlatCase& c : kFlats) {
    SCOPED_TRACE(c.heading);
    Dynamic_String_Arr array;
    Read(array, std::vector<char>(c.block.begin(), c.block.end()));
    const int count = static_cast<int>(c.strings.size());
    EXPECT_EQ(count, array.GetArrLen());
    EXPECT_EQ(count, array.GetInsertedNum());
    EXPECT_EQ(c.strings, Strings(array, count));
    EXPECT_EQ(c.block, Flattened(array));
  }
}

TEST(DynamicStringArr, ReadsCopiesOfTheBytes) {
  std::vector<char> block = Block("1|2|ab|");
  Dynamic_String_Arr array;
  array.ReadFromFlattenedByteArray(block.data());
  block.assign(block.size(), 'z');
  EXPECT_EQ((Texts{"ab"}), Strings(array, 1));
}

TEST(DynamicStringArr, GoesOnBehindWhatItRead) {
  Dynamic_String_Arr array;
  Read(array, Block("2|1|a|1|b|"));
  array.AddStr("c", -1);
  EXPECT_EQ(4, array.GetArrLen());
  EXPECT_EQ(3, array.GetInsertedNum());
  EXPECT_EQ((Texts{"a", "b", "c"}), Strings(array, 3));
}

TEST(DynamicStringArr, ReadsNothingFromNull) {
  Dynamic_String_Arr array(2);
  array.AddStr("text", -1);
  array.ReadFromFlattenedByteArray(nullptr);
  EXPECT_EQ(2, array.GetArrLen());
  EXPECT_EQ(1, array.GetInsertedNum());
  EXPECT_EQ((Texts{"text"}), Strings(array, 1));
}

// Slots are filled from the first, nothing is freed, and the strings read are added to
// the number of those that were there.
TEST(DynamicStringArr, ReadsOverTheStringsThatItHolds) {
  Dynamic_String_Arr array(3);
  array.AddStr("old 0", -1);
  array.AddStr("old 1", -1);
  array.AddStr("old 2", -1);
  const Dynamic_String_Arr keeper(array);
  Read(array, Block("2|3|new|4|also|"));
  EXPECT_EQ(2, array.GetArrLen());
  EXPECT_EQ(5, array.GetInsertedNum());
  EXPECT_EQ((Texts{"new", "also"}), Strings(array, 2));
  EXPECT_EQ(-1, array.GetLength(2));
  EXPECT_EQ((Texts{"old 0", "old 1", "old 2"}), Strings(keeper, 3));
}

TEST(DynamicStringArr, GrowsToWhatItReads) {
  Dynamic_String_Arr array(1);
  array.AddStr("old", -1);
  const Dynamic_String_Arr keeper(array);
  Read(array, Block("3|1|a|1|b|1|c|"));
  EXPECT_EQ(3, array.GetArrLen());
  EXPECT_EQ(4, array.GetInsertedNum());
  EXPECT_EQ((Texts{"a", "b", "c"}), Strings(array, 3));
}

TEST(DynamicStringArr, ReadsIntoUnwrittenSlots) {
  Dynamic_String_Arr array(5);
  Read(array, Block("2|1|a|1|b|"));
  EXPECT_EQ(2, array.GetArrLen());
  EXPECT_EQ(2, array.GetInsertedNum());
  EXPECT_EQ((Texts{"a", "b"}), Strings(array, 2));
  const Dynamic_String_Arr keeper(array);
  Read(array, Block("0|"));
  EXPECT_EQ(0, array.GetArrLen());
  EXPECT_EQ(2, array.GetInsertedNum());
}

// The number of strings then lies far behind the slots.
TEST(DynamicStringArr, FindsRoomForTheNextStringAfterReadingOverOthers) {
  Dynamic_String_Arr array(8);
  for (int i = 0; i < 8; ++i) array.AddStr("old", -1);
  const Dynamic_String_Arr keeper(array);
  Read(array, Block("1|3|new|"));
  ASSERT_EQ(9, array.GetInsertedNum());
  ASSERT_EQ(1, array.GetArrLen());
  array.AddStr("behind", -1);
  EXPECT_EQ(10, array.GetInsertedNum());
  ASSERT_GT(array.GetArrLen(), 9);
  EXPECT_STREQ("new", array.GetStr(0));
  EXPECT_STREQ("behind", array.GetStr(9));
  EXPECT_EQ(6, array.GetLength(9));
  for (int i = 1; i < 9; ++i) {
    EXPECT_EQ(nullptr, array.GetStr(i));
    EXPECT_EQ(-1, array.GetLength(i));
  }
}

TEST(DynamicStringArr, FlattensNoSlotThatItDoesNotHave) {
  Dynamic_String_Arr array(2);
  array.AddStr("old", -1);
  array.AddStr("old", -1);
  const Dynamic_String_Arr keeper(array);
  Read(array, Block("1|3|new|"));
  ASSERT_EQ(3, array.GetInsertedNum());
  const std::string block = Flattened(array);
  // What stands behind the one slot is nobody's; the string itself is written.
  EXPECT_NE(std::string::npos, block.find(Bar("|3|new|")));
}

// --- Numbers ------------------------------------------------------------------------

struct NumberCase {
  const char* heading;
  std::vector<char> block;
  Texts strings;
  int slots;
};

const NumberCase kNumbers[] = {
    {"leading zeros belong to a number", Block("02|01|a|000||"), {"a", ""}, 2},
    {"so do blanks before it", Block(" 2|\t 1|a|\r\n0||"), {"a", ""}, 2},
    {"and a plus", Block("+1|+2|ab|"), {"ab"}, 1},
    {"minus nothing is nothing", Block("2|-0||1|a|"), {"", "a"}, 2},
    {"one byte of any kind ends a number", Block("1;2;ab|"), {"ab"}, 1},
    {"what stands behind the last string does not matter", Block("1|1|a|9|zz"), {"a"}, 1},
    // A length that is none ends the reading.
    {"a negative length", Block("2|1|a|-1||"), {"a"}, 2},
    {"a negative first length", Block("2|-7|a|"), {}, 2},
    {"the smallest length", Block("1|-2147483648||"), {}, 1},
    {"a length that is no number", Block("2|1|a|x||"), {"a"}, 2},
    {"a length that is nothing", Block("2|1|a|||"), {"a"}, 2},
    {"a lone minus", Block("1|-||"), {}, 1},
    {"a lone plus", Block("1|+||"), {}, 1},
    {"two signs", Block("1|+-1|a|"), {}, 1},
    {"two of one sign", Block("1|++1|a|"), {}, 1},
    {"nothing but blanks", Block("1|  ||"), {}, 1},
    {"a length that is too big", Block("1|2147483648||"), {}, 1},
    {"a length that is far too big", Block("1|99999999999999999999999||"), {}, 1},
    {"a length that is far too small", Block("1|-99999999999999999999999||"), {}, 1},
};

TEST(DynamicStringArr, ReadsNumbersAndStopsAtWhatIsNoLength) {
  for (const NumberCase& c : kNumbers) {
    SCOPED_TRACE(c.heading);
    Dynamic_String_Arr array;
    Read(array, c.block);
    const int count = static_cast<int>(c.strings.size());
    EXPECT_EQ(count, array.GetInsertedNum());
    EXPECT_EQ(c.slots, array.GetArrLen());
    ASSERT_LE(count, array.GetArrLen());
    EXPECT_EQ(c.strings, Strings(array, count));
    for (int i = count; i < array.GetArrLen(); ++i) EXPECT_EQ(nullptr, array.GetStr(i));
  }
}

TEST(DynamicStringArr, ReadsNothingWhenTheCountIsNone) {
  const std::vector<char> blocks[] = {
      Block("-1|1|a|"),
      Block("-2147483648|"),
      Block("x|1|a|"),
      Block("|1|a|"),
      Block("2147483648|1|a|"),
      Block("-|"),
      Block("99999999999999999999|"),
  };
  for (const std::vector<char>& block : blocks) {
    SCOPED_TRACE(std::string(block.data()));
    Dynamic_String_Arr fresh;
    Read(fresh, block);
    EXPECT_EQ(0, fresh.GetArrLen());
    EXPECT_EQ(0, fresh.GetInsertedNum());

    Dynamic_String_Arr used(2);
    used.AddStr("text", -1);
    Read(used, block);
    EXPECT_EQ(1, used.GetInsertedNum());
    ASSERT_EQ(2, used.GetArrLen());
    EXPECT_EQ((Texts{"text"}), Strings(used, 1));
  }
}

TEST(DynamicStringArr, KeepsTheSlotsBehindALengthThatIsNone) {
  Dynamic_String_Arr array(2);
  array.AddStr("old 0", -1);
  const Dynamic_String_Arr keeper(array);
  array.AddStr("old 1", -1);
  Read(array, Block("2|3|new|x|"));
  EXPECT_EQ(2, array.GetArrLen());
  EXPECT_EQ(3, array.GetInsertedNum());
  EXPECT_EQ((Texts{"new"}), Strings(array, 1));
  EXPECT_STREQ("old 1", array.GetStr(1));
}

// Groups thousands, wherever a stream asks the global locale.
class Grouping : public std::numpunct<char> {
 protected:
  char do_thousands_sep() const override { return '.'; }
  std::string do_grouping() const override { return "\1"; }
};

TEST(DynamicStringArr, WritesAndReadsNumbersTheSameWayInEveryLocale) {
  struct GlobalLocale {
    explicit GlobalLocale(const std::locale& locale) : saved(std::locale::global(locale)) {}
    ~GlobalLocale() { std::locale::global(saved); }
    std::locale saved;
  };
  const GlobalLocale global(std::locale(std::locale::classic(), new Grouping));
  const std::string text(1234567, 'x');
  Dynamic_String_Arr array;
  Add(array, text);
  for (int i = 1; i < 1500; ++i) array.AddStr("", 0);
  const std::string block = Flattened(array);
  EXPECT_EQ(Bar("1500|1234567|"), block.substr(0, 13));
  Dynamic_String_Arr copy;
  Read(copy, std::vector<char>(block.begin(), block.end()));
  EXPECT_EQ(1500, copy.GetArrLen());
  EXPECT_EQ(1500, copy.GetInsertedNum());
  EXPECT_EQ(text, copy.GetStr(0));
  EXPECT_EQ(1234567, copy.GetLength(0));
  EXPECT_EQ(0, copy.GetLength(1499));
}

// --- Memory ---------------------------------------------------------------------------

TEST(DynamicStringArr, LosesNothingWhenMemoryRunsOutWhileItGrows) {
  if (!HeapIsCounted()) GTEST_SKIP() << "needs the counting heap";
  Dynamic_String_Arr array(1);
  array.AddStr("first", -1);
  const int failures = FailEveryAllocation([&] { array.AddStr("second", -1); },
                                           [&] {
                                             EXPECT_EQ(1, array.GetInsertedNum());
                                             EXPECT_EQ((Texts{"first"}), Strings(array, 1));
                                             EXPECT_GE(array.GetArrLen(), 1);
                                             ExpectUnwritten(array, 1);
                                           });
  EXPECT_GT(failures, 0);
  EXPECT_EQ(2, array.GetInsertedNum());
  EXPECT_EQ((Texts{"first", "second"}), Strings(array, 2));
}

TEST(DynamicStringArr, LosesNothingWhenMemoryRunsOutWhileItIsMade) {
  if (!HeapIsCounted()) GTEST_SKIP() << "needs the counting heap";
  int made = 0;
  const int failures = FailEveryAllocation(
      [&] {
        const Dynamic_String_Arr array(100);
        made = array.GetArrLen();
      },
      [] {});
  EXPECT_GT(failures, 0);
  EXPECT_EQ(100, made);
}

TEST(DynamicStringArr, LosesNothingWhenMemoryRunsOutWhileItFlattens) {
  if (!HeapIsCounted()) GTEST_SKIP() << "needs the counting heap";
  Dynamic_String_Arr array;
  array.AddStr("first", -1);
  array.AddStr("second", -1);
  char* out = nullptr;
  const int failures =
      FailEveryAllocation([&] { array.FlattenToByteArray(out); }, [&] { EXPECT_EQ(nullptr, out); });
  EXPECT_GT(failures, 0);
  EXPECT_STREQ("2", out);
  ::operator delete(out);
}

// Each attempt begins with a fresh array, which gives back what it read so far.
TEST(DynamicStringArr, LosesNothingWhenMemoryRunsOutWhileItReads) {
  if (!HeapIsCounted()) GTEST_SKIP() << "needs the counting heap";
  std::vector<char> block = Block("3|1|a|2|bc|0||");
  Texts strings;
  const int failures = FailEveryAllocation(
      [&] {
        Dynamic_String_Arr array;
        array.ReadFromFlattenedByteArray(block.data());
        const HeapDenied enough(INT_MAX);
        strings = Strings(array, 3);
      },
      [&] { EXPECT_TRUE(strings.empty()); });
  EXPECT_GT(failures, 3);
  EXPECT_EQ((Texts{"a", "bc", ""}), strings);
}

}  // namespace
