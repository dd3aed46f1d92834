#include <functional>
#include <string>
#include <unordered_set>
#include <vector>

#include "JsonWriter.h"
#include "Places.h"
#include "Text.h"
#include "Walk.h"
#include "Zel/Zel_PoolAllocator.h"
#include "commands/Commands.h"
#include "commands/NodeFields.h"

namespace cfgtree {
namespace {

struct TreeFigures {
  std::uint64_t nodes = 0;
  std::uint64_t leaves = 0;
  std::uint64_t depth = 0;  // levels below the top
  Tree_Node* widest = nullptr;

  // Every node uses a name, every leaf a value.  Equal texts are one interned string,
  // names and values alike, so its address tells them apart.
  std::uint64_t strings = 0;
  std::uint64_t distinct = 0;
  std::uint64_t bytes = 0;
  std::uint64_t distinct_bytes = 0;
};

TreeFigures Measure(Tree_NodePtr& top) {
  TreeFigures figures;
  figures.widest = top.get();
  std::unordered_set<const char*> seen;
  const auto use = [&](const RWCString& interned) {
    ++figures.strings;
    figures.bytes += interned.length();
    if (!seen.insert(interned.data()).second) return;
    ++figures.distinct;
    figures.distinct_bytes += interned.length();
  };
  Walk(top, [&](Tree_NodePtr& node, std::size_t depth) {
    ++figures.nodes;
    figures.depth = std::max(figures.depth, static_cast<std::uint64_t>(depth));
    if (node->GetChildCount() > figures.widest->GetChildCount()) figures.widest = node.get();
    use(node->GetKeyName());
    if (!node->IsLeaf()) return;
    ++figures.leaves;
    use(ValueOf(*node));
  });
  return figures;
}

struct PoolFigures {
  std::string name;
  Zel_PoolStats stats;
};

std::vector<PoolFigures> MeasurePools() {
  std::vector<PoolFigures> pools;
  Zel_PoolAllocator::VisitAll([&](Zel_PoolAllocator& pool) {
    pools.push_back({pool.GetName(), pool.GetStats()});
  });
  return pools;
}

void WriteJson(LoadedFile& file, const TreeFigures& figures, std::uint64_t total_size,
               const std::vector<PoolFigures>& pools, Output& out) {
  JsonWriter json(out);
  json.BeginObject();
  json.Field("file", file.name);
  json.Field("format", FormatName(file.format));
  json.Field("file_bytes", file.bytes);
  json.Key("read_seconds").Number(file.read_seconds);
  json.Key("build_seconds").Number(file.build_seconds);
  json.Field("nodes", figures.nodes);
  json.Field("leaves", figures.leaves);
  json.Field("depth", figures.depth);
  json.Key("widest").BeginObject();
  json.Field("path", PathNamer(file.top.get()).PathOf(figures.widest));
  json.Field("entries", EntryCount(*figures.widest));
  json.EndObject();
  json.Field("total_size", total_size);
  json.Key("strings").BeginObject();
  json.Field("uses", figures.strings);
  json.Field("distinct", figures.distinct);
  json.Field("bytes", figures.bytes);
  json.Field("distinct_bytes", figures.distinct_bytes);
  json.Field("saved_bytes", figures.bytes - figures.distinct_bytes);
  json.EndObject();
  json.Key("pools").BeginArray();
  for (const PoolFigures& pool : pools) {
    json.BeginObject();
    json.Field("name", pool.name);
    json.Field("in_use", pool.stats.elements_in_use);
    json.Field("blocks", pool.stats.blocks);
    json.Field("bytes", pool.stats.bytes);
    json.EndObject();
  }
  json.EndArray();
  json.EndObject();
  json.Finish();
}

class Sheet {
 public:
  Sheet(const Style& style, Output& out) : m_style(style), m_out(out) {}

  void Heading(std::string_view title) {
    if (m_style.columns) m_out << '\n' << Painted(title, Colour::kHeading, m_style) << '\n';
  }

