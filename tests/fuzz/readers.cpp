// The client's readers.  An Error is fine; a tree must be in order, and where the client
// can write the format again, writing and reading must give the same tree.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "Error.h"
#include "Load.h"
#include "NodeKind.h"
#include "Text.h"
#include "Walk.h"
#include "cfgtree/ReaderText.h"
#include "fuzz/targets.h"
#include "support/LogCapture.h"
#include "writers/Writer.h"

namespace fuzz {
namespace {

using cfgtree::Format;

struct File {
  Tree_NodePtr top;
  cfgtree::SourceStyle style;
};

// Nothing for what the reader refuses.
std::optional<File> ReadExact(Format format, std::string_view bytes) {
  // An exact copy, so that a sanitizer sees the byte behind it.
  const std::unique_ptr<char[]> copy(new char[bytes.size()]);
  bytes.copy(copy.get(), bytes.size());
  File file;
  try {
    file.top = BuildTree({"f", {copy.get(), bytes.size()}, nullptr}, format, "t", &file.style);
  } catch (const cfgtree::Error&) {
    return std::nullopt;
  }
  return file;
}

File ReadOwn(Format format, const std::string& bytes, const char* what) {
  try {
    File file;
    file.top = BuildTree({"own", bytes, nullptr}, format, "t", &file.style);
    return file;
  } catch (const cfgtree::Error& error) {
    throw Bug(std::string(what) + " is refused: " + error.what());
  }
}

void RequireSameText(const std::string& before, const std::string& after, const char* what) {
  Require(before == after, std::string(what) + "\n" + before + "---\n" + after);
}

void RequireOrder(Tree_NodePtr& top) {
  Require(!top.isNull(), "a file without a tree");
  Require(top->GetParent() == nullptr, "the top has a parent");
  cfgtree::Walk(top, [&](Tree_NodePtr& node, std::size_t) {
    if (node->IsLeaf()) {
      Require(node->GetTreeValue() != nullptr, "a leaf has no value");
      Require(node->GetChildCount() == 0, "a leaf has children");
    }
    for (int i = 0; i < node->GetChildCount(); ++i) {
      Require(node->GetChildAt(i)->GetParent() == node.get(), "a child has another parent");
    }
  });
}

// The tree with its change flags.
std::string TextOf(Tree_NodePtr& top) {
  std::string text = cfgtree::TreeText(top);
  cfgtree::Walk(top, [&](Tree_NodePtr& node, std::size_t) {
    if (node->IsLeaf()) text += ' ' + std::to_string(cfgtree::ChangeOf(*node));
  });
  return text;
}

std::string Write(Tree_NodePtr& top, Format format, const cfgtree::SourceStyle& style,
                  cfgtree::Losses& losses) {
  cfgtree::WriteOptions options;
  options.style = style;
  return WriteFormat(top, format, options, losses);
}

// A registry export has the values of a key in front of its sub-keys, save for those that
// stand behind a sub-key of their name.
void PutValuesFirst(Tree_NodePtr& top) {
  std::vector<Tree_NodePtr> keys;
  std::vector<Tree_NodePtr> late_values;
  std::set<std::pair<Tree_Node*, std::string>> names;  // of the keys, below their parents
  cfgtree::Walk(top, [&](Tree_NodePtr& node, std::size_t) {
    if (node->GetParent() == nullptr) return;
    const std::pair name(node->GetParent(), std::string(cfgtree::View(node->GetKeyName())));
    if (!node->IsLeaf() || cfgtree::View(cfgtree::ValueOf(*node)) == "[-]") {
      keys.push_back(node);
      names.insert(name);
    } else if (names.count(name) > 0) {
      late_values.push_back(node);
    }
  });
  // Each goes to the end, in turn.
  for (const std::vector<Tree_NodePtr>& nodes : {keys, late_values}) {
    for (Tree_NodePtr node : nodes) {
      Tree_Node* const parent = node->GetParent();
      parent->Insert(node, parent->GetChildCount() - 1, -1);
    }
  }
}

// What is written of a tree as it was read is the same tree again, unless the writer says
// what it could not keep.
void RequireSameAgain(File& file, Format format) {
  cfgtree::Losses losses;
  std::string bytes;
  const std::string before = TextOf(file.top);
  try {
    bytes = Write(file.top, format, file.style, losses);
  } catch (const cfgtree::Error&) {
    return;
  }
  Require(before == TextOf(file.top), "writing has changed the tree");
  File again = ReadOwn(format, bytes, "what was written");
  RequireOrder(again.top);
  if (!losses.empty()) return;
  if (format == Format::kReg) PutValuesFirst(file.top);
  RequireSameText(TextOf(file.top), TextOf(again.top),
                  "the tree that was written reads as another one");
}

void ReadText(Format format, std::string_view bytes) {
  const LogCapture log(5);
  std::optional<File> file = ReadExact(format, bytes);
  if (!file) return;
  RequireOrder(file->top);
  RequireSameAgain(*file, format);
}

// --- Serialized trees ---------------------------------------------------------------

// A buffer that the reader has accepted, read by the plainest means.
struct PlainBuffer {
  explicit PlainBuffer(std::string_view bytes, bool header) : m_bytes(bytes) {
    if (header) Text();
    std::vector<std::int32_t> way;  // ids of the record before and of those above it
    for (std::int32_t i = 0; m_at < m_bytes.size(); ++i) {
      const std::int32_t id = Number();
      const std::int32_t parent = Number();
      const std::string_view name = Text();
      const std::string_view value = Text();
      if (!value.empty()) Number();
      has_zeros = has_zeros || name.find('\0') != name.npos || value.find('\0') != value.npos;
      if (id != i) pre_order = false;
      if (i > 0) {
        while (!way.empty() && way.back() != parent) way.pop_back();
        if (way.empty()) pre_order = false;
      }
      way.push_back(id);
    }
  }

