// Tree_IdNodeInfo: one node of a flattened tree.

#include "Tree/Tree_IdNodeInfo.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <iostream>
#include <sstream>
#include <string>
#include <type_traits>
#include <vector>

#include "Tree/Tree_Node.h"
#include "support/LogCapture.h"
#include "support/TreeMaking.h"

namespace {

static_assert(
    std::is_same_v<decltype(std::declval<const Tree_IdNodeInfo&>().GetPath()), const char*>);
static_assert(std::is_same_v<decltype(std::declval<const Tree_IdNodeInfo&>().GetRWValue()),
                             const RWCString*>);

Tree_IdNodeInfo WithPath(RWCString path) {
  Tree_IdNodeInfo record;
  record.SetPath(path);
  return record;
}

// Collects what is written to std::cout while it lives.
class OutputCapture {
 public:
  OutputCapture() : m_saved(std::cout.rdbuf(m_text.rdbuf())) {}
  ~OutputCapture() { std::cout.rdbuf(m_saved); }
  OutputCapture(const OutputCapture&) = delete;
  OutputCapture& operator=(const OutputCapture&) = delete;

  std::string Text() const { return m_text.str(); }

 private:
  std::ostringstream m_text;
  std::streambuf* m_saved;
};

std::string Printed(const Tree_IdNodeInfo& record) {
  OutputCapture output;
  record.PrintMe();
  return output.Text();
}

// --- Fields --------------------------------------------------------------------

TEST(TreeIdNodeInfo, BeginsEmptyAndWithoutAParent) {
  const Tree_IdNodeInfo record;
  EXPECT_EQ(nullptr, record.GetRWPath());
  EXPECT_EQ(nullptr, record.GetRWValue());
  EXPECT_EQ(-1, record.GetParentId());
  EXPECT_EQ(0, record.GetId());
  EXPECT_EQ(0, record.IsChange());
}

// A record that stands where another one was does not inherit from it.
TEST(TreeIdNodeInfo, SetsEveryFieldOfTheMemoryItIsMadeIn) {
  alignas(Tree_IdNodeInfo) unsigned char memory[sizeof(Tree_IdNodeInfo)];
  std::memset(memory, 0xA5, sizeof memory);
  auto* const record = new (memory) Tree_IdNodeInfo();
  EXPECT_EQ(nullptr, record->GetRWPath());
  EXPECT_EQ(nullptr, record->GetRWValue());
  EXPECT_EQ(-1, record->GetParentId());
  EXPECT_EQ(0, record->GetId());
  EXPECT_EQ(0, record->IsChange());
  record->~Tree_IdNodeInfo();
}

TEST(TreeIdNodeInfo, KeepsEachNumberAsItIs) {
  for (const int number : {0, 1, -1, 7, 100000, INT_MAX, INT_MIN}) {
    SCOPED_TRACE(number);
    Tree_IdNodeInfo record;

    record.SetId(number);
    EXPECT_EQ(number, record.GetId());
    EXPECT_EQ(-1, record.GetParentId());
    EXPECT_EQ(0, record.IsChange());

    record.SetId(0);
    record.SetParentId(number);
    EXPECT_EQ(0, record.GetId());
    EXPECT_EQ(number, record.GetParentId());
    EXPECT_EQ(0, record.IsChange());

    record.SetParentId(-1);
    record.SetIsChange(number);
    EXPECT_EQ(0, record.GetId());
    EXPECT_EQ(-1, record.GetParentId());
    EXPECT_EQ(number, record.IsChange());
  }
}

TEST(TreeIdNodeInfo, YieldsTheEmptyStringForTextsThatWereNotSet) {
  ASSERT_NE(nullptr, Tree_IdNodeInfo::empty_string);
  EXPECT_STREQ("", Tree_IdNodeInfo::empty_string);
  const Tree_IdNodeInfo record;
  EXPECT_EQ(Tree_IdNodeInfo::empty_string, record.GetPath());
  EXPECT_EQ(Tree_IdNodeInfo::empty_string, record.GetValue());
}

TEST(TreeIdNodeInfo, SetsPathAndValueEachForItself) {
  Tree_IdNodeInfo record;
  RWCString path("port");
  record.SetPath(path);
  EXPECT_STREQ("port", record.GetPath());
  EXPECT_EQ(nullptr, record.GetRWValue());
  EXPECT_EQ(Tree_IdNodeInfo::empty_string, record.GetValue());

  Tree_IdNodeInfo other;
  RWCString value("8080");
  other.SetValue(value);
  EXPECT_STREQ("8080", other.GetValue());
  EXPECT_EQ(nullptr, other.GetRWPath());
  EXPECT_EQ(Tree_IdNodeInfo::empty_string, other.GetPath());

  EXPECT_EQ(-1, record.GetParentId());
  EXPECT_EQ(0, record.GetId());
  EXPECT_EQ(0, record.IsChange());
}

// A text that is set to nothing is a text all the same.
TEST(TreeIdNodeInfo, TellsAnEmptyTextFromNone) {
  Tree_IdNodeInfo record;
  RWCString nothing;
  record.SetPath(nothing);
  record.SetValue(nothing);
  ASSERT_NE(nullptr, record.GetRWPath());
  ASSERT_NE(nullptr, record.GetRWValue());
  EXPECT_EQ(0u, record.GetRWPath()->length());
  EXPECT_EQ(0u, record.GetRWValue()->length());
  EXPECT_STREQ("", record.GetPath());
  EXPECT_STREQ("", record.GetValue());
}

// --- Texts ---------------------------------------------------------------------

TEST(TreeIdNodeInfo, InternsItsTexts) {
  Tree_NodePtr node = Leaf("record text", "record text");
  Tree_IdNodeInfo record;
  RWCString text("record text");
  record.SetPath(text);
  record.SetValue(text);
  EXPECT_EQ(&node->GetKeyName(), record.GetRWPath());
  EXPECT_EQ(record.GetRWPath(), record.GetRWValue());
  EXPECT_EQ(record.GetRWPath()->data(), record.GetPath());
  EXPECT_EQ(record.GetRWValue()->data(), record.GetValue());

  char bytes[] = "record text, longer";
  Tree_IdNodeInfo other;
  other.SetPath(bytes, 11);
  other.SetValue(bytes, 11);
  EXPECT_EQ(record.GetRWPath(), other.GetRWPath());
  EXPECT_EQ(record.GetRWPath(), other.GetRWValue());
}

TEST(TreeIdNodeInfo, IsNotTouchedByLaterChangesOfTheText) {
  Tree_IdNodeInfo record;
  RWCString path("before");
  RWCString value("old");
  record.SetPath(path);
  record.SetValue(value);
  path = "after";
  value = "new";
  EXPECT_STREQ("before", record.GetPath());
  EXPECT_STREQ("old", record.GetValue());

  char bytes[] = "before";
  record.SetPath(bytes, 6);
  record.SetValue(bytes, 3);
  std::memset(bytes, 'z', sizeof bytes);
  EXPECT_STREQ("before", record.GetPath());
  EXPECT_STREQ("bef", record.GetValue());
}

TEST(TreeIdNodeInfo, TakesAnotherTextInPlaceOfTheFirst) {
  Tree_IdNodeInfo record = WithPath("first");
  RWCString second("second");
  record.SetPath(second);
  EXPECT_STREQ("second", record.GetPath());
  record.SetValue(second);
  char third[] = "third";
  record.SetValue(third, 5);
  record.SetPath(third, 2);
  EXPECT_STREQ("th", record.GetPath());
  EXPECT_STREQ("third", record.GetValue());
}

TEST(TreeIdNodeInfo, TakesStringsUnchanged) {
  const RWCString kTexts[] = {
      "",          "a",           " ",
      "   ",       " a",          "a ",
      "  both  ",  "\ttab\t",     "a\\b",
      "%s%d",      "\x80\xFF",    Bytes("a\0b"),
      Bytes("\0"), Bytes("\0a "), RWCString(std::string(5000, 'l').c_str()),
  };
  for (const RWCString& text : kTexts) {
    SCOPED_TRACE(Text(text));
    RWCString path = text;
    RWCString value = text;
    Tree_IdNodeInfo record;
    record.SetPath(path);
    record.SetValue(value);
    EXPECT_EQ(Text(text), Text(*record.GetRWPath()));
    EXPECT_EQ(Text(text), Text(*record.GetRWValue()));
    EXPECT_EQ(std::string(text.data()), record.GetPath());
    EXPECT_EQ(std::string(text.data()), record.GetValue());
    EXPECT_EQ(Text(text), Text(path));
    EXPECT_EQ(Text(text), Text(value));
  }
}

struct LengthCase {
  std::string text;
  int length;
  std::string expected;
};
const LengthCase kLengthCases[] = {
    // All of it, or as much as was asked for.
    {"abc", 3, "abc"},
    {"abc", 2, "ab"},
    {"abc", 1, "a"},
    {"abc", 0, ""},
    {"", 0, ""},
    // Blanks stay, wherever they are.
    {"   ", 3, "   "},
    {"   ", 1, " "},
    {" a b ", 5, " a b "},
    {"a b", 2, "a "},
    {"\t\n", 2, "\t\n"},
    // A zero byte is a byte.
    {std::string("a\0b", 3), 3, std::string("a\0b", 3)},
    {std::string("a\0b", 3), 2, std::string("a\0", 2)},
    {std::string("a\0b", 3), 1, "a"},
    {std::string("\0\0", 2), 2, std::string("\0\0", 2)},
    // The zero byte that ends a text is taken when it is asked for.
    {"ab", 3, std::string("ab\0", 3)},
    {"\x80\xFF\xFE", 3, "\x80\xFF\xFE"},
    {"%s\\%n", 5, "%s\\%n"},
};

TEST(TreeIdNodeInfo, TakesExactlyAsManyBytesAsItIsTold) {
  for (const LengthCase& c : kLengthCases) {
    SCOPED_TRACE(testing::PrintToString(c.text) + ", " + std::to_string(c.length));
    std::vector<char> text(c.text.c_str(), c.text.c_str() + c.text.size() + 1);
    Tree_IdNodeInfo record;
    record.SetPath(text.data(), c.length);
    ASSERT_NE(nullptr, record.GetRWPath());
    EXPECT_EQ(c.expected, Text(*record.GetRWPath()));
    EXPECT_EQ(std::string(c.expected.c_str()), record.GetPath());
    EXPECT_EQ(nullptr, record.GetRWValue());

    record = Tree_IdNodeInfo();
    record.SetValue(text.data(), c.length);
    ASSERT_NE(nullptr, record.GetRWValue());
    EXPECT_EQ(c.expected, Text(*record.GetRWValue()));
    EXPECT_EQ(std::string(c.expected.c_str()), record.GetValue());
    EXPECT_EQ(nullptr, record.GetRWPath());

    EXPECT_EQ(c.text, std::string(text.data(), c.text.size()));
  }
}

// No byte behind the length is read, so that a text needs no end.
TEST(TreeIdNodeInfo, ReadsNothingBehindTheLength) {
  const std::vector<char> letters(16, 'q');
  std::vector<char> exact(letters);
  exact.shrink_to_fit();
  Tree_IdNodeInfo record;
  record.SetPath(exact.data(), 16);
  record.SetValue(exact.data(), 16);
  EXPECT_EQ(std::string(16, 'q'), record.GetPath());
  EXPECT_EQ(record.GetRWPath(), record.GetRWValue());
}

TEST(TreeIdNodeInfo, StripsNothing) {
  Tree_IdNodeInfo record;
  record.StripPath();
  record.StripValue();
  EXPECT_EQ(nullptr, record.GetRWPath());
  EXPECT_EQ(nullptr, record.GetRWValue());

  RWCString blanks("  a  ");
  record.SetPath(blanks);
  record.SetValue(blanks);
  const RWCString* const interned = record.GetRWPath();
  record.StripPath();
  record.StripValue();
  EXPECT_EQ(interned, record.GetRWPath());
  EXPECT_EQ(interned, record.GetRWValue());
  EXPECT_STREQ("  a  ", record.GetPath());
  EXPECT_STREQ("  a  ", record.GetValue());
}

TEST(TreeIdNodeInfo, WritesNoLines) {
  RWCString path("record path");
  RWCString value("record value");
  char bytes[] = "record value";
  { Tree_NodePtr known = Leaf(path, value); }
  LogCapture log;
  {
    Tree_IdNodeInfo record;
    record.SetPath(path);
    record.SetPath(bytes, 12);
    record.SetValue(value);
    record.SetValue(bytes, 12);
    record.StripPath();
    record.StripValue();
    Printed(record);
    EXPECT_TRUE(record == Tree_IdNodeInfo(record));
  }
  EXPECT_NO_LOG(log);
}

// --- Copies --------------------------------------------------------------------

Tree_IdNodeInfo Sample() {
  Tree_IdNodeInfo record = WithPath("sample path");
  RWCString value("sample value");
  record.SetValue(value);
  record.SetParentId(3);
  record.SetId(12);
  record.SetIsChange(-5);
  return record;
}

void ExpectSame(const Tree_IdNodeInfo& expected, const Tree_IdNodeInfo& actual) {
  EXPECT_EQ(expected.GetRWPath(), actual.GetRWPath());
  EXPECT_EQ(expected.GetRWValue(), actual.GetRWValue());
  EXPECT_EQ(expected.GetParentId(), actual.GetParentId());
  EXPECT_EQ(expected.GetId(), actual.GetId());
  EXPECT_EQ(expected.IsChange(), actual.IsChange());
}

TEST(TreeIdNodeInfo, SharesItsStringsWithCopies) {
  const Tree_IdNodeInfo record = Sample();
  const Tree_IdNodeInfo copy(record);
  ExpectSame(record, copy);

  Tree_IdNodeInfo assigned = WithPath("something else");
  assigned = record;
  ExpectSame(record, assigned);
  const Tree_IdNodeInfo& same = assigned;
  assigned = same;
  ExpectSame(record, assigned);

  // Missing texts are copied as well.
  assigned = Tree_IdNodeInfo();
  ExpectSame(Tree_IdNodeInfo(), assigned);
}

TEST(TreeIdNodeInfo, IsNotTouchedByChangesOfACopy) {
  const Tree_IdNodeInfo record = Sample();
  Tree_IdNodeInfo copy(record);
  RWCString other("other");
  copy.SetPath(other);
  copy.SetValue(other);
  copy.SetId(1);
  copy.SetParentId(0);
  copy.SetIsChange(1);
  ExpectSame(Sample(), record);
  EXPECT_STREQ("sample path", record.GetPath());
  EXPECT_STREQ("sample value", record.GetValue());
}

TEST(TreeIdNodeInfo, LeavesItsStringsBehindWhenItGoes) {
  const RWCString* path = nullptr;
  const RWCString* value = nullptr;
  {
    const Tree_IdNodeInfo record = Sample();
    path = record.GetRWPath();
    value = record.GetRWValue();
  }
  EXPECT_EQ("sample path", Text(*path));
  EXPECT_EQ("sample value", Text(*value));
  ExpectSame(Sample(), Sample());
}

// --- Comparing -----------------------------------------------------------------

// Each row is less than the next one.
TEST(TreeIdNodeInfo, IsOrderedByTheBytesOfItsPath) {
  const RWCString kAscending[] = {
      "",
      Bytes("\0"),
      Bytes("\0a"),
      " ",
      "A",
      "Z",
      "a",
      // The shorter first, where one begins with the other.
      Bytes("a\0"),
      Bytes("a\0b"),
      Bytes("a\0c"),
      "a ",
      "aa",
      "aaa",
      "ab",
      "b",
      // Bytes are unsigned.
      "\x7F",
      "\x80",
      "\x80z",
      "\xFE\xFF",
      "\xFF",
      "\xFF\x01",
  };
  std::vector<Tree_IdNodeInfo> records;
  for (const RWCString& path : kAscending) records.push_back(WithPath(path));
  for (std::size_t i = 0; i < records.size(); ++i) {
    for (std::size_t j = 0; j < records.size(); ++j) {
      SCOPED_TRACE(testing::PrintToString(Text(kAscending[i])) + " and " +
                   testing::PrintToString(Text(kAscending[j])));
      EXPECT_EQ(i == j, records[i] == records[j]);
      EXPECT_EQ(i < j, records[i] < records[j]);
    }
  }
}

TEST(TreeIdNodeInfo, ComparesNothingButThePath) {
  Tree_IdNodeInfo a = Sample();
  Tree_IdNodeInfo b = WithPath("sample path");
  EXPECT_TRUE(a == b);
  EXPECT_TRUE(b == a);
  EXPECT_FALSE(a < b);
  EXPECT_FALSE(b < a);

  // All else equal, or the other way round, and another path.
  b = a;
  RWCString greater("sample path, greater");
  b.SetPath(greater);
  b.SetId(-100);
  b.SetParentId(-100);
  b.SetIsChange(-100);
  EXPECT_FALSE(a == b);
  EXPECT_TRUE(a < b);
  EXPECT_FALSE(b < a);
}

TEST(TreeIdNodeInfo, ComparesLikeAnEmptyPathWithoutOne) {
  const Tree_IdNodeInfo none;
  EXPECT_TRUE(none == WithPath(""));
  EXPECT_TRUE(WithPath("") == none);
  EXPECT_TRUE(none == Tree_IdNodeInfo());
  EXPECT_FALSE(none == WithPath("a"));
  EXPECT_TRUE(none < WithPath("a"));
  EXPECT_FALSE(WithPath("a") < none);
  EXPECT_FALSE(none < WithPath(""));
}

// --- Printing ------------------------------------------------------------------

struct PrintCase {
  const char* path;   // null for none
  const char* value;  // null for none
  int is_change;
  int parent_id;
  int id;
  const char* expected;
};
const PrintCase kPrintCases[] = {
    // The flag is shown beside a value only.
    {"port", nullptr, 0, 0, 1, "----------------------\nPath : port\n Parent id : 0 Id : 1\n"},
    {"port", nullptr, 1, 0, 1, "----------------------\nPath : port\n Parent id : 0 Id : 1\n"},
    {"port", "8080", 0, 4, 12,
     "----------------------\nPath : port\n Value : 8080 Changed : 0 Parent id : 4 Id : 12\n"},
    {"port", "8080", 1, 4, 12,
     "----------------------\nPath : port\n Value : 8080 Changed : 1 Parent id : 4 Id : 12\n"},
    {"port", "8080", -7, 4, 12,
     "----------------------\nPath : port\n Value : 8080 Changed : -7 Parent id : 4 Id : 12\n"},
    // An empty text is not a missing one.
    {"", nullptr, 0, -1, 0, "----------------------\nPath : \n Parent id : -1 Id : 0\n"},
    {"", "", 0, -1, 0,
     "----------------------\nPath : \n Value :  Changed : 0 Parent id : -1 Id : 0\n"},
    {nullptr, "v", 1, -1, 0,
     "----------------------\nPath : no path\n Value : v Changed : 1 Parent id : -1 Id : 0\n"},
    {nullptr, nullptr, 1, 5, 6, "----------------------\nPath : no path\n Parent id : 5 Id : 6\n"},
    {"no path", nullptr, 0, 5, 6,
     "----------------------\nPath : no path\n Parent id : 5 Id : 6\n"},
    // Texts come as they are.
    {" a ", " %s%n\\ \x80", 0, INT_MIN, INT_MAX,
     "----------------------\nPath :  a \n Value :  %s%n\\ \x80 Changed : 0"
     " Parent id : -2147483648 Id : 2147483647\n"},
};

TEST(TreeIdNodeInfo, PrintsThreeLines) {
  for (const PrintCase& c : kPrintCases) {
    SCOPED_TRACE(c.expected);
    Tree_IdNodeInfo record;
    RWCString path(c.path);
    RWCString value(c.value);
    if (c.path != nullptr) record.SetPath(path);
    if (c.value != nullptr) record.SetValue(value);
    record.SetIsChange(c.is_change);
    record.SetParentId(c.parent_id);
    record.SetId(c.id);
    EXPECT_EQ(c.expected, Printed(record));
  }
}

TEST(TreeIdNodeInfo, PrintsAFreshRecordWithoutPathAndValue) {
  EXPECT_EQ("----------------------\nPath : no path\n Parent id : -1 Id : 0\n",
            Printed(Tree_IdNodeInfo()));
}

TEST(TreeIdNodeInfo, PrintsOneRecordBehindTheOther) {
  OutputCapture output;
  std::cout << "records:\n";
  WithPath("a").PrintMe();
  WithPath("b").PrintMe();
  EXPECT_EQ(
      "records:\n"
      "----------------------\nPath : a\n Parent id : -1 Id : 0\n"
      "----------------------\nPath : b\n Parent id : -1 Id : 0\n",
      output.Text());
}

// Whatever the program has told the stream before.
TEST(TreeIdNodeInfo, PrintsDecimalNumbersAndLeavesTheStreamAsItWas) {
  const Tree_IdNodeInfo record = Sample();
  const std::ios_base::fmtflags saved = std::cout.flags();
  std::cout << std::hex << std::showbase;
  const std::ios_base::fmtflags before = std::cout.flags();
  const std::string text = Printed(record);
  const std::ios_base::fmtflags after = std::cout.flags();
  std::cout.flags(saved);
  EXPECT_EQ(
      "----------------------\nPath : sample path\n"
      " Value : sample value Changed : -5 Parent id : 3 Id : 12\n",
      text);
  EXPECT_EQ(before, after);
}

}  // namespace