  // On a terminal "  nodes   1,234  remark", else "nodes<TAB>1234".
  void Count(std::string_view name, std::uint64_t number, std::string_view remark = "") {
    Text(name, m_style.columns ? Grouped(number) : std::to_string(number), remark);
  }
  void Bytes(std::string_view name, std::uint64_t bytes, std::string_view remark = "") {
    Text(name, m_style.columns ? ByteSize(bytes) : std::to_string(bytes), remark);
  }
  void Time(std::string_view name, double seconds) {
    Text(name, m_style.columns ? Duration(seconds) : std::to_string(seconds));
  }
  void Text(std::string_view name, std::string_view value, std::string_view remark = "") {
    constexpr std::size_t kNames = 18;
    constexpr std::size_t kValues = 12;
    if (!m_style.columns) {
      m_out << name << '\t' << value << '\n';
      return;
    }
    m_out << "  " << name;
    m_out.Fill(kNames - std::min(kNames, name.size()), ' ');
    m_out << Painted(value, Colour::kValue, m_style);
    if (!remark.empty()) {
      m_out.Fill(2 + kValues - std::min(kValues, DisplayWidth(value)), ' ');
      m_out << Painted(remark, Colour::kDim, m_style);
    }
    m_out << '\n';
  }

 private:
  Style m_style;
  Output& m_out;
};

std::string Share(std::uint64_t part, std::uint64_t whole) {
  return whole == 0 ? "0%" : std::to_string(part * 100 / whole) + "%";
}

void WritePools(const std::vector<PoolFigures>& pools, const Style& style, Output& out) {
  Table table(style, out);
  table.Heading({"  POOL", "IN USE", "BLOCKS", "BYTES"});
  for (const PoolFigures& pool : pools) {
    const auto cell = [&](std::uint64_t number, bool bytes) {
      return Table::Cell{!style.columns ? std::to_string(number)
                         : bytes        ? ByteSize(number)
                                        : Grouped(number),
                         Colour::kValue, true};
    };
    table.Row({{(style.columns ? "  " : "pool ") + pool.name, Colour::kNone},
               cell(pool.stats.elements_in_use, false),
               cell(pool.stats.blocks, false),
               cell(pool.stats.bytes, true)});
  }
  table.Finish();
}

}  // namespace

void RunStats(const Options& options, const Style& style, Output& out) {
  LoadedFile& file = LoadForGood(options.files[0], options.format);
  const TreeFigures figures = Measure(file.top);
  const std::uint64_t total_size = file.top->GetTotalSize();
  const std::vector<PoolFigures> pools = MeasurePools();
  if (options.json) return WriteJson(file, figures, total_size, pools, out);

  Sheet sheet(style, out);
  if (style.columns) {
    out << Painted(Printable(file.name), Colour::kHeading, style) << '\n';
  } else {
    sheet.Text("file", Printable(file.name));
  }
  sheet.Text("format", FormatName(file.format));
  sheet.Bytes("file size", file.bytes);
  sheet.Time("reading", file.read_seconds);
  sheet.Time("building", file.build_seconds);

  sheet.Heading("Tree");
  sheet.Count("nodes", figures.nodes);
  sheet.Count("leaves", figures.leaves);
  sheet.Count("depth", figures.depth, "levels below the top");
  const std::string widest = Printable(PathNamer(file.top.get()).PathOf(figures.widest));
  sheet.Count("widest node", EntryCount(*figures.widest), widest.empty() ? "the top" : widest);
  if (!style.columns) sheet.Text("widest path", widest);
  sheet.Bytes("total size", total_size, "of all names and values");

  sheet.Heading("Interned strings");
  sheet.Count("uses", figures.strings, "one per name, one per value");
  sheet.Count("distinct", figures.distinct);
  const std::uint64_t saved = figures.bytes - figures.distinct_bytes;
  sheet.Bytes("bytes saved", saved, Share(saved, figures.bytes) + " of the text");

  sheet.Heading("Pools");
  WritePools(pools, style, out);
}

}  // namespace cfgtree
