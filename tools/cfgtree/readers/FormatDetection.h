// Which format a file has: what the user said, else what its extension says, else what
// it begins with.  Extensions that say little (.conf, .cfg) mean INI unless the file
// begins as no INI file does: many programs keep XML under such names.
//
// What a new file becomes is told by its extension alone.

#ifndef CFGTREE_READERS_FORMATDETECTION_H
#define CFGTREE_READERS_FORMATDETECTION_H

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace cfgtree {

enum class Format {
  kJson,
  kXml,
  kIni,
  kReg,
  kTree,  // a serialized tree, see readers/TreeReader.h
  kText,  // one line per leaf, see writers/TextWriter.h; only ever written
};

// json, xml, ini, reg, tree, text.
std::string_view FormatName(Format format);

// Of the formats that are read, without text.
std::optional<Format> FormatByName(std::string_view name);
std::vector<std::string> FormatNames();

// Of all formats.
std::optional<Format> WrittenFormatByName(std::string_view name);
std::vector<std::string> WrittenFormatNames();

// By the letters behind the last dot, in either case: .json, .xml, .ini, .reg and .tree.
std::optional<Format> FormatByExtension(std::string_view path);

// The same for a file that is to be written, where .txt is text.
std::optional<Format> WrittenFormatByExtension(std::string_view path);

// By the first bytes.  What may be JSON or INI ("[") is decided by the first line; text
// is INI only when its first line that is no comment is a [section] or has a =.  A
// serialized tree has no magic; the zeros and ones of its first record, with or without
// an empty header before it, begin no text.
std::optional<Format> FormatByContent(std::string_view bytes);

// By extension, else by content.
std::optional<Format> DetectFormat(std::string_view path, std::string_view bytes);

}  // namespace cfgtree

#endif  // CFGTREE_READERS_FORMATDETECTION_H
