#include "readers/XmlReader.h"

#include <expat.h>

#include <algorithm>
#include <exception>
#include <memory>
#include <new>
#include <string>
#include <unordered_map>
#include <vector>

#include "Encoding.h"
#include "Error.h"
#include "Names.h"

namespace cfgtree {
namespace {

constexpr const char* kNoMarkup = "not XML; markup was expected here";
constexpr std::string_view kWhiteSpace = " \t\r\n";

struct ParserDeleter {
  void operator()(XML_Parser parser) const { XML_ParserFree(parser); }
};
using Parser = std::unique_ptr<XML_ParserStruct, ParserDeleter>;

// The length of the byte order mark that `bytes` begin with.
std::size_t MarkLength(std::string_view bytes) {
  for (const std::string_view mark : {kUtf8Bom, kUtf16LittleBom, kUtf16BigBom}) {
    if (StartsWith(bytes, mark)) return mark.size();
  }
  return 0;
}

// The general entities that a document declares.
class Entities {
 public:
  void Declare(const char* name, std::string_view text) { m_declared.try_emplace(name, text); }

  // The first entity without a declaration that `markup` refers to, be it through others;
  // empty when there is none.  No text is looked through twice, save by mistakes.
  std::string FindUndeclared(std::string_view markup) {
    std::vector<std::string_view> texts = {markup};
    while (!texts.empty()) {
      const std::string_view text = texts.back();
      texts.pop_back();
      for (std::size_t at = text.find('&'); at != text.npos; at = text.find('&', at + 1)) {
        std::string name(text.substr(at + 1, text.find(';', at) - at - 1));
        if (IsPredefined(name)) continue;
        const auto found = m_declared.find(name);
        if (found == m_declared.end()) return name;
        Entity& entity = found->second;
        if (!entity.is_known) texts.emplace_back(entity.text);
        entity.is_known = true;
      }
    }
    return "";
  }

 private:
  struct Entity {
    explicit Entity(std::string_view its_text) : text(its_text) {}
    std::string text;
    bool is_known = false;  // all that it refers to is declared, or about to be looked at
  };

  static bool IsPredefined(std::string_view name) {
    return StartsWith(name, "#") || name == "amp" || name == "lt" || name == "gt" ||
           name == "quot" || name == "apos";
  }

  std::unordered_map<std::string, Entity> m_declared;
};

// Receives the document's parts in order and moves the builder along.
class XmlHandler {
 public:
  XmlHandler(const Source& source, XML_Parser parser, TreeBuilder& tree)
      : m_source(source), m_parser(parser), m_tree(tree) {}

  void StartDoctype() {
    m_has_doctype = true;
    XML_SetDefaultHandlerExpand(m_parser, OnDoctypeToken);
  }
  void EndDoctype() { XML_SetDefaultHandlerExpand(m_parser, nullptr); }
  void DeclareEntity(const char* name, std::string_view text) { m_entities.Declare(name, text); }

  void StartElement(const char* name, const char** attributes) {
    m_source.Report(static_cast<std::size_t>(XML_GetCurrentByteIndex(m_parser)),
                    m_source.bytes.size());
    if (m_has_doctype && attributes[0] != nullptr) CheckTag();
    EnterUndecided();
    FlushText();
    if (attributes[0] == nullptr) {
      m_undecided = true;
      m_name = EncodeName(name, m_storage);
      return;
    }
    m_tree.Enter(EncodeName(name, m_storage));
    for (; attributes[0] != nullptr; attributes += 2) {
      m_attribute = "@";
      m_attribute += attributes[0];
      m_tree.Leaf(EncodeName(m_attribute, m_storage), attributes[1]);
    }
  }

  void EndElement() {
    if (m_undecided) {
      m_tree.Leaf(m_name, m_text);
      m_undecided = false;
      m_text.clear();
      return;
    }
    FlushText();
    m_tree.Leave();
  }

  void Text(std::string_view text) { m_text += text; }

  // Refuses what the parser has just come to.
  [[noreturn]] void Fail(std::string_view what) const { FailAt(CurrentPlace(), what); }

  [[noreturn]] void FailUndeclared(const std::string& entity) const {
    FailUndeclaredAt(CurrentPlace(), entity);
  }

  // Calls of this handler come through Expat, which is C and must not be thrown
  // through: an exception stops the parser and is thrown again behind it.
  template <typename Call>
  void Guard(Call call) noexcept {
    try {
      if (m_exception == nullptr) call();
    } catch (...) {
      m_exception = std::current_exception();
      XML_StopParser(m_parser, XML_FALSE);
    }
  }
  void Rethrow() const {
    if (m_exception != nullptr) std::rethrow_exception(m_exception);
  }

