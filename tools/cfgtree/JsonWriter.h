#ifndef CFGTREE_JSONWRITER_H
#define CFGTREE_JSONWRITER_H

#include <cstdint>
#include <string_view>
#include <vector>

#include "Output.h"

namespace cfgtree {

// A JsonWriter writes one compact JSON document for scripts.
//
//   JsonWriter json(out);
//   json.BeginObject();
//   json.Field("path", "a\\b");
//   json.Key("entries").BeginArray();
//   ...
//
// Texts come out as valid UTF-8: a byte that is none becomes U+FFFD.
class JsonWriter {
 public:
  explicit JsonWriter(Output& out) : m_out(out) {}

  void BeginObject() { Begin('{'); }
  void EndObject() { End('}'); }
  void BeginArray() { Begin('['); }
  void EndArray() { End(']'); }

  // The name of the next value.
  JsonWriter& Key(std::string_view name);

  void String(std::string_view text);
  void Number(std::uint64_t number);
  void Number(double number);

  void Field(std::string_view name, std::string_view text) { Key(name).String(text); }
  void Field(std::string_view name, const char* text) { Key(name).String(text); }
  void Field(std::string_view name, std::uint64_t number) { Key(name).Number(number); }

  // Ends the line of a complete document.
  void Finish() { m_out << '\n'; }

 private:
  void Begin(char bracket);
  void End(char bracket);
  void Separate();
  void Quote(std::string_view text);

  Output& m_out;
  std::vector<bool> m_not_first;  // per open bracket: has it a value yet?
  bool m_after_key = false;
};

}  // namespace cfgtree

#endif  // CFGTREE_JSONWRITER_H
