#include "readers/JsonReader.h"

#include <rapidjson/error/en.h>
#include <rapidjson/reader.h>

#include <algorithm>
#include <cassert>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "Encoding.h"
#include "Error.h"
#include "JsonNumber.h"
#include "Names.h"
#include "Text.h"

namespace cfgtree {
namespace {

using rapidjson::SizeType;

// The document as the parser gets it: every number is a single 0.  Of numbers only the text
// is kept, but the parser computes each, and refuses what it has no double for.  What only
// begins like a number is left as it is, for the parser to tell what is wrong with it.
class JsonStream {
 public:
  using Ch = char;

  explicit JsonStream(std::string_view text) : m_text(text) { FindNumber(); }

  // The number that was taken last.
  std::string_view Number() const { return m_number; }
  std::size_t Size() const { return m_text.size(); }

  // What the parser asks of a stream.
  char Peek() const {
    if (m_at < m_plain_end) return m_text[m_at];
    if (m_length > 0) return '0';
    return m_at < m_text.size() ? m_text[m_at] : '\0';
  }
  char Take() {
    if (m_at < m_plain_end) return m_text[m_at++];
    if (m_length > 0) return TakeNumber();
    if (m_at == m_text.size()) return '\0';
    const char c = m_text[m_at++];
    if (c == '"') {
      FindEndOfString();
    } else {
      FindNumber();
    }
    return c;
  }
  std::size_t Tell() const { return m_at; }

  // For parsers that write into their input, which this one does not.
  char* PutBegin() { return Refused(); }
  void Put(char) { Refused(); }
  std::size_t PutEnd(char*) { return Refused() == nullptr ? 0 : 1; }

 private:
  static char* Refused() {
    assert(false);
    return nullptr;
  }

  char TakeNumber() {
    m_number = m_text.substr(m_at, m_length);
    m_at += m_length;
    m_length = 0;
    return '0';
  }

  // Behind the quote that begins a string.
  void FindEndOfString() {
    std::size_t end = m_at;
    while (end < m_text.size() && m_text[end] != '"') end += m_text[end] == '\\' ? 2 : 1;
    m_plain_end = std::min(end + 1, m_text.size());
  }

  static bool IsInNumbers(char c) {
    return IsDigit(c) || c == '.' || c == '-' || c == '+' || c == 'e' || c == 'E';
  }

  // Looks for a number at the place that is reached.
  void FindNumber() {
    if (m_at == m_text.size()) return;
    const char c = m_text[m_at];
    if (c != '-' && !IsDigit(c)) return;
    std::size_t end = m_at + 1;
    while (end < m_text.size() && IsInNumbers(m_text[end])) ++end;
    if (IsJsonNumber(m_text.substr(m_at, end - m_at))) {
      m_length = end - m_at;
    } else {
      m_plain_end = end;
    }
  }

  std::string_view m_text;
  std::size_t m_at = 0;
  std::size_t m_plain_end = 0;  // up to there the document comes as it is
  std::size_t m_length = 0;     // of the number at m_at, 0 when there is none
  std::string_view m_number;
};

// Receives the document's parts in order and moves the builder along.
class JsonHandler {
 public:
  JsonHandler(const Source& source, const JsonStream& stream, TreeBuilder& tree)
      : m_source(source), m_stream(stream), m_tree(tree) {}

  bool Null() { return Scalar("null", NodeKind::kNull); }
  bool Bool(bool value) { return Scalar(value ? "true" : "false", NodeKind::kBoolean); }
  bool RawNumber(const char*, SizeType, bool) {
    return Scalar(m_stream.Number(), NodeKind::kNumber);
  }
  bool String(const char* text, SizeType length, bool) {
    return IsWhole({text, length}) && Scalar({text, length}, NodeKind::kPlain);
  }
  bool Key(const char* text, SizeType length, bool) {
    if (!IsWhole({text, length})) return false;
    m_key = EncodeName({text, length}, m_storage);
    return true;
  }
  bool StartObject() { return Start(kObject, NodeKind::kPlain); }
  bool StartArray() { return Start(0, NodeKind::kArray); }
  bool EndObject(SizeType) { return End(); }
  bool EndArray(SizeType) { return End(); }

  // Numbers come as text, so that these are never called.
  bool Int(int) { return false; }
  bool Uint(unsigned) { return false; }
  bool Int64(std::int64_t) { return false; }
  bool Uint64(std::uint64_t) { return false; }
  bool Double(double) { return false; }

 private:
  // An open bracket: the index of an array's next element, or kObject.
  static constexpr std::uint64_t kObject = UINT64_MAX;

  // The document itself is UTF-8, but \u escapes may have put half of a surrogate pair
  // into a string; it shows as ED A0 to ED BF.
  static bool IsWhole(std::string_view text) {
    for (std::size_t i = text.find('\xED'); i != text.npos; i = text.find('\xED', i + 1)) {
      if (static_cast<unsigned char>(text[i + 1]) >= 0xA0) return false;
    }
    return true;
  }

  // The name of the next value.  A key is used at most once, so it can be handed out
  // where it stands.
  std::string_view NextName() {
    std::uint64_t& place = m_open.back();
    if (place == kObject) return m_key;
    char* const end = std::to_chars(m_index, m_index + sizeof m_index, place++).ptr;
    return {m_index, static_cast<std::size_t>(end - m_index)};
  }

