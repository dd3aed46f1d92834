#include "Encoding.h"

#include <cstdint>
#include <cstdio>
#include <cstring>

#include "Error.h"

namespace cfgtree {
namespace {

constexpr char32_t kHighSurrogates = 0xD800;
constexpr char32_t kLowSurrogates = 0xDC00;
constexpr char32_t kBehindSurrogates = 0xE000;

bool IsSurrogate(char32_t code) {
  return code >= kHighSurrogates && code < kBehindSurrogates;
}

std::string HexByte(char c) {
  char text[8];
  std::snprintf(text, sizeof text, "%02X", static_cast<unsigned>(static_cast<unsigned char>(c)));
  return text;
}

class Utf16Units {
 public:
  Utf16Units(std::string_view bytes, bool big_endian) : m_bytes(bytes), m_big_endian(big_endian) {}

  char32_t At(std::size_t offset) const {
    const auto first = static_cast<unsigned char>(m_bytes[offset]);
    const auto second = static_cast<unsigned char>(m_bytes[offset + 1]);
    return m_big_endian ? static_cast<char32_t>(first << 8 | second)
                        : static_cast<char32_t>(second << 8 | first);
  }

 private:
  std::string_view m_bytes;
  bool m_big_endian;
};

// `bytes` begins with its byte order mark, so that offsets are those of the file.
std::string Utf16ToUtf8(std::string_view file, std::string_view bytes, bool big_endian) {
  if (bytes.size() % 2 != 0) {
    throw Error::AtByte(file, bytes.size() - 1, "UTF-16 text ends with half a character");
  }
  const Utf16Units units(bytes, big_endian);
  std::string text;
  text.reserve(bytes.size() / 2 + bytes.size() / 16);
  for (std::size_t i = 2; i < bytes.size(); i += 2) {
    char32_t code = units.At(i);
    if (code == 0) throw Error::AtByte(file, i, "zero character; this is not a text file");
    if (IsSurrogate(code)) {
      const char32_t low = i + 2 < bytes.size() ? units.At(i + 2) : 0;
      if (code >= kLowSurrogates || low < kLowSurrogates || low >= kBehindSurrogates) {
        throw Error::AtByte(file, i, "half of a surrogate pair; this is not UTF-16");
      }
      code = 0x10000 + ((code - kHighSurrogates) << 10) + (low - kLowSurrogates);
      i += 2;
    }
    AppendUtf8(text, code);
  }
  return text;
}

}  // namespace

Utf8Character DecodeUtf8(std::string_view text, std::size_t position) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[position + i]); };
  const unsigned char first = byte(0);
  if (first < 0x80) return {first, 1};

  std::size_t length = 0;
  char32_t code = 0;
  char32_t least = 0;
  if ((first & 0xE0) == 0xC0) {
    length = 2, code = first & 0x1Fu, least = 0x80;
  } else if ((first & 0xF0) == 0xE0) {
    length = 3, code = first & 0x0Fu, least = 0x800;
  } else if ((first & 0xF8) == 0xF0) {
    length = 4, code = first & 0x07u, least = 0x10000;
  } else {
    return {0, 0};
  }
  if (text.size() - position < length) return {0, 0};
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xC0) != 0x80) return {0, 0};
    code = code << 6 | (byte(i) & 0x3Fu);
  }
  if (code < least || code > 0x10FFFF || IsSurrogate(code)) return {0, 0};
  return {code, length};
}

void AppendUtf8(std::string& out, char32_t code) {
  const auto put = [&](char32_t byte) { out.push_back(static_cast<char>(byte)); };
  if (code < 0x80) {
    put(code);
  } else if (code < 0x800) {
    put(0xC0 | code >> 6), put(0x80 | (code & 0x3F));
  } else if (code < 0x10000) {
    put(0xE0 | code >> 12), put(0x80 | (code >> 6 & 0x3F)), put(0x80 | (code & 0x3F));
  } else {
    put(0xF0 | code >> 18), put(0x80 | (code >> 12 & 0x3F));
    put(0x80 | (code >> 6 & 0x3F)), put(0x80 | (code & 0x3F));
  }
}

std::size_t FindInvalidUtf8(std::string_view text) {
  std::size_t i = 0;
  while (i < text.size()) {
    // Configuration files are nearly all ASCII, so eight bytes are tested at a time.
    std::uint64_t word;
    if (text.size() - i >= sizeof word) {
      std::memcpy(&word, text.data() + i, sizeof word);
      if ((word & 0x8080808080808080u) == 0) {
        i += sizeof word;
        continue;
      }
    }
    const Utf8Character character = DecodeUtf8(text, i);
    if (character.length == 0) return i;
    i += character.length;
  }
  return text.npos;
}

void RequireText(std::string_view file, std::string_view text) {
  const std::size_t invalid = FindInvalidUtf8(text);
  const std::size_t zero = text.substr(0, invalid).find('\0');
  if (zero != text.npos) {
    throw Error::AtText(file, text, zero, "zero byte; this is not a text file");
  }
  if (invalid != text.npos) {
    throw Error::AtText(file, text, invalid, "byte " + HexByte(text[invalid]) + " is not UTF-8");
  }
}

std::string_view DecodeText(std::string_view file, std::string_view bytes, std::string& storage) {
  if (StartsWith(bytes, kUtf16LittleBom) || StartsWith(bytes, kUtf16BigBom)) {
    storage = Utf16ToUtf8(file, bytes, StartsWith(bytes, kUtf16BigBom));
    return storage;
  }
  if (StartsWith(bytes, kUtf8Bom)) bytes.remove_prefix(kUtf8Bom.size());
  RequireText(file, bytes);
  return bytes;
}

std::string ReplaceInvalidUtf8(std::string_view text) {
  std::string valid;
  while (!text.empty()) {
    const std::size_t stop = FindInvalidUtf8(text);
    valid += text.substr(0, stop);
    if (stop == text.npos) break;
    AppendUtf8(valid, 0xFFFD);
    text.remove_prefix(stop + 1);
  }
  return valid;
}

std::string Utf8ToUtf16(std::string_view text, bool big_endian) {
  std::string bytes;
  bytes.reserve(2 * text.size() + 2);
  const auto put = [&](char32_t unit) {
    const char high = static_cast<char>(unit >> 8 & 0xFF);
    const char low = static_cast<char>(unit & 0xFF);
    bytes += big_endian ? high : low;
    bytes += big_endian ? low : high;
  };
  put(0xFEFF);
  for (std::size_t i = 0; i < text.size();) {
    const Utf8Character character = DecodeUtf8(text, i);
    const char32_t code = character.length > 0 ? character.code : 0xFFFD;
    i += character.length > 0 ? character.length : 1;
    if (code < 0x10000) {
      put(code);
    } else {
      put(kHighSurrogates + ((code - 0x10000) >> 10));
      put(kLowSurrogates + ((code - 0x10000) & 0x3FF));
    }
  }
  return bytes;
}

}  // namespace cfgtree