 private:
  struct Place {
    std::size_t line;
    std::size_t column;
  };

  // Expat takes a byte order mark for a column.
  Place CurrentPlace() const {
    Place place = {XML_GetCurrentLineNumber(m_parser), XML_GetCurrentColumnNumber(m_parser) + 1};
    const bool has_mark = MarkLength(m_source.bytes) > 0;
    if (has_mark && place.line == 1 && place.column > 1) --place.column;
    return place;
  }

  [[noreturn]] void FailAt(const Place& place, std::string_view what) const {
    throw Error::AtLine(m_source.name, place.line, place.column, what);
  }

  [[noreturn]] void FailUndeclaredAt(const Place& place, const std::string& entity) const {
    FailAt(place, "entity &" + entity + "; is not declared in this file");
  }

  // Where a part of the DTD is unread, the parser drops references to unknown entities from
  // attributes and from their defaults without a word.  So these are looked for in the tag
  // that it has just come to, as it stands in the file, and in the list of a DTD's defaults.
  void CheckTag() {
    // Handing out the tag may move the place to its end.
    const Place place = CurrentPlace();
    m_markup.clear();
    XML_SetDefaultHandlerExpand(m_parser, OnTag);
    XML_DefaultCurrent(m_parser);
    XML_SetDefaultHandlerExpand(m_parser, nullptr);
    RequireDeclaredEntities(place);
  }

  static void XMLCALL OnTag(void* data, const char* text, int length) {
    XmlHandler& handler = *static_cast<XmlHandler*>(data);
    handler.Guard([&] { handler.m_markup.append(text, static_cast<std::size_t>(length)); });
  }

  static void XMLCALL OnDoctypeToken(void* data, const char* text, int length) {
    XmlHandler& handler = *static_cast<XmlHandler*>(data);
    handler.Guard([&] { handler.DoctypeToken({text, static_cast<std::size_t>(length)}); });
  }

  void DoctypeToken(std::string_view token) {
    constexpr std::string_view kAttributeList = "<!ATTLIST";
    if (token == kAttributeList) {
      m_markup = token;
    } else if (!m_markup.empty()) {
      m_markup += token;
      if (token != ">") return;
      RequireDeclaredEntities(CurrentPlace());
      m_markup.clear();
    }
  }

  void RequireDeclaredEntities(const Place& place) {
    const std::string name = m_entities.FindUndeclared(m_markup);
    if (!name.empty()) FailUndeclaredAt(place, name);
  }

  // An element without attributes is a leaf until it has a child element.
  void EnterUndecided() {
    if (!m_undecided) return;
    m_tree.Enter(m_name);
    m_undecided = false;
  }

  void FlushText() {
    if (m_text.find_first_not_of(kWhiteSpace) != m_text.npos) m_tree.Leaf("#text", m_text);
    m_text.clear();
  }

