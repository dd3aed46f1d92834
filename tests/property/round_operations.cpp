// The operations on nodes that a round chooses from.

#include <type_traits>

#include "property/round.h"
#include "property/walk_script.h"

namespace property {

// --- Holding and letting go -----------------------------------------------------------

void Round::NewTree(std::size_t i) {
  const Place place = AtHeld(i);
  const std::string name = GivenName();
  const bool leaf = Chance(15);
  const std::string value = Value();
  const int flag = static_cast<int>(Below(3)) - 1;
  Step("make a tree " + Show(name), [&](auto& side) {
    side.In(place) = leaf ? side.Make(name, value, flag) : side.Make(name);
    side.result = side.In(place);
    return std::string();
  });
}

void Round::HoldSome() {
  const Place from = Some();
  const Place to = AtHeld(Below(kHeld));
  Step("hold " + Told(from) + " instead of " + Told(to), [&](auto& side) {
    side.In(to) = side.In(from);
    return std::string();
  });
}

void Round::CopyHeld() {
  const Place from = AtHeld(Below(kHeld));
  const Place to = AtHeld(Below(kHeld));
  Step("copy held " + Told(from) + " over " + Told(to), [&](auto& side) {
    auto copy = side.In(from);
    side.In(to) = std::move(copy);
    return std::string();
  });
}

void Round::DropHeld() {
  const Place place = AtHeld(Below(kHeld));
  Step("drop " + Told(place), [&](auto& side) {
    side.In(place) = typename std::decay_t<decltype(side)>::NodeHandle();
    return std::string();
  });
}

// --- Children -------------------------------------------------------------------------

void Round::AddNew() {
  const Place at = Some();
  const std::string name = GivenName();
  const bool leaf = Chance(50);
  const std::string value = Value();
  const int flag = static_cast<int>(Below(2));
  Step(Told(at) + " Add new " + Show(name), [&](auto& side) {
    auto child = leaf ? side.Make(name, value, flag) : side.Make(name);
    side.result = child;
    return Show(side.At(at)->Add(child));
  });
}

void Round::Widen() {
  if (m_world.all.size() > kMostNodes) return;
  const Place at = Some();
  std::vector<std::string> names;
  for (unsigned i = 20 + Below(40); i > 0; --i) names.push_back(Name());
  const bool leaves = Chance(30);
  Step(Told(at) + " Add " + Show(static_cast<long long>(names.size())) + " children",
       [&](auto& side) {
         for (const std::string& name : names) {
           auto child = leaves ? side.Make(name, "wide", 0) : side.Make(name);
           side.At(at)->Add(child);
         }
         side.result = side.In(at);
         return std::string();
       });
}

void Round::AddOld() {
  const Place at = Some();
  const Place child = Some();
  if (MakesRing(at, child)) return;
  // A child of this node is refused by an exception, and an element is lost.
  const bool loses = (*child.model)->parent == at.model->get();
  if (loses && (IsStarved() || m_losses_left-- <= 0)) return;
  Step(Told(at) + " Add " + Told(child),
       [&](auto& side) { return Show(side.At(at)->Add(side.In(child))); });
}

void Round::InsertNew() {
  const Place at = SomeWithChildren();
  const std::string name = GivenName();
  const int index = static_cast<int>(Below((*at.model)->children.size() + 1));
  const int hint = Chance(50) ? -1 : static_cast<int>(Below(50));
  Step(Told(at) + " Insert new " + Show(name) + " at " + Show(index), [&](auto& side) {
    auto child = side.Make(name);
    side.result = child;
    return Show(side.At(at)->Insert(child, index, hint));
  });
}

// Moves a node, often inside its own parent.
void Round::InsertOld() {
  Place at = SomeWithChildren();
  Place child = Some();
  if (Chance(50) && !(*at.model)->children.empty()) {
    child = ChildOf(at, static_cast<int>(Below((*at.model)->children.size())));
  }
  if (MakesRing(at, child)) return;
  int room = (*at.model)->GetChildCount() + 1;
  if ((*child.model)->parent == at.model->get() && (*at.model)->GetIndex(*child.model) >= 0) --room;
  m_world.lines.clear();  // those of GetIndex
  const int index = static_cast<int>(Below(static_cast<std::size_t>(room)));
  Step(Told(at) + " Insert " + Told(child) + " at " + Show(index),
       [&](auto& side) { return Show(side.At(at)->Insert(side.In(child), index, -1)); });
}

void Round::InsertOut() {
  const Place at = Some();
  const Place child = Some();
  if (MakesRing(at, child) || IsStarved() || m_losses_left-- <= 0) return;
  const int count = (*at.model)->GetChildCount();
  const int odd[] = {-1, -2, INT_MIN, INT_MAX, count + 1, count + 2};
  const int index = odd[Below(6)];
  Step(Told(at) + " Insert " + Told(child) + " at " + Show(index),
       [&](auto& side) { return Show(side.At(at)->Insert(side.In(child), index, 2)); });
}

void Round::InsertNull() {
  const Place at = Some();
  const Place child = Null();
  const bool add = Chance(50);
  Step(Told(at) + " Add or Insert null", [&](auto& side) {
    return Show(add ? side.At(at)->Add(side.In(child)) : side.At(at)->Insert(side.In(child), 0, 1));
  });
}

void Round::RemoveAt() {
  const Place at = SomeWithChildren();
  const int count = (*at.model)->GetChildCount();
  const int index = count == 0 ? 0 : static_cast<int>(Below(static_cast<std::size_t>(count)));
  Step(Told(at) + " Remove " + Show(index),
       [&](auto& side) { return Show(side.At(at)->Remove(index)); });
}

void Round::RemoveOut() {
  const Place at = Some();
  const int count = (*at.model)->GetChildCount();
  const int odd[] = {-1, count, count + 3, INT_MIN, INT_MAX};
  const int index = odd[Below(5)];
  Step(Told(at) + " Remove " + Show(index),
       [&](auto& side) { return Show(side.At(at)->Remove(index)); });
}

void Round::RemoveChild() {
  const Place at = SomeWithChildren();
  if ((*at.model)->children.empty()) return;
  const Place child = ChildOf(at, static_cast<int>(Below((*at.model)->children.size())));
  const bool copy = Chance(50);
  Step(Told(at) + " Remove child " + Told(child), [&](auto& side) {
    if (!copy) return Show(side.At(at)->Remove(side.In(child)));
    auto kept = side.In(child);
    return Show(side.At(at)->Remove(kept));
  });
}

void Round::RemoveStranger() {
  const Place at = Some();
  const Place child = Chance(70) ? Some() : Null();
  Step(Told(at) + " Remove " + Told(child),
       [&](auto& side) { return Show(side.At(at)->Remove(side.In(child))); });
}

void Round::RemoveNamed() {
  const Place at = SomeWithChildren();
  const std::string name = ChildName(at);
  Step(Told(at) + " Remove " + Show(name),
       [&](auto& side) { return Show(side.At(at)->Remove(side.Text(name))); });
}

// --- Fields ---------------------------------------------------------------------------

void Round::RenameSome() {
  const Place at = Some();
  const std::string name = Chance(10) ? kOddNames[Below(std::size(kOddNames))] : Name();
  Step(Told(at) + " SetKeyName " + Show(name), [&](auto& side) {
    side.At(at)->SetKeyName(side.Text(name));
    return std::string();
  });
}

// Wide nodes keep an index of names; here it has to follow.
void Round::RenameChildOfWide() {
  for (const auto& entry : m_world.all) {
    naive::Node* const wide = entry.second;
    if (wide->GetChildCount() < 20 || Chance(30)) continue;
    Handle& child = wide->children[Below(wide->children.size())];
    const Place at{&child, &wide->real->GetChildAt(wide->GetIndex(child))};
    const std::string old_name = child->name;
    const std::string name = Name();
    Step(Told(at) + " of a wide node SetKeyName " + Show(name), [&](auto& side) {
      side.At(at)->SetKeyName(side.Text(name));
      return std::string();
    });
    const auto ask = [&](const std::string& asked) {
      Step(ModelSide::NameOf(wide) + " Get " + Show(asked), [&](auto& side) {
        using Side = std::decay_t<decltype(side)>;
        typename Side::Node* node = nullptr;
        if constexpr (std::is_same_v<Side, ModelSide>) {
          node = wide;
        } else {
          node = wide->real;
        }
        return side.NameOf(node->Get(side.Text(asked), node));
      });
    };
    ask(old_name);
    ask(name);
    return;
  }
}

void Round::ChangeValue() {
  const Place at = Some();
  const bool take = Chance(20);
  const bool give = Chance(40);
  const std::string value = Value();
  const int flag = static_cast<int>(Below(3));
  if (take || give) {
    Step(Told(at) + (take ? " SetTreeValue null" : " SetTreeValue"), [&](auto& side) {
      side.SetTreeValue(side.At(at), take ? nullptr : &value, flag);
      return std::string();
    });
    return;
  }
  const Place name = Some();
  const bool by_pointer = Chance(30);
  Step(Told(at) + " SetValue", [&](auto& side) {
    auto* held = side.At(at)->GetTreeValue();
    if (held == nullptr) return std::string("no value");
    if (by_pointer) {
      // An interned string stored as it is: a name of some node.
      if constexpr (std::is_same_v<std::decay_t<decltype(side)>, ModelSide>) {
        held->SetValue(side.At(name)->GetKeyName());
      } else {
        held->SetValue(&side.At(name)->GetKeyName());
      }
    } else {
      held->SetValue(side.Text(value));
    }
    held->SetIsChange(flag);
    return Show(held->GetValue()) + Show(held->IsChange());
  });
}

void Round::ChangeFields() {
  const Place at = Some();
  const Place other = Some();
  const int id = static_cast<int>(Below(1000)) - 500;
  Step(Told(at) + " SetId", [&](auto& side) {
    int protection = 7;
    side.At(at)->SetId(id);
    side.At(at)->ChangeTreeNodePtrProtection(side.In(other), protection);
    return Show(side.At(at)->GetId()) + " " + Show(protection);
  });
}

void Round::SetParentByHand() {
  const Place at = Some();
  const Place parent = Chance(40) ? Null() : Some();
  if (*parent.model != nullptr && HasAbove(parent.model->get(), at.model->get())) return;
  Step(Told(at) + " SetParent " + Told(parent), [&](auto& side) {
    side.At(at)->SetParent(side.At(parent));
    return side.NameOf(side.At(at)->GetParent());
  });
  // The child may now be listed by one node and belong to another.
  const std::string name = Name();
  if (Chance(30)) {
    Step(Told(at) + " SetKeyName " + Show(name), [&](auto& side) {
      side.At(at)->SetKeyName(side.Text(name));
      return std::string();
    });
  }
}

void Round::SetVirtualPath() {
  const Place at = Some();
  const std::string path = kVirtualPaths[Below(std::size(kVirtualPaths))];
  Step(Told(at) + " SetVirtualParentPath " + Show(path), [&](auto& side) {
    auto text = side.Text(path);
    side.At(at)->SetVirtualParentPath(text);
    return Show(side.At(at)->GetVirtualParentPath());
  });
}

void Round::ReadFields() {
  const Place at = Some();
  Step(Told(at) + " fields", [&](auto& side) {
    auto* node = side.At(at);
    auto* value = node->GetTreeValue();
    return Show(node->GetPath()) + Show(node->GetKeyName()) + Show(node->IsEmpty()) +
           Show(node->IsLeaf()) + Show(node->IsAllowsChildren()) + Show(node->GetChildCount()) +
           side.NameOf(node->GetParent()) + (value == nullptr ? "" : Show(value->GetValue()));
  });
}

// --- Questions ------------------------------------------------------------------------

void Round::AskChildren() {
  const Place at = Some();
  const Place child = Chance(50) ? Some() : Null();
  const int index = Index((*at.model)->GetChildCount());
  Step(Told(at) + " GetChildAt " + Show(index), [&](auto& side) {
    side.slot = &side.At(at)->GetChildAt(index);
    return Show(side.At(at)->GetIndex(*side.slot)) + " " +
           Show(side.At(at)->GetIndex(side.In(child)));
  });
}

void Round::AskKinship() {
  const Place at = Some();
  Place node = Chance(90) ? Some() : Null();
  if (Chance(40) && !(*at.model)->children.empty()) {
    node = ChildOf(at, static_cast<int>(Below((*at.model)->children.size())));
  }
  Step(Told(at) + " and " + Told(node) + ": kinship", [&](auto& side) {
    std::string told = Show(side.At(at)->IsNodeChild(side.In(node))) +
                       Show(side.At(at)->IsNodeAncestor(side.In(node)));
    if (side.At(node) != nullptr) told += Show(side.At(node)->IsNodeAncestor(side.In(at)));
    return told;
  });
}

// --- Whole sub-trees --------------------------------------------------------------------

void Round::DestroySome() {
  const Place at = Some();
  const bool twice = Chance(20);
  Step(Told(at) + " Destroy", [&](auto& side) {
    auto kept = side.In(at);
    kept->Destroy();
    if (twice) kept->Destroy();
    return std::string();
  });
}

void Round::DuplicateSome() {
  const Place at = Some();
  if (m_world.all.size() > kMostNodes) return;
  const Place to = AtHeld(Below(kHeld));
  const bool argument = Chance(50);
  Step(Told(at) + " DuplicateFromHereDown", [&](auto& side) {
    side.result = side.At(at)->DuplicateFromHereDown(argument);
    side.In(to) = side.result;
    return std::string();
  });
}

void Round::WalkSome() {
  TidyParents();
  const Place at = Some();
  const bool only_look = Chance(40);
  Script script;
  for (unsigned i = only_look ? 0 : 10; i > 0; --i) script.actions.push_back({Below(16), Name()});
  Step(Told(at) + " ExecuteOnEntireSubtree", [&](auto& side) {
    using Node = typename std::decay_t<decltype(side)>::Node;
    auto kept = side.In(at);
    script.next = 0;
    script.visited.clear();
    g_script = &script;
    kept->ExecuteOnEntireSubtree(&Visit<Node>);
    g_script = nullptr;
    side.result = kept;
    return script.visited;
  });
  const Quiet quiet;
  for (Held& held : m_held) Pair(held.model, held.library);
}

void Round::PruneSome() {
  const Place at = Some();
  Step(Told(at) + " RemoveEmptyBranches",
       [&](auto& side) { return Show(side.At(at)->RemoveEmptyBranches()); });
}

void Round::CountSome() {
  const Place at = Some();
  const Place counted = Chance(90) ? Some() : Null();
  const int start = static_cast<int>(Below(20)) - 10;
  Step(Told(at) + " counts", [&](auto& side) {
    using Node = typename std::decay_t<decltype(side)>::Node;
    int count = start;
    Node::GetRecursiveChildCount(side.In(counted), count);
    return Show(side.At(at)->GetNodeNum()) + " " + Show(count) + " " +
           Show(static_cast<long long>(side.At(at)->GetTotalSize()));
  });
}

// --- Navigation -------------------------------------------------------------------------

void Round::GetOneLevel() {
  const Place at = SomeWithChildren();
  const Place self = This(at);
  const std::string name = ChildName(at);
  m_this = self;
  const unsigned form = Below(4);
  Step(Told(at) + " Get " + Show(name) + ", form " + Show(form), [&](auto& side) {
    auto text = side.Text(name);
    switch (form) {
      case 0:
        side.result = side.At(at)->Get(side.Chars(name), side.In(self));
        return std::string();
      case 1:
        side.result = side.At(at)->Get(text, side.In(self));
        return std::string();
      case 2:
        return side.NameOf(side.At(at)->Get(text, side.At(self)));
      default:
        side.slot = &side.At(at)->GetByRef(text, side.In(self));
        return std::string();
    }
  });
}

void Round::GetByPath() {
  const Place at = Some();
  const Place self = This(at);
  const std::string path = PathFrom(at);
  const bool by_ref = Chance(50);
  // A path that was read before goes on where it stopped.
  const unsigned read_before = Chance(10) ? Below(4) : 0;
  m_this = self;
  Step(Told(at) + " GetRelativeNode " + Show(path), [&](auto& side) {
    auto segments = side.MakePath(path);
    for (unsigned i = 0; i < read_before; ++i) segments.GetRoot();
    if (by_ref) {
      side.slot = &side.At(at)->GetRelativeNodeByRef(segments, side.In(self));
    } else {
      side.result = side.At(at)->GetRelativeNode(segments, side.In(self));
    }
    return Show(segments.IsOnlyRoot()) + Show(segments.GetRoot()) + Show(segments.IsOnlyRoot());
  });
}

void Round::CreateByPath() {
  const Place at = Some();
  const Place self = This(at);
  const Place to = AtHeld(Below(kHeld));
  std::string path = PathFrom(at);
  if (Chance(10)) path += "\\" + kOddNames[Below(std::size(kOddNames))];
  if (Chance(10)) path = kOddNames[Below(std::size(kOddNames))] + "\\" + path;
  const bool unprotected = Chance(20);
  const bool hold = Chance(10);
  Step(Told(at) + " GetOrCreateRelativeNode " + Show(path), [&](auto& side) {
    auto segments = side.MakePath(path);
    auto* node = side.At(at);
    side.result = unprotected ? node->GetOrCreateUnProtectedRelativeNode(segments, side.In(self))
                              : node->GetOrCreateRelativeNode(segments, side.In(self));
    if (hold) side.In(to) = side.result;
    return Show(segments.IsOnlyRoot());
  });
  const Quiet quiet;
  for (Held& held : m_held) Pair(held.model, held.library);
}

void Round::GetSubTree() {
  const Place at = Some();
  const Place self = Chance(80) ? at : Some();
  const std::string path = PathFrom(self);
  const bool by_ref = Chance(50);
  m_this = self;
  Step(Told(at) + " GetRelativeSubTree " + Show(path), [&](auto& side) {
    auto segments = side.MakePath(path);
    if (by_ref) {
      side.slot = &side.At(at)->GetRelativeSubTreeByRef(segments, side.In(self));
    } else {
      side.result = side.At(at)->GetRelativeSubTree(segments, side.In(self));
    }
    return Show(segments.IsOnlyRoot());
  });
}

void Round::GetSubTreeAt() {
  const Place at = SomeWithChildren();
  const Place self = This(at);
  const std::string path = Chance(40) ? "" : PathFrom(at);
  const int index = Index((*at.model)->GetChildCount());
  const bool by_ref = Chance(50);
  m_this = self;
  Step(Told(at) + " GetRelativeSubTree " + Show(path) + ", " + Show(index), [&](auto& side) {
    auto text = side.Text(path);
    if (by_ref) {
      side.slot = &side.At(at)->GetRelativeSubTreeByRef(text, index, side.In(self));
    } else {
      side.result = side.At(at)->GetRelativeSubTree(text, index, side.In(self));
    }
    return std::string();
  });
}

void Round::SearchSome() {
  const Place at = Some();
  const Place self = This(at);
  const std::string path = Chance(60) ? ChildName(Some()) : PathFrom(Some());
  const int strip_top = static_cast<int>(Below(3)) - 1;
  Step(Told(at) + " Search " + Show(path), [&](auto& side) {
    return Show(side.At(at)->Search(side.Text(path), side.In(self), strip_top));
  });
}

// --- Values and listings ------------------------------------------------------------------

void Round::ReadValue() {
  const Place at = Some();
  const Place self = This(at);
  const std::string path = PathFrom(at);
  Step(Told(at) + " GetValue " + Show(path), [&](auto& side) {
    auto text = side.Text(path);
    return Show(side.At(at)->GetValue(text, side.In(self)));
  });
}

void Round::ReadValueAt() {
  const Place at = SomeWithChildren();
  const Place self = This(at);
  const std::string path = Chance(50) ? "" : PathFrom(at);
  const int index = Index((*at.model)->GetChildCount());
  const bool name = Chance(40);
  Step(Told(at) + " GetValue or its name " + Show(path) + ", " + Show(index), [&](auto& side) {
    auto text = side.Text(path);
    return Show(name ? side.At(at)->GetValueName(text, index, side.In(self))
                     : side.At(at)->GetValue(text, index, side.In(self)));
  });
}

void Round::CountByPath() {
  const Place at = SomeWithChildren();
  const Place self = This(at);
  const std::string path = Chance(40) ? "" : PathFrom(at);
  const unsigned form = Below(4);
  Step(Told(at) + " counts of " + Show(path) + ", form " + Show(form), [&](auto& side) {
    auto text = side.Text(path);
    auto* node = side.At(at);
    switch (form) {
      case 0:
        return Show(node->GetValueNum(text, side.In(self)));
      case 1:
        return Show(node->GetSubTreeNum(text, side.In(self)));
      case 2:
        return Show(node->GetTreeNodeEntriesCount(side.In(self)));
      default:
        return Show(node->GetSubTreeEntriesCount(text, side.In(self)));
    }
  });
}

void Round::ListByPath() {
  const Place at = SomeWithChildren();
  const Place self = This(at);
  const std::string path = Chance(40) ? "" : PathFrom(at);
  const bool values = Chance(50);
  Step(Told(at) + " lists " + Show(path), [&](auto& side) {
    auto text = side.Text(path);
    return values ? Show(side.At(at)->GetSubTreeValues(text, side.In(self)))
                  : Show(side.At(at)->GetSubTreePaths(text, side.In(self)));
  });
}

// --- The process ----------------------------------------------------------------------------

void Round::ChangeLevel() {
  const int level = Chance(60) ? 7 : 3 + static_cast<int>(Below(4));
  m_world.level = level;
  ZelGLog.SetLevel(level);
  m_story.push_back("level " + Show(level));
}

void Round::ChangeSeparator() {
  const std::string separator = kSeparators[Below(std::size(kSeparators))];
  m_world.separator = separator;
  Tree_Node::separator = Bytes(separator);
  m_story.push_back("separator " + Show(separator));
}

}  // namespace property
