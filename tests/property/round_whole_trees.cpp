// The operations on whole trees that a round chooses from: merge, changes, checksum,
// records and building.

#include <memory>
#include <optional>

#include "property/naive_whole_trees.h"
#include "property/round.h"

namespace property {
namespace {

using Records = Zel_PtrSortedVector<Tree_NodeInfo>;

// --- The same calls on both sides ---------------------------------------------------

Handle Merge(ModelSide& side, const Place& base, const Place& upper, bool one_level) {
  return one_level ? naive::MergeOneLevel(*base.model, *upper.model)
                   : naive::Merge(side.world, *base.model, *upper.model);
}
Tree_NodePtr Merge(LibrarySide&, const Place& base, const Place& upper, bool one_level) {
  return one_level ? Tree_Node::MergeOneLevel(*base.library, *upper.library)
                   : Tree_Node::Merge(*base.library, *upper.library);
}

Handle Changes(ModelSide& side, const Place& at) {
  return naive::GetChangesTreeNode(side.world, *at.model);
}
Tree_NodePtr Changes(LibrarySide&, const Place& at) {
  return Tree_Node::GetChangesTreeNode(*at.library);
}

long long Checksum(ModelSide&, const Place& at) {
  return naive::GetChecksumIgnoreOrder(**at.model);
}
long long Checksum(LibrarySide&, const Place& at) {
  return static_cast<long long>((*at.library)->GetChecksumIgnoreOrder());
}

struct HowToSerialize {
  bool in_two_steps;
  bool header;
  bool keep_records;
  bool with_skip_name;  // or the form that has none
  std::string skip_name;
  std::string virtual_path;
};

std::string Shown(const std::optional<std::string>& bytes) {
  return bytes ? Show(*bytes) : "nothing";
}

std::string Serialized(ModelSide& side, const Place& at, const HowToSerialize& how) {
  const std::string skip_name = how.with_skip_name ? how.skip_name : "";
  return Shown(how.in_two_steps ? naive::SerializeInTwoSteps(side.world, *at.model, how.header,
                                                             skip_name, how.virtual_path)
                                : naive::Serialize(side.world, *at.model, how.header, skip_name));
}
std::string Serialized(LibrarySide&, const Place& at, const HowToSerialize& how) {
  Tree_NodePtr& tree = *at.library;
  RWCString skip_name = Bytes(how.skip_name);
  int size = -7;
  std::unique_ptr<char[]> bytes;
  if (how.in_two_steps) {
    auto* const records = how.with_skip_name
                              ? Tree_Node::GetIdNodeVecFromTreeSkipPath(tree, nullptr, skip_name)
                              : Tree_Node::GetIdNodeVecFromTree(tree, nullptr);
    bytes.reset(Tree_Node::GetSerializeIdNodeInfoVec(records, size, Bytes(how.virtual_path),
                                                     how.header, how.keep_records));
    if (how.keep_records && records != nullptr) {
      for (std::size_t i = 0; i < records->entries(); ++i) delete records->at(i);
      delete records;
    }
  } else if (how.with_skip_name) {
    bytes.reset(Tree_Node::GetSerializedTreeNodeSkipPath(tree, size, how.header, skip_name));
  } else {
    bytes.reset(Tree_Node::GetSerializedTreeNode(tree, size, how.header));
  }
  // A refusal leaves the size alone.
  if (bytes == nullptr) return size == -7 ? Shown(std::nullopt) : "size " + std::to_string(size);
  return Shown(std::string(bytes.get(), static_cast<std::size_t>(size)));
}

std::string Shown(const naive::PathRecord& record) {
  return Show(record.path) + "@" + std::to_string(record.index) + "=" + Show(record.value) + "*" +
         std::to_string(record.flag) + " ";
}
std::string Shown(const Tree_NodeInfo& record) {
  const std::size_t index = record.GetParentPath().length();
  return Shown(naive::PathRecord{Text(record.GetPath()), static_cast<int>(index),
                                 Text(record.GetValue()), record.IsChange()});
}

std::string Converted(ModelSide&, const Place& at, const std::string& parent_path, bool sorted) {
  naive::PathRecords records;
  if (*at.model != nullptr) naive::Convert(**at.model, parent_path, sorted, records);
  std::string text;
  for (const naive::PathRecord& record : records) text += Shown(record);
  return text;
}
std::string Converted(LibrarySide&, const Place& at, const std::string& parent_path, bool sorted) {
  RWCString path = Bytes(parent_path);
  std::vector<Tree_NodeInfo*> records;
  if (sorted) {
    Records list;
    Tree_Node::ConvertTreeNodeToVec(*at.library, path, &list);
    for (std::size_t i = 0; i < list.entries(); ++i) records.push_back(list[i]);
  } else {
    Tree_Node::ConvertTreeToSimpleVec(*at.library, path, &records);
  }
  std::string text;
  for (const Tree_NodeInfo* record : records) {
    text += Shown(*record);
    delete record;
  }
  return text;
}

Handle Built(ModelSide& side, const Place&, const naive::PathRecords& records,
             const std::string& root_path) {
  return naive::SubTreeBuilder(side.world).Build(records, root_path);
}
Tree_NodePtr Built(LibrarySide&, const Place& at, const naive::PathRecords& records,
                   const std::string& root_path) {
  // No records are a null list now and then.
  std::unique_ptr<Records> list;
  if (!records.empty() || root_path.size() % 2 == 0) list = std::make_unique<Records>();
  for (const naive::PathRecord& given : records) {
    auto record = std::make_unique<Tree_NodeInfo>();
    RWCString path = Bytes(given.path);
    RWCString value = Bytes(given.value);
    record->SetPath(path);
    record->SetParentPathIndex(given.index);
    if (!given.value.empty()) record->SetValue(value);
    record->SetIsChange(given.flag);
    list->insert(record.release());
  }
  RWCString root = Bytes(root_path);
  const bool taken = !root_path.empty() && root_path.back() != '\\';
  Records* const handed_over = taken ? list.release() : list.get();
  Tree_NodePtr top = (*at.library)->BuildSubTree(handed_over, root);
  if (list != nullptr) {
    for (std::size_t i = 0; i < list->entries(); ++i) delete list->at(i);
  }
  return top;
}

}  // namespace

// --- Merge --------------------------------------------------------------------------

void Round::MakeChunkArea() {
  const Place at = Some();
  const std::string values[] = {Value(), Value()};
  const char* const names[] = {"blobencoding", "chunk0000"};
  Step(Told(at) + " becomes a chunk area", [&](auto& side) {
    std::string told;
    for (int i = 0; i < 2; ++i) {
      auto leaf = side.Make(names[i], values[i], 0);
      told += Show(side.At(at)->Add(leaf));
    }
    side.result = side.In(at);
    return told;
  });
}

void Round::MergeSome() {
  const Place base = Chance(95) ? Some() : Null();
  const Place upper = Chance(95) ? Some() : Null();
  int nodes = static_cast<int>(m_world.all.size());
  for (const Place& place : {base, upper}) {
    if (*place.model != nullptr) nodes += (*place.model)->GetNodeNum();
  }
  if (nodes > 2 * static_cast<int>(kMostNodes)) return;
  const bool one_level = Chance(25);
  const bool hold = Chance(50);
  const Place to = AtHeld(Below(kHeld));
  // A body that copies every node once does not write the lines of copies that it does not
  // make.
  CompareOnly([](const LogLine& line) {
    return line.level <= 6 || line.function == "Tree_Node::GetValue" ||
           line.function == "Tree_Node::Add" || line.function == "Tree_Node::Merge";
  });
  Step("merge " + Told(upper) + " over " + Told(base), [&](auto& side) {
    side.result = Merge(side, base, upper, one_level);
    if (hold) side.In(to) = side.result;
    return std::string();
  });
}

// --- Changes and checksum -----------------------------------------------------------

void Round::ExtractChanges() {
  const Place at = Chance(95) ? Some() : Null();
  const bool hold = Chance(20);
  const Place to = AtHeld(Below(kHeld));
  if (m_world.all.size() > kMostNodes) return;
  Step("changes of " + Told(at), [&](auto& side) {
    side.result = Changes(side, at);
    if (hold) side.In(to) = side.result;
    return std::string();
  });
}

void Round::ChecksumSome() {
  const Place at = Some();
  Step(Told(at) + " GetChecksumIgnoreOrder", [&](auto& side) { return Show(Checksum(side, at)); });
}

// --- Records ------------------------------------------------------------------------

void Round::SerializeSome() {
  const Place at = Chance(95) ? Some() : Null();
  const HowToSerialize how = {Chance(50),
                              Chance(50),
                              Chance(50),
                              Chance(50),
                              *at.model == nullptr ? "" : ChildName(at),
                              kVirtualPaths[Below(kVirtualPaths.size())]};
  Step("serialize " + Told(at), [&](auto& side) { return Serialized(side, at, how); });
}

void Round::ConvertSome() {
  const Place at = Chance(95) ? Some() : Null();
  const std::string parent_path = kVirtualPaths[Below(kVirtualPaths.size())];
  const bool sorted = Chance(50);
  Step("convert " + Told(at), [&](auto& side) { return Converted(side, at, parent_path, sorted); });
}

// Builds a tree of the records of another one, some of them changed, and some more.
void Round::BuildSome() {
  if (m_world.all.size() > kMostNodes) return;
  const Place at = Some();
  naive::PathRecords records;
  if (Chance(60) && (*at.model)->GetNodeNum() < 100) {
    naive::Convert(**at.model, "", true, records);
    for (naive::PathRecord& record : records) {
      if (Chance(5)) record.index = Index(static_cast<int>(record.path.size()));
      if (Chance(5)) record.value = Value();
    }
    if (!records.empty() && Chance(20)) {
      records.erase(records.begin() + static_cast<std::ptrdiff_t>(Below(records.size())));
    }
  }
  for (std::size_t i = Below(8); i > 0; --i) {
    naive::PathRecord record;
    record.path = Chance(80) ? PathFrom(at) : GivenName();
    const std::size_t last = record.path.rfind('\\');
    record.index = last == std::string::npos ? 0 : static_cast<int>(last);
    if (Chance(10)) record.index = Index(static_cast<int>(record.path.size()));
    if (Chance(60)) record.value = Value();
    record.flag = static_cast<int>(Below(3)) - 1;
    naive::InsertSorted(records, record);
  }
  const std::string roots[] = {"root", "a\\b", " x ", "r\\", "", "\\r", PathFrom(at)};
  const std::string root_path = roots[Below(7)];
  const bool hold = Chance(30);
  const Place to = AtHeld(Below(kHeld));
  CompareOnly([](const LogLine& line) { return line.level <= 6; });
  Step("build " + Show(root_path) + " of " + Show(static_cast<long long>(records.size())) +
           " records",
       [&](auto& side) {
         side.result = Built(side, at, records, root_path);
         if (hold) side.In(to) = side.result;
         return std::string();
       });
}

}  // namespace property