  const Source& m_source;
  XML_Parser m_parser;
  TreeBuilder& m_tree;
  bool m_undecided = false;
  std::string m_name;  // of the undecided element
  std::string m_text;  // the run that is being read
  std::string m_attribute;
  std::string m_storage;
  bool m_has_doctype = false;
  Entities m_entities;
  std::string m_markup;  // the tag or attribute list that is looked at
  std::exception_ptr m_exception;
};

XmlHandler& Handler(void* data) {
  return *static_cast<XmlHandler*>(data);
}

void XMLCALL OnStart(void* data, const char* name, const char** attributes) {
  Handler(data).Guard([&] { Handler(data).StartElement(name, attributes); });
}

void XMLCALL OnEnd(void* data, const char*) {
  Handler(data).Guard([&] { Handler(data).EndElement(); });
}

void XMLCALL OnText(void* data, const char* text, int length) {
  Handler(data).Guard([&] { Handler(data).Text({text, static_cast<std::size_t>(length)}); });
}

void XMLCALL OnStartDoctype(void* data, const char*, const char*, const char*, int) {
  Handler(data).StartDoctype();
}

void XMLCALL OnEndDoctype(void* data) {
  Handler(data).EndDoctype();
}

// `text` is null for what is no text of this file.
void XMLCALL OnEntity(void* data, const char* name, int is_parameter_entity, const char* text,
                      int length, const char*, const char*, const char*, const char*) {
  if (is_parameter_entity != 0) return;
  Handler(data).Guard([&] {
    const auto size = static_cast<std::size_t>(length);
    Handler(data).DeclareEntity(name, text != nullptr ? std::string_view(text, size) : "");
  });
}

// An entity that is declared elsewhere, or not at all where a DTD was not read.
void XMLCALL OnSkippedEntity(void* data, const char* name, int is_parameter_entity) {
  if (is_parameter_entity != 0) return;
  Handler(data).Guard([&] { Handler(data).FailUndeclared(name); });
}

int XMLCALL OnExternalEntity(XML_Parser parser, const char* context, const char*, const char*,
                             const char*) {
  if (context == nullptr) return XML_STATUS_OK;  // the external part of a DTD, left unread
  XmlHandler& handler = Handler(XML_GetUserData(parser));
  handler.Guard([&] { handler.Fail("external entities are not read"); });
  return XML_STATUS_ERROR;
}

// Expat calls all of these an invalid token.
std::string ExplainToken(std::string_view bytes, XML_Index index) {
  const auto place = static_cast<std::size_t>(index);
  if (index < 0 || place >= bytes.size()) return "not well-formed";
  if (place == MarkLength(bytes) && bytes[place] != '<') return kNoMarkup;
  if (place > 0 && bytes[place - 1] == '&') return "an & that begins no entity (write &amp;)";
  if (bytes[place] == '\0') return "zero byte; this is not a text file";
  if (DecodeUtf8(bytes, place).length == 0) {
    return "a byte that is not UTF-8, and no other encoding is declared";
  }
  return "not well-formed";
}

std::string Explain(XML_Parser parser, std::string_view bytes) {
  switch (XML_GetErrorCode(parser)) {
    case XML_ERROR_NO_ELEMENTS:
      return bytes.find_first_not_of(kWhiteSpace, MarkLength(bytes)) == bytes.npos
                 ? "the document is empty"
                 : "the document ends before its first element is closed";
    case XML_ERROR_SYNTAX:
      return kNoMarkup;
    case XML_ERROR_INVALID_TOKEN:
      return ExplainToken(bytes, XML_GetCurrentByteIndex(parser));
    case XML_ERROR_JUNK_AFTER_DOC_ELEMENT:
      return "more text behind the end of the document";
    case XML_ERROR_UNKNOWN_ENCODING:
      return "unknown encoding (UTF-8, UTF-16, ISO-8859-1 and US-ASCII are read)";
    default:
      return XML_ErrorString(XML_GetErrorCode(parser));
  }
}

// Expat copies what it is given, so it is given the file piece by piece.  A token that does
// not end in a piece is scanned again from its start with the next one: pieces grow as long
// as one token goes on, and its cost stays in proportion to its length.
XML_Status ParsePieces(XML_Parser parser, std::string_view bytes) {
  constexpr std::size_t kUsualPiece = std::size_t{1} << 20;
  constexpr std::size_t kLargestPiece = std::size_t{64} << 20;
  std::size_t piece = kUsualPiece;
  std::size_t done = 0;
  for (;;) {
    const std::size_t size = std::min(piece, bytes.size() - done);
    const bool last = done + size == bytes.size();
    const XML_Status status =
        XML_Parse(parser, bytes.data() + done, static_cast<int>(size), last ? XML_TRUE : XML_FALSE);
    if (last || status != XML_STATUS_OK) return status;
    done += size;
    const XML_Index parsed = std::max<XML_Index>(XML_GetCurrentByteIndex(parser), 0);
    const bool is_long = done - static_cast<std::size_t>(parsed) > size;
    piece = is_long ? std::min(2 * piece, kLargestPiece) : kUsualPiece;
  }
}

}  // namespace

void ReadXml(const Source& source, TreeBuilder& tree) {
  const Parser parser(XML_ParserCreate(nullptr));
  if (parser == nullptr) throw std::bad_alloc();
  XmlHandler handler(source, parser.get(), tree);
  XML_SetUserData(parser.get(), &handler);
  XML_SetElementHandler(parser.get(), OnStart, OnEnd);
  XML_SetCharacterDataHandler(parser.get(), OnText);
  XML_SetDoctypeDeclHandler(parser.get(), OnStartDoctype, OnEndDoctype);
  XML_SetEntityDeclHandler(parser.get(), OnEntity);
  XML_SetSkippedEntityHandler(parser.get(), OnSkippedEntity);
  XML_SetExternalEntityRefHandler(parser.get(), OnExternalEntity);

  const XML_Status status = ParsePieces(parser.get(), source.bytes);
  handler.Rethrow();
  if (status != XML_STATUS_OK) handler.Fail(Explain(parser.get(), source.bytes));
}

}  // namespace cfgtree
