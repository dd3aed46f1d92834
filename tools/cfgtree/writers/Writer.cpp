#include "writers/Writer.h"

#include "Error.h"
#include "System.h"
#include "Text.h"
#include "writers/IniWriter.h"
#include "writers/JsonFileWriter.h"
#include "writers/RegWriter.h"
#include "writers/TextWriter.h"
#include "writers/TreeWriter.h"
#include "writers/XmlWriter.h"

namespace cfgtree {

std::string WriteFormat(Tree_NodePtr& top, Format format, const WriteOptions& options,
                        Losses& losses) {
  const SourceStyle style = options.style.value_or(DefaultStyle(format));
  switch (format) {
    case Format::kTree:
      return WriteTree(top, style, options.skip_name, options.header, losses);
    case Format::kJson:
      return WriteJsonFile(top, style, losses);
    case Format::kReg:
      return WriteReg(top, style, losses);
    case Format::kText:
      return WriteText(top, style, losses);
    case Format::kIni:
      return WriteIni(top, style, losses);
    case Format::kXml:
      return WriteXml(top, style, losses);
  }
  return "";
}

Format OutputFormat(std::string_view path) {
  if (const std::optional<Format> format = WrittenFormatByExtension(path)) return *format;
  throw UsageError("cannot tell what " + (path == "-" ? "standard output" : std::string(path)) +
                   " shall become; its name must end in .tree, .reg, .json, .txt, .ini or .xml");
}

WriteOptions WriteOptionsLike(const LoadedFile& file, Format format) {
  WriteOptions options;
  if (file.format == format) options.style = file.style;
  return options;
}

void Save(Tree_NodePtr& top, const std::string& path, Format format, const WriteOptions& options) {
  Losses losses;
  os::ReplaceFile(path, WriteFormat(top, format, options, losses));
  for (const std::string& sentence : losses.Sentences()) {
    os::WriteError("cfgtree: warning: " + Printable(sentence) + '\n');
  }
}

}  // namespace cfgtree
