// UTF-8 and UTF-16, as far as the readers need them.  Inside the client every text is
// UTF-8; a reader checks or converts its whole input before it looks at it.

#ifndef CFGTREE_ENCODING_H
#define CFGTREE_ENCODING_H

#include <cstddef>
#include <string>
#include <string_view>

namespace cfgtree {

inline constexpr std::string_view kUtf8Bom = "\xEF\xBB\xBF";
inline constexpr std::string_view kUtf16LittleBom = "\xFF\xFE";
inline constexpr std::string_view kUtf16BigBom = "\xFE\xFF";

inline bool StartsWith(std::string_view text, std::string_view start) {
  return text.substr(0, start.size()) == start;
}

// One character of UTF-8: its code point and its bytes.  `length` is 0 when the bytes
// at that place are no character (cut off, overlong, a surrogate, beyond U+10FFFF).
struct Utf8Character {
  char32_t code;
  std::size_t length;
};
Utf8Character DecodeUtf8(std::string_view text, std::size_t position);

void AppendUtf8(std::string& out, char32_t code);

// Offset of the first byte that is no UTF-8, npos when all of `text` is.
std::size_t FindInvalidUtf8(std::string_view text);

// Checks that `text` is UTF-8 without zero bytes; throws an Error that names the place.
// `text` is what stands behind a byte order mark.
void RequireText(std::string_view file, std::string_view text);

// `bytes` without its byte order mark, as UTF-8.  UTF-16 of either order is recognised
// by its mark and converted into `storage`; everything else is taken to be UTF-8 and
// returned as it stands.  Throws an Error when it is not, or has zero bytes.
std::string_view DecodeText(std::string_view file, std::string_view bytes, std::string& storage);

// `text` with U+FFFD in place of every byte that is no UTF-8.
std::string ReplaceInvalidUtf8(std::string_view text);

// `text` in UTF-16 behind a byte order mark.  Bytes that are no UTF-8 become U+FFFD.
std::string Utf8ToUtf16(std::string_view text, bool big_endian);

}  // namespace cfgtree

#endif  // CFGTREE_ENCODING_H
