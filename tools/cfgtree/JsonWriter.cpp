#include "JsonWriter.h"

#include <cstdio>
#include <string>

#include "Encoding.h"

namespace cfgtree {
namespace {

void AppendEscape(Output& out, unsigned char c) {
  switch (c) {
    case '"':
      out << "\\\"";
      return;
    case '\\':
      out << "\\\\";
      return;
    case '\n':
      out << "\\n";
      return;
    case '\r':
      out << "\\r";
      return;
    case '\t':
      out << "\\t";
      return;
    default:
      char escape[8];
      std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(c));
      out << escape;
  }
}

bool NeedsEscape(unsigned char c) {
  return c < 0x20 || c == '"' || c == '\\' || c == 0x7F;
}

}  // namespace

JsonWriter& JsonWriter::Key(std::string_view name) {
  Separate();
  Quote(name);
  m_out << ':';
  m_after_key = true;
  return *this;
}

void JsonWriter::String(std::string_view text) {
  Separate();
  Quote(text);
}

void JsonWriter::Number(std::uint64_t number) {
  Separate();
  m_out << std::to_string(number);
}

void JsonWriter::Number(double number) {
  Separate();
  char text[64];
  std::snprintf(text, sizeof text, "%.6f", number);
  m_out << text;
}

void JsonWriter::Begin(char bracket) {
  Separate();
  m_out << bracket;
  m_not_first.push_back(false);
}

void JsonWriter::End(char bracket) {
  m_out << bracket;
  m_not_first.pop_back();
}

void JsonWriter::Separate() {
  if (m_after_key) {
    m_after_key = false;
    return;
  }
  if (m_not_first.empty()) return;
  if (m_not_first.back()) m_out << ',';
  m_not_first.back() = true;
}

void JsonWriter::Quote(std::string_view text) {
  m_out << '"';
  std::size_t plain = 0;  // start of what can be copied as it stands
  for (std::size_t i = 0; i < text.size();) {
    const auto c = static_cast<unsigned char>(text[i]);
    const Utf8Character character = DecodeUtf8(text, i);
    if (!NeedsEscape(c) && character.length > 0) {
      i += character.length;
      continue;
    }
    m_out << text.substr(plain, i - plain);
    if (character.length > 0) {
      AppendEscape(m_out, c);
    } else {
      m_out << "\\ufffd";
    }
    plain = ++i;
  }
  m_out << text.substr(plain) << '"';
}

}  // namespace cfgtree
