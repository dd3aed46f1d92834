#include "readers/XmlReader.h"

#include <expat.h>

#include <exception>
#include <memory>
#include <new>
#include <string>

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

// Receives the document's parts in order and moves the builder along.
class XmlHandler {
 public:
  XmlHandler(const Source& source, XML_Parser parser, TreeBuilder& tree)
      : m_source(source), m_parser(parser), m_tree(tree) {}

  void StartElement(const char* name, const char** attributes) {
    m_source.Report(static_cast<std::size_t>(XML_GetCurrentByteIndex(m_parser)),
                    m_source.bytes.size());
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
  [[noreturn]] void Fail(std::string_view what) const {
    throw Error::AtLine(m_source.name, XML_GetCurrentLineNumber(m_parser),
                        XML_GetCurrentColumnNumber(m_parser) + 1, what);
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

// An entity that is declared elsewhere, or not at all where a DTD was not read.
void XMLCALL OnSkippedEntity(void* data, const char* name, int is_parameter_entity) {
  if (is_parameter_entity != 0) return;
  Handler(data).Guard([&] {
    Handler(data).Fail("entity &" + std::string(name) + "; is not declared in this file");
  });
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
  if (place == 0 && bytes[place] != '<') return kNoMarkup;
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
      return bytes.find_first_not_of(kWhiteSpace) == bytes.npos
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

}  // namespace

void ReadXml(const Source& source, TreeBuilder& tree) {
  const Parser parser(XML_ParserCreate(nullptr));
  if (parser == nullptr) throw std::bad_alloc();
  XmlHandler handler(source, parser.get(), tree);
  XML_SetUserData(parser.get(), &handler);
  XML_SetElementHandler(parser.get(), OnStart, OnEnd);
  XML_SetCharacterDataHandler(parser.get(), OnText);
  XML_SetSkippedEntityHandler(parser.get(), OnSkippedEntity);
  XML_SetExternalEntityRefHandler(parser.get(), OnExternalEntity);

  // The file is in memory and below 2 GiB, so Expat gets it whole and copies nothing.
  const auto size = static_cast<int>(source.bytes.size());
  const XML_Status status = XML_Parse(parser.get(), source.bytes.data(), size, XML_TRUE);
  handler.Rethrow();
  if (status != XML_STATUS_OK) handler.Fail(Explain(parser.get(), source.bytes));
}

}  // namespace cfgtree
