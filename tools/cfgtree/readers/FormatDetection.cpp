#include "readers/FormatDetection.h"

#include "Encoding.h"
#include "Text.h"
#include "readers/IniReader.h"
#include "readers/TreeReader.h"

namespace cfgtree {
namespace {

constexpr std::string_view kBlanks = " \t\r\n";
constexpr std::string_view kDigits = "0123456789";

// Enough to see what a file is; comments at the start of an INI file may be long.
constexpr std::size_t kLookedAt = std::size_t{64} << 10;

struct NamedFormat {
  std::string_view name;
  std::string_view extension;
  Format format;
};
constexpr NamedFormat kNames[] = {
    {"json", "json", Format::kJson}, {"xml", "xml", Format::kXml},
    {"ini", "ini", Format::kIni},    {"reg", "reg", Format::kReg},
    {"tree", "tree", Format::kTree}, {"text", "txt", Format::kText},
};

bool IsRead(Format format) {
  return format != Format::kText;
}

constexpr std::string_view kEmptyHeader("\0\0\0\0", 4);

// The first record, alone or behind an empty header.
bool LooksLikeTree(std::string_view bytes) {
  return StartsWith(bytes, kFirstRecord) ||
         (StartsWith(bytes, kEmptyHeader) && StartsWith(bytes.substr(4), kFirstRecord));
}

// The letters behind the last dot, in small letters.
std::string Extension(std::string_view path) {
  const std::size_t dot = path.rfind('.');
  return dot == path.npos ? "" : LowerCase(path.substr(dot + 1));
}

// The ASCII characters of UTF-16 text; others become question marks.
std::string Narrowed(std::string_view bytes, bool big_endian) {
  std::string text;
  for (std::size_t i = 2; i + 1 < bytes.size(); i += 2) {
    const char high = bytes[big_endian ? i : i + 1];
    const char low = bytes[big_endian ? i + 1 : i];
    text += high == 0 && (static_cast<unsigned char>(low) < 0x80) ? low : '?';
  }
  return text;
}

// Whether a JSON value begins, as far as one line of INI does not: true, false and null also
// begin names.
bool LooksLikeValue(std::string_view text) {
  if (text.find_first_of("[{\"-0123456789") == 0) return true;
  for (const std::string_view word : {"true", "false", "null"}) {
    if (!StartsWith(text, word)) continue;
    const std::string_view behind = Trimmed(text.substr(word.size()), kBlanks);
    if (behind.empty() || behind[0] == ',') return true;
  }
  return false;
}

// `text` begins with "[": an INI section stands alone on its line between brackets;
// anything else, and what could be the first value of an array, is JSON.
Format ArrayOrSection(std::string_view text) {
  const std::string_view line = Trimmed(text.substr(0, text.find('\n')), kIniBlanks);
  const std::string_view inside = Trimmed(line.substr(1), kIniBlanks);
  if (inside.empty() || inside.back() != ']') return Format::kJson;
  const std::string_view name = Trimmed(inside.substr(0, inside.size() - 1), kIniBlanks);
  return name.empty() || LooksLikeValue(name) ? Format::kJson : Format::kIni;
}

bool LooksLikeIni(std::string_view text) {
  while (!text.empty()) {
    const std::size_t end = text.find('\n');
    const std::string_view line = Trimmed(text.substr(0, end), kIniBlanks);
    if (!line.empty() && line[0] != ';' && line[0] != '#') {
      return line[0] == '[' || line.find('=') != line.npos;
    }
    text = end == text.npos ? "" : text.substr(end + 1);
  }
  return false;
}

// The first text of a file, without its byte order mark and the blanks around it.
std::string_view Beginning(std::string_view bytes, std::string& storage) {
  bytes = bytes.substr(0, kLookedAt);
  if (StartsWith(bytes, kUtf16LittleBom) || StartsWith(bytes, kUtf16BigBom)) {
    storage = Narrowed(bytes, StartsWith(bytes, kUtf16BigBom));
    bytes = storage;
  } else if (StartsWith(bytes, kUtf8Bom)) {
    bytes.remove_prefix(kUtf8Bom.size());
  }
  return Trimmed(bytes, kBlanks);
}

}  // namespace

std::string_view FormatName(Format format) {
  for (const NamedFormat& named : kNames) {
    if (named.format == format) return named.name;
  }
  return "";
}

std::optional<Format> FormatByName(std::string_view name) {
  const std::optional<Format> format = WrittenFormatByName(name);
  return format && IsRead(*format) ? format : std::nullopt;
}

std::vector<std::string> FormatNames() {
  std::vector<std::string> names;
  for (const NamedFormat& named : kNames) {
    if (IsRead(named.format)) names.emplace_back(named.name);
  }
  return names;
}

std::optional<Format> WrittenFormatByName(std::string_view name) {
  for (const NamedFormat& named : kNames) {
    if (named.name == name) return named.format;
  }
  return std::nullopt;
}

std::vector<std::string> WrittenFormatNames() {
  std::vector<std::string> names;
  for (const NamedFormat& named : kNames) names.emplace_back(named.name);
  return names;
}

std::optional<Format> FormatByExtension(std::string_view path) {
  const std::optional<Format> format = WrittenFormatByExtension(path);
  return format && IsRead(*format) ? format : std::nullopt;
}

std::optional<Format> WrittenFormatByExtension(std::string_view path) {
  const std::string extension = Extension(path);
  for (const NamedFormat& named : kNames) {
    if (named.extension == extension) return named.format;
  }
  return std::nullopt;
}

std::optional<Format> FormatByContent(std::string_view bytes) {
  if (LooksLikeTree(bytes)) return Format::kTree;
  std::string storage;
  const std::string_view text = Beginning(bytes, storage);
  if (text.empty()) return std::nullopt;
  if (StartsWith(text, "Windows Registry Editor") || StartsWith(text, "REGEDIT4")) {
    return Format::kReg;
  }
  if (text[0] == '<') return Format::kXml;
  if (text[0] == '{' || text[0] == '"') return Format::kJson;
  if (text[0] == '[') return ArrayOrSection(text);
  if (LooksLikeIni(text)) return Format::kIni;
  const bool number = text[0] == '-' || kDigits.find(text[0]) != kDigits.npos;
  if (number || text == "true" || text == "false" || text == "null") return Format::kJson;
  return std::nullopt;
}

std::optional<Format> DetectFormat(std::string_view path, std::string_view bytes) {
  if (const std::optional<Format> format = FormatByExtension(path)) return format;
  const std::optional<Format> format = FormatByContent(bytes);
  const std::string extension = Extension(path);
  if (extension != "conf" && extension != "cfg") return format;
  // Under these names a { begins JSON, and nothing else does: what looks like an array or a
  // scalar is a [section] or a key.
  std::string storage;
  const bool ini = !format || (*format == Format::kJson && Beginning(bytes, storage)[0] != '{');
  return ini ? Format::kIni : format;
}

}  // namespace cfgtree