  bool Scalar(std::string_view text, NodeKind kind) {
    m_source.Report(m_stream.Tell(), m_stream.Size());
    if (m_open.empty()) {
      m_tree.MakeTopLeaf(text, kind);
    } else {
      m_tree.Leaf(NextName(), text, kind);
    }
    return true;
  }

  bool Start(std::uint64_t first, NodeKind kind) {
    if (m_open.empty()) {
      m_tree.Top()->SetId(static_cast<int>(kind));
    } else {
      m_tree.Enter(NextName(), kind);
    }
    m_open.push_back(first);
    return true;
  }

  bool End() {
    m_open.pop_back();
    if (!m_open.empty()) m_tree.Leave();
    return true;
  }

  const Source& m_source;
  const JsonStream& m_stream;
  TreeBuilder& m_tree;
  std::vector<std::uint64_t> m_open;
  std::string m_key;
  std::string m_storage;
  char m_index[24];
};

// The UTF-16 unit of the \u escape at `at`, 0 when there is none.
unsigned EscapedUnit(std::string_view text, std::size_t at) {
  if (text.substr(at, 2) != "\\u") return 0;
  const std::string_view digits = text.substr(at + 2, 4);
  unsigned unit = 0;
  std::from_chars(digits.data(), digits.data() + digits.size(), unit, 16);
  return unit;
}

// The place of the first escape that is half of a surrogate pair in a document that has one
// and is sound before it, so that backslashes stand in strings only.
std::size_t FindHalfOfPair(std::string_view text) {
  const auto is_high = [](unsigned unit) { return unit >= 0xD800 && unit <= 0xDBFF; };
  const auto is_low = [](unsigned unit) { return unit >= 0xDC00 && unit <= 0xDFFF; };
  constexpr std::size_t kShortest = 2;
  constexpr std::size_t kPair = 12;
  std::size_t i = text.find('\\');
  while (i < text.size()) {
    const unsigned unit = EscapedUnit(text, i);
    const bool pair = is_high(unit) && is_low(EscapedUnit(text, i + kPair / 2));
    if (!pair && (is_high(unit) || is_low(unit))) break;
    i = text.find('\\', i + (pair ? kPair : kShortest));
  }
  return std::min(i, text.size());
}

// "Missing a comma or } after an object member." as the end of an error line.
std::string Lowered(std::string_view message) {
  std::string text(message.substr(0, message.find_last_not_of('.') + 1));
  if (!text.empty()) text[0] = LowerCase(text[0]);
  return text;
}

// The handler ends the parsing for no other reason.
bool IsHalfOfPair(rapidjson::ParseErrorCode code) {
  return code == rapidjson::kParseErrorTermination ||
         code == rapidjson::kParseErrorStringUnicodeSurrogateInvalid;
}

// `rest` is the document from the place of the error on.
std::string Explain(rapidjson::ParseErrorCode code, std::string_view rest) {
  const bool at_end = rest.empty();
  switch (code) {
    case rapidjson::kParseErrorTermination:
    case rapidjson::kParseErrorStringUnicodeSurrogateInvalid:
      return "half of a surrogate pair in a string";
    case rapidjson::kParseErrorNumberTooBig:  // behind which something belongs to no number
      return "not a JSON number";
    case rapidjson::kParseErrorDocumentRootNotSingular:
      return "more text behind the end of the document";
    case rapidjson::kParseErrorDocumentEmpty:
      return at_end ? "no JSON value; the document is empty" : "not a JSON value";
    case rapidjson::kParseErrorStringMissQuotationMark:
      return "the document ends inside a string";
    case rapidjson::kParseErrorStringEscapeInvalid:
      return !at_end && rest[0] == '\\' ? "invalid escape character in a string"
                                        : "line break or control character in a string";
    case rapidjson::kParseErrorValueInvalid:
      return at_end ? "the document ends where a value should stand" : "not a JSON value";
    default:
      return Lowered(rapidjson::GetParseError_En(code)) +
             (at_end ? " (the document ends here)" : "");
  }
}

}  // namespace

void ReadJson(const Source& source, TreeBuilder& tree) {
  std::string_view text = source.bytes;
  if (StartsWith(text, kUtf16LittleBom) || StartsWith(text, kUtf16BigBom)) {
    throw Error::AtByte(source.name, 0, "UTF-16 text; JSON must be UTF-8");
  }
  if (StartsWith(text, kUtf8Bom)) text.remove_prefix(kUtf8Bom.size());
  RequireText(source.name, text);

  // Iterative, so that a million brackets need no stack; what is left behind the
  // document is an error, since kParseStopWhenDoneFlag is not given.
  constexpr unsigned kFlags = rapidjson::kParseIterativeFlag |
                              rapidjson::kParseNumbersAsStringsFlag |
                              rapidjson::kParseValidateEncodingFlag;
  JsonStream stream(text);
  JsonHandler handler(source, stream, tree);
  rapidjson::Reader reader;
  const rapidjson::ParseResult result = reader.Parse<kFlags>(stream, handler);
  if (result.IsError()) {
    const std::size_t place = std::min(result.Offset(), text.size());
    const bool half_of_pair = IsHalfOfPair(result.Code());
    throw Error::AtText(source.name, text, half_of_pair ? FindHalfOfPair(text) : place,
                        Explain(result.Code(), text.substr(place)));
  }
}

}  // namespace cfgtree
