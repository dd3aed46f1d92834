#include "writers/XmlWriter.h"

#include <expat.h>

#include <cstddef>
#include <cstdio>
#include <new>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "Encoding.h"
#include "NodeKind.h"
#include "Text.h"
#include "Walk.h"
#include "writers/CommonLosses.h"

namespace cfgtree {
namespace {

constexpr std::string_view kTextName = "#text";
constexpr std::string_view kWhiteSpace = " \t\r\n";
constexpr std::string_view kIndent = "  ";

// What stands for the empty name.
constexpr std::string_view kNoName = "_x_";

bool IsAsciiLetter(char32_t code) {
  return (code >= 'A' && code <= 'Z') || (code >= 'a' && code <= 'z') || code == '_' || code == ':';
}

bool IsAsciiNamePart(char32_t code) {
  return IsAsciiLetter(code) || (code >= '0' && code <= '9') || code == '-' || code == '.';
}

// Whether the reader's parser takes `name` for a name.  The editions of XML differ in the
// letters beyond ASCII that they allow, and what is written must be read again.
bool IsNameForExpat(std::string_view name) {
  const std::string document = '<' + std::string(name) + "/>";
  XML_Parser parser = XML_ParserCreate("UTF-8");
  if (parser == nullptr) throw std::bad_alloc();
  const XML_Status status =
      XML_Parse(parser, document.data(), static_cast<int>(document.size()), XML_TRUE);
  XML_ParserFree(parser);
  return status == XML_STATUS_OK;
}

// Whether `name`, of letters, digits and what may be one beyond ASCII, is an XML name.
bool IsXmlName(std::string_view name) {
  bool ascii = true;
  for (std::size_t i = 0; i < name.size();) {
    const Utf8Character character = DecodeUtf8(name, i);
    if (character.code >= 0x80) {
      ascii = false;
    } else if (!(i == 0 ? IsAsciiLetter(character.code) : IsAsciiNamePart(character.code))) {
      return false;
    }
    i += character.length;
  }
  return !name.empty() && (ascii || IsNameForExpat(name));
}

// Characters that no document may hold, not even as a reference.
bool IsForbidden(char32_t code) {
  return (code < 0x20 && code != '\t' && code != '\n' && code != '\r') || code == 0xFFFE ||
         code == 0xFFFF;
}

bool IsBlank(std::string_view text) {
  return text.find_first_not_of(kWhiteSpace) == text.npos;
}

bool IsAttribute(Tree_Node& node) {
  const std::string_view name = View(node.GetKeyName());
  return node.IsLeaf() && name.size() > 1 && name[0] == '@';
}

bool IsText(Tree_Node& node) {
  return node.IsLeaf() && View(node.GetKeyName()) == kTextName;
}

class XmlFile {
 public:
  XmlFile(const SourceStyle& style, Losses& losses) : m_losses(losses), m_end(LineEnd(style)) {}

  std::string Write(Tree_NodePtr& top) {
    RequireWritableIndents(top);
    m_text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>";
    Begin(Root(*top), true);
    while (!m_open.empty()) {
      Level& level = m_open.back();
      if (level.next == level.node->GetChildCount()) {
        Close();
        continue;
      }
      Tree_Node& child = *level.node->GetChildAt(level.next++);
      if (IsAttribute(child)) continue;
      if (IsText(child)) {
        Text(child, level.behind_text);
        level.behind_text = true;
      } else {
        level.behind_text = false;
        Begin(child, !level.mixed);
      }
      RequireWritableSize(m_text.size());
    }
    m_text += m_end;
    return std::move(m_text);
  }

 private:
  struct Level {
    Tree_Node* node;
    int next;
    bool mixed;  // has text, so that white space counts
    std::string name;
    bool behind_text = false;  // what was written last is text
  };

  static void RequireWritableIndents(Tree_NodePtr& top) {
    std::size_t indents = 0;
    Walk(top, [&](Tree_NodePtr&, std::size_t depth) {
      RequireWritableSize(indents += depth * kIndent.size());
    });
  }

  // The node that becomes the root element.
  Tree_Node& Root(Tree_Node& top) {
    if (top.GetChildCount() == 1) {
      Tree_Node& child = *top.GetChildAt(0);
      if (!IsAttribute(child) && !IsText(child)) return child;
    }
    m_losses.Say("the top becomes the root element, of which a document has one");
    return top;
  }

  // A leaf whole; of an inner node the start of its element.
  void Begin(Tree_Node& node, bool own_line) {
    CountKind(node, m_losses);
    if (own_line) NewLine(m_open.size());
    std::string name = ElementName(node);
    m_text += '<';
    m_text += name;
    if (node.IsLeaf()) {
      CountChangeFlag(node, m_losses);
      const RWCString value = ValueOf(node);
      return Content(name, View(value));
    }
    const Parts parts = Attributes(node);
    if (parts.elements + parts.texts == 0) {
      m_text += "/>";
      if (parts.attributes == 0) {
        m_losses.Count("empty sub-tree becomes an empty value",
                       "empty sub-trees become empty values");
      }
      return;
    }
    if (parts.attributes + parts.elements == 0) {
      m_losses.Count("sub-tree of text only becomes a value",
                     "sub-trees of text only become values");
    }
    m_text += '>';
    m_open.push_back({&node, 0, parts.texts > 0, std::move(name)});
  }

