// Path/value records written as text, so that a table of cases can hold them.
//
//   RecordList* list = NewList({"net", "net|host=h1", "net|port=80*"});
//   EXPECT_EQ((Texts{"net", "net|host=h1", "net|port=80*"}), TextsOf(*list));
//   DeleteList(list);
//
// "a\\b|c" is the path a\b\c with the parent path a\b; without a | the parent path is
// empty.  "abc@2" states the parent path index where no separator stands, or where it
// lies outside the path.  "=value" follows for a record with a value, and "*" or
// "*number" behind it for its change flag.  Paths must not contain any of | @ = *.

#ifndef TREE_TESTS_SUPPORT_TREERECORDS_H
#define TREE_TESTS_SUPPORT_TREERECORDS_H

#include <cstddef>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "Tree/Tree_Node.h"
#include "support/StringText.h"

using RecordList = Zel_PtrSortedVector<Tree_NodeInfo>;
using Texts = std::vector<std::string>;

struct RecordText {
  explicit RecordText(std::string text) {
    const std::size_t equals = text.find('=');
    if (equals != std::string::npos) {
      has_value = true;
      value = text.substr(equals + 1);
      text.resize(equals);
      const std::size_t star = value.find('*');
      if (star != std::string::npos) {
        is_change = star + 1 == value.size() ? 1 : std::stoi(value.substr(star + 1));
        value.resize(star);
      }
    }
    const std::size_t at = text.find('@');
    const std::size_t bar = text.find('|');
    if (at != std::string::npos) {
      index = std::stoi(text.substr(at + 1));
      text.resize(at);
    } else if (bar != std::string::npos) {
      index = static_cast<int>(bar);
      text[bar] = '\\';
    }
    path = std::move(text);
  }

  std::string path;
  int index = 0;
  bool has_value = false;
  std::string value;
  int is_change = 0;
};

// The record without its path, which is put in at the end (see NewListInThisOrder).
inline Tree_NodeInfo* NewRecordWithoutPath(const RecordText& text) {
  std::unique_ptr<Tree_NodeInfo> record(new Tree_NodeInfo);
  record->SetParentPathIndex(text.index);
  record->SetIsChange(text.is_change);
  RWCString value = Bytes(text.value);
  if (text.has_value) record->SetValue(value);
  return record.release();
}

inline void SetPath(Tree_NodeInfo& record, const std::string& text) {
  RWCString path = Bytes(text);
  record.SetPath(path);
}

inline Tree_NodeInfo* NewRecord(const std::string& text) {
  const RecordText parts(text);
  Tree_NodeInfo* const record = NewRecordWithoutPath(parts);
  SetPath(*record, parts.path);
  return record;
}

// A list as clients make it: sorted by path.
inline RecordList* NewList(const Texts& texts) {
  RecordList* const list = new RecordList;
  for (const std::string& text : texts) list->insert(NewRecord(text));
  return list;
}

// A list in any order.  Its records get their paths when they are in it; nobody must
// insert into such a list.
inline RecordList* NewListInThisOrder(const Texts& texts) {
  RecordList* const list = new RecordList;
  std::vector<RecordText> all;
  for (const std::string& text : texts) all.emplace_back(text);
  for (const RecordText& text : all) list->insert(NewRecordWithoutPath(text));
  for (std::size_t i = 0; i < all.size(); ++i) SetPath(*list->at(i), all[i].path);
  return list;
}

template <class List>
inline void DeleteRecords(const List& list, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) delete list[i];
}

inline void DeleteList(RecordList* list) {
  DeleteRecords(*list, list->entries());
  delete list;
}

// An empty value and none look the same.
inline std::string TextOf(const Tree_NodeInfo& record) {
  const auto text_of = [](const RWCString& s) { return std::string(s.data(), s.length()); };
  std::string text = text_of(record.GetPath());
  const std::size_t index = record.GetParentPath().length();
  if (index > 0 && index < text.size() && text[index] == '\\') {
    text[index] = '|';
  } else if (index > 0) {
    text += '@' + std::to_string(index);
  }
  const bool has_value = !record.GetValue().isNull();
  if (has_value || record.IsChange() != 0) text += '=' + text_of(record.GetValue());
  if (record.IsChange() != 0) text += '*';
  if (record.IsChange() != 0 && record.IsChange() != 1) text += std::to_string(record.IsChange());
  return text;
}

inline Texts TextsOf(const RecordList& list) {
  Texts texts;
  for (std::size_t i = 0; i < list.entries(); ++i) texts.push_back(TextOf(*list.at(i)));
  return texts;
}

inline Texts TextsOf(const std::vector<Tree_NodeInfo*>& list) {
  Texts texts;
  for (const Tree_NodeInfo* record : list) texts.push_back(TextOf(*record));
  return texts;
}

#endif  // TREE_TESTS_SUPPORT_TREERECORDS_H
