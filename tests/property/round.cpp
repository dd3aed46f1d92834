#include "property/round.h"

namespace property {
namespace {

constexpr int kStepsPerCheck = 12;

}  // namespace

// --- What names, values and indexes are made of ---------------------------------

namespace {
std::vector<std::string> MakeNames() {
  std::vector<std::string> names = {"a", "b",  "c",    "A",    "ab",           "x y",
                                    "-", "\t", "a\\b", "%s%d", "blobencoding", "chunk0000"};
  for (int i = 0; i < 30; ++i) names.push_back("n" + std::to_string(i));
  names.push_back(std::string(620, 'w'));
  return names;
}
}  // namespace

const std::vector<std::string> kNames = MakeNames();
const std::size_t kShortNames = 12;

const std::vector<std::string> kZeroNames = {std::string("a\0b", 3), std::string("a\0c", 3),
                                             std::string("\0", 1)};

const std::vector<std::string> kOddNames = {"",      " ",     "   ", " a",  "a ",
                                            "  b  ", " x y ", "\t ", " \\ "};

const std::vector<std::string> kValues = {"",
                                          "1",
                                          "two",
                                          " three ",
                                          "a\\b",
                                          std::string("z\0ero", 5),
                                          std::string(3071, 'v'),
                                          std::string(3072, 'v'),
                                          std::string(3100, 'v'),
                                          "%d%s"};

const std::vector<std::string> kVirtualPaths = {"", "sys", "sys\\main", "\\",
                                                std::string("v\0p", 3)};

const std::vector<std::string> kSeparators = {"\\", "\\", "/", "", "::"};

// --- The round ------------------------------------------------------------------

Round::Round(Choices& choices, const RoundOptions& options)
    : m_choices(choices),
      m_options(options),
      m_losses_left(options.losses),
      m_before(PoolFigures::Now()) {
  m_held.resize(kHeld);
}

Round::~Round() {
  if (IsStarved()) Feed();
  Tree_Node::separator = "\\";
}

const std::vector<Round::Operation> Round::kOperations = {
    {3, &Round::MakeTree},       {6, &Round::HoldSome},       {2, &Round::CopyHeld},
    {3, &Round::DropHeld},       {30, &Round::AddNew},        {2, &Round::Widen},
    {10, &Round::AddOld},        {15, &Round::InsertNew},     {20, &Round::InsertOld},
    {3, &Round::InsertOut},      {2, &Round::InsertNull},     {5, &Round::RemoveAt},
    {2, &Round::RemoveOut},      {4, &Round::RemoveChild},    {2, &Round::RemoveStranger},
    {5, &Round::RemoveNamed},    {12, &Round::RenameSome},    {12, &Round::RenameChildOfWide},
    {6, &Round::ChangeValue},    {6, &Round::ChangeFields},   {6, &Round::SetParentByHand},
    {4, &Round::SetVirtualPath}, {6, &Round::ReadFields},     {10, &Round::AskChildren},
    {10, &Round::AskKinship},    {2, &Round::DestroySome},    {5, &Round::DuplicateSome},
    {5, &Round::WalkSome},       {3, &Round::PruneSome},      {6, &Round::CountSome},
    {25, &Round::GetOneLevel},   {30, &Round::GetByPath},     {20, &Round::CreateByPath},
    {10, &Round::GetSubTree},    {15, &Round::GetSubTreeAt},  {12, &Round::SearchSome},
    {12, &Round::ReadValue},     {20, &Round::ReadValueAt},   {20, &Round::CountByPath},
    {12, &Round::ListByPath},    {5, &Round::ChangeLevel},    {2, &Round::ChangeSeparator},
    {6, &Round::MakeChunkArea},  {10, &Round::MergeSome},     {10, &Round::ExtractChanges},
    {8, &Round::ChecksumSome},   {10, &Round::SerializeSome}, {8, &Round::ConvertSome},
    {12, &Round::BuildSome},
};

void Round::Run() {
  int total = 0;
  for (const Operation& operation : kOperations) total += operation.weight;
  for (int step = 0; step < m_options.steps && !m_choices.Spent(); ++step) {
    int chosen = static_cast<int>(Below(static_cast<std::size_t>(total)));
    const Operation* operation = kOperations.data();
    while (chosen >= operation->weight) chosen -= operation++->weight;
    (this->*operation->run)();
    if (step % kStepsPerCheck == 0) {
      CheckAll();
      Trim();
    }
  }
  CheckAll();
  for (std::size_t i = 0; i < kHeld; ++i) {
    const Place place = AtHeld(i);
    Step("let go of " + Told(place), [&](auto& side) {
      side.In(place) = typename std::decay_t<decltype(side)>::NodeHandle();
      return std::string();
    });
  }
  // What was lost stays in memory, and no more than that.  A lost node is emptied, so
  // that nothing of it is in the heap.
  for (const Handle& lost : m_world.lost) {
    Step("empty the lost " + ModelSide::NameOf(lost.get()), [&](auto& side) {
      if constexpr (std::is_same_v<std::decay_t<decltype(side)>, ModelSide>) {
        lost->Destroy();
      } else {
        lost->real->Destroy();
      }
      return std::string();
    });
  }
  CheckPools();
  m_lost_for_good = {.nodes = m_world.nodes,
                     .vectors = m_world.vectors,
                     .elements = m_world.elements,
                     .values = m_world.values,
                     .records = m_world.nodes};
  m_world.level = 0;
  m_world.lost.clear();
  if (!m_world.all.empty()) Part("The model leaks.");
}

// --- Looking at everything ----------------------------------------------------------

void Round::CheckAll() {
  const Quiet quiet;
  for (Held& held : m_held) Pair(held.model, held.library);
  // Nodes that were lost are known, but what was made below them need not be.
  for (const Handle& lost : m_world.lost) PairChildren(*lost, *lost->real);
  for (const auto& [number, node] : m_world.all) {
    if (node->real == nullptr) Part("A node is out of reach.");
    CheckNode(*node, *node->real);
  }
  // How many handles there are to each node, as the handles themselves tell.
  for (const Held& held : m_held) {
    if (held.library.UseCount() != static_cast<std::uint32_t>(held.model.use_count()) &&
        held.model != nullptr) {
      Part("Node " + ModelSide::NameOf(held.model.get()) + " has " +
           std::to_string(held.library.UseCount()) + " handles instead of " +
           std::to_string(held.model.use_count()) + ".");
    }
  }
  CheckPools();
}

void Round::CheckNode(const naive::Node& model, Tree_Node& library) {
  const auto expect = [&](const char* what, const std::string& expected,
                          const std::string& actual) {
    if (expected == actual) return;
    Part(std::string(what) + " of node " + ModelSide::NameOf(&model) +
         " differs.\n  model:   " + expected + "\n  library: " + actual);
  };
  const LibrarySide names{m_world.known, Tree_NodePtr()};
  expect("The name", Show(model.name), Show(library.GetKeyName()));
  expect("The virtual parent path", Show(model.virtual_parent_path),
         Show(library.GetVirtualParentPath()));
  expect("IsAllowsChildren", Show(model.allows_children), Show(library.IsAllowsChildren()));
  expect("IsLeaf", Show(model.IsLeaf()), Show(library.IsLeaf()));
  expect("The id", Show(model.id), Show(library.GetId()));
  expect("The parent", ModelSide::NameOf(model.parent), names.NameOf(library.GetParent()));
  expect("The number of children", Show(model.GetChildCount()), Show(library.GetChildCount()));
  CheckInterned(model.name, library.GetKeyName().data());

  Tree_Value* value = library.GetTreeValue();
  expect("Having a value", Show(model.value != nullptr), Show(value != nullptr));
  if (value != nullptr) {
    const RWCString text = value->GetValue();
    expect("The value", Show(model.value->text), Show(text));
    expect("The change flag", Show(model.value->flag), Show(value->IsChange()));
    CheckInterned(model.value->text, text.data());
  }

  for (int i = 0; i < model.GetChildCount(); ++i) {
    const Handle& child = model.children[static_cast<std::size_t>(i)];
    Tree_NodePtr& slot = library.GetChildAt(i);
    expect("A child", ModelSide::NameOf(child.get()), names.NameOf(slot.get()));
    expect("The number of handles to a child", Show(child.use_count()), Show(slot.UseCount()));
  }
}

// Equal texts are one text, whatever they are the name or the value of.
void Round::CheckInterned(const std::string& text, const char* where) {
  const auto known = m_interned.emplace(text, where);
  if (known.first->second != where) Part("There are two texts " + Show(text) + ".");
}

void Round::CheckPools() {
  if (IsStarved()) return;  // some of it is in the heap
  const PoolFigures expected{m_world.nodes, m_world.vectors, m_world.elements, m_world.values,
                             m_world.nodes};
  PoolFigures actual = PoolFigures::Now() - m_before;
  actual.records -= 1;  // m_null_with_record
  if (expected == actual) return;
  std::ostringstream what;
  what << "The pools differ.\n  model:   " << expected << "\n  library: " << actual;
  Part(what.str());
}

// Lets go of something when the forest has grown too large.
void Round::Trim() {
  for (std::size_t i = 0; i < kHeld; ++i) {
    const Place place = AtHeld(i);
    if (*place.model == nullptr) continue;
    if (m_world.all.size() < kMostNodes && (*place.model)->GetNodeNum() < kMostInOneTree) continue;
    Step("trim " + Told(place), [&](auto& side) {
      side.In(place)->Destroy();
      side.In(place) = typename std::decay_t<decltype(side)>::NodeHandle();
      return std::string();
    });
  }
}

}  // namespace property