  void Content(std::string_view name, std::string_view value) {
    if (value.empty()) {
      m_text += "/>";
      return;
    }
    m_text += '>';
    Escape(value, "&<>\r");
    m_text += "</";
    m_text += name;
    m_text += '>';
  }

  struct Parts {
    int attributes = 0;
    int texts = 0;
    int elements = 0;
  };

  // Writes the attributes, and counts everything else.
  Parts Attributes(Tree_Node& node) {
    Parts parts;
    std::unordered_set<std::string> names;
    for (int i = 0; i < node.GetChildCount(); ++i) {
      Tree_Node& child = *node.GetChildAt(i);
      if (!IsAttribute(child)) {
        ++(IsText(child) ? parts.texts : parts.elements);
        continue;
      }
      std::string name = XmlNameOrLoss(NameOrLoss(child, m_losses).substr(1));
      CountKind(child, m_losses);
      CountChangeFlag(child, m_losses);
      if (!names.insert(name).second) {
        m_losses.Count("attribute that comes again is left out",
                       "attributes that come again are left out");
        continue;
      }
      ++parts.attributes;
      m_text += ' ';
      m_text += name;
      m_text += "=\"";
      const RWCString value = ValueOf(child);
      Escape(View(value), "&<>\"\t\n\r");
      m_text += '"';
    }
    return parts;
  }

  void Text(Tree_Node& leaf, bool behind_text) {
    CountKind(leaf, m_losses);
    CountChangeFlag(leaf, m_losses);
    const RWCString value = ValueOf(leaf);
    if (behind_text) {
      m_losses.Count("text follows another one without an element between, and is joined with it",
                     "texts follow others without an element between, and are joined with them");
    } else if (IsBlank(View(value))) {
      m_losses.Count("text of blanks only does not count when it is read",
                     "texts of blanks only do not count when they are read");
    }
    Escape(View(value), "&<>\r");
  }

  void Close() {
    const Level level = std::move(m_open.back());
    m_open.pop_back();
    if (!level.mixed) NewLine(m_open.size());
    m_text += "</";
    m_text += level.name;
    m_text += '>';
  }

  void NewLine(std::size_t depth) {
    m_text += m_end;
    for (std::size_t i = 0; i < depth; ++i) m_text += kIndent;
  }

  std::string ElementName(Tree_Node& node) { return XmlNameOrLoss(NameOrLoss(node, m_losses)); }

  std::string XmlNameOrLoss(std::string_view name) {
    const std::string valid = TextOrLoss(name, m_losses);
    const auto known = m_names.find(valid);
    std::string xml = known != m_names.end() ? known->second : XmlName(valid);
    if (known == m_names.end()) m_names.emplace(valid, xml);
    if (xml != valid) {
      m_losses.Count("name is no XML name and gets codes such as _x0020_",
                     "names are no XML names and get codes such as _x0020_");
    }
    return xml;
  }

  // `special`: what is written as a reference.
  void Escape(std::string_view raw, std::string_view special) {
    const std::string text = TextOrLoss(raw, m_losses);
    bool forbidden = false;
    for (std::size_t i = 0; i < text.size();) {
      const Utf8Character character = DecodeUtf8(text, i);
      const char c = text[i];
      if (IsForbidden(character.code)) {
        forbidden = true;
        AppendUtf8(m_text, 0xFFFD);
      } else if (special.find(c) != special.npos) {
        Reference(c);
      } else {
        m_text.append(text, i, character.length);
      }
      i += character.length;
    }
    if (forbidden) {
      m_losses.Count("text has characters that XML forbids; they become U+FFFD",
                     "texts have characters that XML forbids; they become U+FFFD");
    }
  }

  void Reference(char c) {
    switch (c) {
      case '&':
        m_text += "&amp;";
        break;
      case '<':
        m_text += "&lt;";
        break;
      case '>':
        m_text += "&gt;";
        break;
      case '"':
        m_text += "&quot;";
        break;
      default:
        m_text += "&#" + std::to_string(static_cast<int>(c)) + ';';
    }
  }

  Losses& m_losses;
  std::string_view m_end;
  std::string m_text;
  std::vector<Level> m_open;
  std::unordered_map<std::string, std::string> m_names;  // as XML names
};

}  // namespace

std::string XmlName(std::string_view name) {
  if (name.empty()) return std::string(kNoName);
  if (IsXmlName(name)) return std::string(name);
  std::string xml;
  for (std::size_t i = 0; i < name.size();) {
    const Utf8Character character = DecodeUtf8(name, i);
    const std::string_view bytes = name.substr(i, character.length);
    // Behind a letter, what may not begin a name is judged as well.
    if (IsXmlName(i == 0 ? std::string(bytes) : 'a' + std::string(bytes))) {
      xml += bytes;
    } else {
      char text[16];
      std::snprintf(text, sizeof text, "_x%04X_", static_cast<unsigned>(character.code));
      xml += text;
    }
    i += character.length;
  }
  return xml;
}

std::string WriteXml(Tree_NodePtr& top, const SourceStyle& style, Losses& losses) {
  return XmlFile(style, losses).Write(top);
}

}  // namespace cfgtree
