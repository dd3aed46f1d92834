// Which format a file has: what the user said, else what its extension says, else what
// it begins with.  Extensions that say little (.conf, .cfg) mean INI unless the file
// begins as no INI file does: many programs keep XML under such names.

#ifndef CFGTREE_READERS_FORMATDETECTION_H
#define CFGTREE_READERS_FORMATDETECTION_H

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace cfgtree {

enum class Format { kJson, kXml, kIni, kReg };

// json, xml, ini, reg.
std::string_view FormatName(Format format);
std::optional<Format> FormatByName(std::string_view name);
std::vector<std::string> FormatNames();

// By the letters behind the last dot, in either case: .json, .xml, .ini and .reg.
std::optional<Format> FormatByExtension(std::string_view path);

// By the first bytes.  What may be JSON or INI ("[") is decided by the first line; text
// is INI only when its first line that is no comment is a [section] or has a =.
std::optional<Format> FormatByContent(std::string_view bytes);

// By extension, else by content.
std::optional<Format> DetectFormat(std::string_view path, std::string_view bytes);

}  // namespace cfgtree

#endif  // CFGTREE_READERS_FORMATDETECTION_H
