// Flat string arrays.
//
// The reader trusts its block: a count or length that points behind the block is read
// there.  So the bytes of an input are not the block but say how to make one, which is
// well-formed throughout or up to a number that ends the reading.
//
//   number of strings
//   for each: its length, its bytes
//   what ends it: nothing, a count or a length that is none, and which one
//   what such a number looks like

#include <climits>
#include <cstddef>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "fuzz/Take.h"
#include "fuzz/targets.h"
#include "strarr/Dynamic_String_Arr.h"

namespace fuzz {
namespace {

// A text from which no number can be read that is 0 or more and fits into an int.
std::string NoNumber(Take& take) {
  switch (take.Byte() % 4) {
    case 0:
      return "-" + std::to_string(take.Byte() + 1);
    case 1:
      return std::to_string(std::size_t{INT_MAX} + 1 + take.Byte());
    case 2:
      return (take.Byte() % 2 == 0 ? "-" : "") + std::string(12 + take.Byte() % 40, '9');
    default: {
      // The first byte decides; what may stand in front of a number is left out.
      std::string text = take.Text(take.Byte() % 16);
      for (char& c : text) c = c == '\0' ? '!' : c;
      const char* const starts = "0123456789+- \t\n\v\f\r";
      if (!text.empty() && std::strchr(starts, text.front()) != nullptr) text.front() = 'x';
      return text;
    }
  }
}

std::string Closed(const std::string& number) {
  return number + '\0';
}

std::string FlatString(const std::string& text) {
  return Closed(std::to_string(text.size())) + text + '\0';
}

std::string FlatArray(const std::vector<std::string>& strings) {
  std::string block = Closed(std::to_string(strings.size()));
  for (const std::string& text : strings) block += FlatString(text);
  return block;
}

void ReadBlock(Dynamic_String_Arr& array, const std::string& block) {
  // Exactly as long, so that a sanitizer sees the byte behind it.
  const std::unique_ptr<char[]> copy(new char[block.size()]);
  block.copy(copy.get(), block.size());
  array.ReadFromFlattenedByteArray(copy.get());
}

std::string Flattened(const Dynamic_String_Arr& array) {
  char* out = nullptr;
  const int used = array.FlattenToByteArray(out);
  const std::string block(out, static_cast<std::size_t>(used));
  ::operator delete(out);
  return block;
}

void RequireStrings(const Dynamic_String_Arr& array, const std::vector<std::string>& strings,
                    int slots) {
  const int count = static_cast<int>(strings.size());
  Require(array.GetInsertedNum() == count, "the number of strings is wrong");
  Require(array.GetArrLen() == slots, "the number of slots is wrong");
  for (int i = 0; i < slots; ++i) {
    if (i >= count) {
      Require(array.GetStr(i) == nullptr && array.GetLength(i) == -1, "a slot is not empty");
      continue;
    }
    const std::string& text = strings[static_cast<std::size_t>(i)];
    Require(array.GetLength(i) == static_cast<int>(text.size()), "a length is wrong");
    Require(std::memcmp(array.GetStr(i), text.c_str(), text.size() + 1) == 0, "a string is wrong");
  }
  Require(array.GetLength(slots) == -1, "there is a length behind the slots");
}

// Written, read, appended to and written again.
void RoundTrip(const std::vector<std::string>& strings, Take& take) {
  const int count = static_cast<int>(strings.size());
  Dynamic_String_Arr made(static_cast<int>(take.Byte() % 4));
  for (const std::string& text : strings) {
    made.AddStr(text.data(), static_cast<int>(text.size()));
  }
  const std::string block = Flattened(made);
  Require(block == FlatArray(strings), "the block is wrong");

  Dynamic_String_Arr read;
  ReadBlock(read, block);
  RequireStrings(read, strings, count);
  Require(Flattened(read) == block, "the block comes back changed");

  std::vector<std::string> more = strings;
  more.push_back(take.Text(take.Byte()));
  // The index decides only about growth.
  read.SetStr(static_cast<int>(take.Byte() % 8), more.back().data(),
              static_cast<int>(more.back().size()));
  Require(Flattened(read) == FlatArray(more), "a string that was added is not in the block");
}

}  // namespace

void DynamicStringArr(std::string_view bytes) {
  Take take(bytes);
  std::vector<std::string> strings(take.Byte() % 24);
  for (std::string& text : strings) {
    // Now and then one that is longer than a byte can say.
    const std::size_t length = take.Byte();
    text = take.Text(length);
    if (length == 255) text.resize(300 * take.Byte(), 'l');
  }
  const std::size_t count = strings.size();
  switch (take.Byte() % 3) {
    case 0:
      RoundTrip(strings, take);
      break;
    case 1: {
      Dynamic_String_Arr array;
      ReadBlock(array, Closed(NoNumber(take)));
      RequireStrings(array, {}, 0);
      break;
    }
    default: {
      // One of the strings, or one behind them, has no length.
      const std::size_t good = take.Byte() % (count + 1);
      const std::size_t told = good + 1 + take.Byte();
      strings.resize(good);
      std::string block = Closed(std::to_string(told));
      for (const std::string& text : strings) block += FlatString(text);
      block += Closed(NoNumber(take));
      Dynamic_String_Arr array;
      ReadBlock(array, block);
      RequireStrings(array, strings, static_cast<int>(told));
      break;
    }
  }
}

}  // namespace fuzz