  bool has_zeros = false;
  bool pre_order = true;  // with ids that count up from 0

 private:
  std::int32_t Number() {
    Require(m_bytes.size() - m_at >= 4, "a number is cut, and was accepted");
    std::uint32_t number = 0;
    for (int i = 0; i < 4; ++i) {
      number = number * 256 + static_cast<unsigned char>(m_bytes[m_at++]);
    }
    return static_cast<std::int32_t>(number);
  }
  std::string_view Text() {
    const std::int32_t length = Number();
    Require(length >= 0 && static_cast<std::size_t>(length) <= m_bytes.size() - m_at,
            "a text is cut, and was accepted");
    const std::string_view text = m_bytes.substr(m_at, static_cast<std::size_t>(length));
    m_at += text.size();
    return text;
  }

  std::string_view m_bytes;
  std::size_t m_at = 0;
};

// The library leaves out what its format has no place for.
bool KeepsEverything(Tree_NodePtr& top) {
  bool all = !top->IsLeaf();
  cfgtree::Walk(top, [&](Tree_NodePtr& node, std::size_t depth) {
    if (depth > 0 && !node->IsLeaf() && node->GetKeyName().isNull()) all = false;
  });
  return all;
}

std::string WriteByLibrary(Tree_NodePtr& top, const std::optional<std::string>& header) {
  int size = 0;
  const RWCString path = cfgtree::ToRWCString(header.value_or(""));
  const std::unique_ptr<char[]> buffer(Tree_Node::GetSerializeIdNodeInfoVec(
      Tree_Node::GetIdNodeVecFromTree(top, nullptr), size, path, header.has_value(), false));
  const std::string bytes(buffer.get(), static_cast<std::size_t>(size));
  if (!header || header->empty()) {
    int size_at_once = 0;
    const std::unique_ptr<char[]> at_once(
        Tree_Node::GetSerializedTreeNode(top, size_at_once, header.has_value()));
    Require(bytes == std::string(at_once.get(), static_cast<std::size_t>(size_at_once)),
            "the library writes two different buffers");
  }
  return bytes;
}

}  // namespace

void ReaderIni(std::string_view bytes) {
  ReadText(Format::kIni, bytes);
}
void ReaderJson(std::string_view bytes) {
  ReadText(Format::kJson, bytes);
}
void ReaderReg(std::string_view bytes) {
  ReadText(Format::kReg, bytes);
}
void ReaderXml(std::string_view bytes) {
  ReadText(Format::kXml, bytes);
}

void ReaderTree(std::string_view bytes) {
  const LogCapture log(5);
  std::optional<File> file = ReadExact(Format::kTree, bytes);
  if (!file) return;
  RequireOrder(file->top);
  const std::optional<std::string>& header = file->style.tree_header;
  const PlainBuffer plain(bytes, header.has_value());

  // By the library, as long as its format keeps everything.
  const std::string before = TextOf(file->top);
  if (!plain.has_zeros && KeepsEverything(file->top)) {
    const std::string written = WriteByLibrary(file->top, header);
    File again = ReadOwn(Format::kTree, written, "what the library wrote");
    RequireSameText(before, TextOf(again.top), "the library's buffer reads as another tree");
    Require(header == again.style.tree_header, "the header has changed");
    if (plain.pre_order) Require(written == bytes, "a library's own buffer comes back changed");
  }

  // By the client, whatever the tree has: what it has written once no longer changes.
  cfgtree::Losses losses;
  const std::string once = Write(file->top, Format::kTree, file->style, losses);
  Require(before == TextOf(file->top), "writing has changed the tree");
  File kept = ReadOwn(Format::kTree, once, "what the client wrote");
  RequireOrder(kept.top);
  if (losses.empty()) RequireSameText(before, TextOf(kept.top), "a loss was kept quiet");
  cfgtree::Losses no_losses;
  const std::string twice = Write(kept.top, Format::kTree, kept.style, no_losses);
  Require(once == twice, "what the client wrote is written differently");
}

}  // namespace fuzz
