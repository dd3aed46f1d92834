// The library's checksum as a line: 8 hexadecimal digits, the file, the path.

#include <cstdio>

#include "JsonWriter.h"
#include "Places.h"
#include "Text.h"
#include "commands/Checksum.h"
#include "commands/Commands.h"

namespace cfgtree {

std::string ChecksumText(Tree_Node& node) {
  char digits[16];
  std::snprintf(digits, sizeof digits, "%08lX", node.GetChecksumIgnoreOrder() & 0xFFFFFFFFUL);
  return digits;
}

void RunChecksum(const Options& options, const Style& style, Output& out) {
  LoadedFile& file = LoadForGood(options.files[0], options.format);
  Tree_NodePtr node = FindNode(file.top, options.path, file.name);
  if (options.name) {
    node->SetKeyName(ToRWCString(*options.name));
  } else if (node.get() == file.top.get()) {
    node->SetKeyName(kChecksumTopName);
  }
  const std::string checksum = ChecksumText(*node);

  if (options.json) {
    JsonWriter json(out);
    json.BeginObject();
    json.Field("file", file.name);
    json.Field("path", options.path);
    json.Field("name", View(node->GetKeyName()));
    json.Field("checksum", checksum);
    json.EndObject();
    json.Finish();
    return;
  }
  Table table(style, out);
  std::vector<Table::Cell> cells = {{checksum, Colour::kValue},
                                    {Printable(file.name), Colour::kName}};
  if (!options.path.empty()) cells.push_back({Printable(options.path), Colour::kName});
  table.Row(std::move(cells));
  table.Finish();
}

}  // namespace cfgtree
