#include "TreeBuilder.h"

#include <cassert>
#include <memory>
#include <utility>

#include "Text.h"

namespace cfgtree {
namespace {

// The constructors strip blanks at the ends of a name, and rename a node that has no
// name left; a name that they would change is set afterwards.
bool ConstructorWouldChange(std::string_view name) {
  return name.empty() || name.front() == ' ' || name.back() == ' ';
}

Tree_Node* NewNode(std::string_view name, std::unique_ptr<Tree_Value> value) {
  const bool rename = ConstructorWouldChange(name);
  std::unique_ptr<Tree_Node> node(
      new Tree_Node(rename ? RWCString("name") : ToRWCString(name), value.get()));
  static_cast<void>(value.release());  // the node owns it now
  if (rename) node->SetKeyName(ToRWCString(name));
  return node.release();
}

Tree_Node* NewLeaf(std::string_view name, std::string_view value) {
  return NewNode(name, std::make_unique<Tree_Value>(ToRWCString(value), 0));
}

}  // namespace

TreeBuilder::TreeBuilder(std::string_view top_name)
    : m_top(NewNode(top_name, nullptr)), m_current(m_top.get()) {}

Tree_Node* TreeBuilder::Enter(std::string_view name, NodeKind kind) {
  Tree_Node* node = NewNode(name, nullptr);
  Append(node, kind);
  m_current = node;
  return node;
}

void TreeBuilder::Leave() {
  assert(m_current != m_top.get());
  m_current = m_current->GetParent();
}

Tree_Node* TreeBuilder::Leaf(std::string_view name, std::string_view value, NodeKind kind) {
  Tree_Node* node = NewLeaf(name, value);
  Append(node, kind);
  return node;
}

void TreeBuilder::MakeTopLeaf(std::string_view value, NodeKind kind) {
  assert(m_current == m_top.get() && m_top->GetChildCount() == 0);
  const RWCString& name = m_top->GetKeyName();
  m_top = Tree_NodePtr(NewLeaf({name.data(), name.length()}, value));
  m_top->SetId(static_cast<int>(kind));
  m_current = m_top.get();
}

Tree_NodePtr TreeBuilder::Finish() {
  m_current = nullptr;
  return std::move(m_top);
}

void TreeBuilder::Append(Tree_Node* node, NodeKind kind) {
  Tree_NodePtr handle(node);
  if (kind != NodeKind::kPlain) node->SetId(static_cast<int>(kind));
  m_current->Add(handle);
}

}  // namespace cfgtree
