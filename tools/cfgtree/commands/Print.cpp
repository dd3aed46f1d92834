// The tree drawn with lines:
//
//   net (2)
//   ├─ ports (3)
//   │  ├─ http = 80
//   │  └─ … 2 more
//   └─ host = db
//   3 of 6 nodes are shown; --all shows everything

#include <algorithm>
#include <climits>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "JsonWriter.h"
#include "Places.h"
#include "Text.h"
#include "commands/Commands.h"
#include "commands/NodeFields.h"

namespace cfgtree {
namespace {

struct Limits {
  int depth = INT_MAX;     // levels below the start
  int children = INT_MAX;  // of each node
  int lines = INT_MAX;     // of the drawing, without a last one that tells what is missing
};

// Receives a drawing line by line.  `prefix` holds the lines of the levels above.
class DrawingSink {
 public:
  virtual ~DrawingSink() = default;
  virtual void Node(const std::string& prefix, bool is_last, std::size_t level,
                    Tree_Node& node) = 0;
  virtual void More(const std::string& prefix, int count) = 0;
};

struct Strokes {
  const char* child;
  const char* last_child;
  const char* below;
  const char* below_last;
  const char* more;
};
constexpr Strokes kUnicode = {"├─ ", "└─ ", "│  ", "   ", "…"};
constexpr Strokes kAscii = {"|- ", "`- ", "|  ", "   ", "..."};

struct Drawn {
  int nodes = 0;
  int lines = 0;
  bool complete = true;  // the lines sufficed for what depth and children allow
};

// Goes through the part of a tree that the limits leave; without a sink it only counts.
class Drawing {
 public:
  Drawing(const Limits& limits, const Strokes& strokes, DrawingSink* sink)
      : m_limits(limits), m_strokes(strokes), m_sink(sink) {}

  Drawn Draw(Tree_Node* top) {
    if (!DrawNode(top, true)) return m_drawn;
    Open(top, "");
    while (!m_open.empty()) {
      Level& level = m_open.back();
      if (level.next == level.shown) {
        if (!Close()) break;
        continue;
      }
      Tree_Node* const child = level.node->GetChildAt(level.next++).get();
      const bool last = level.next == level.shown && level.shown == level.count;
      if (!DrawNode(child, last)) break;
      Open(child, last ? m_strokes.below_last : m_strokes.below);
    }
    return m_drawn;
  }

 private:
  struct Level {
    Tree_Node* node;
    int next;
    int shown;
    int count;
    std::size_t prefix;  // bytes that were added to the prefix for its children
  };

  bool TakeLine() {
    if (m_drawn.lines == m_limits.lines) {
      m_drawn.complete = false;
      return false;
    }
    ++m_drawn.lines;
    return true;
  }

  bool DrawNode(Tree_Node* node, bool last) {
    if (!TakeLine()) return false;
    ++m_drawn.nodes;
    if (m_sink != nullptr) m_sink->Node(m_prefix, last, m_open.size(), *node);
    return true;
  }

  void Open(Tree_Node* node, const char* stroke) {
    const int count = node->GetChildCount();
    if (count == 0 || m_open.size() >= static_cast<std::size_t>(m_limits.depth)) return;
    // A line that says "1 more" would take the room of that one.
    const bool all = count <= m_limits.children || count - 1 == m_limits.children;
    const std::size_t before = m_prefix.size();
    m_prefix += stroke;
    m_open.push_back({node, 0, all ? count : m_limits.children, count, m_prefix.size() - before});
  }

  bool Close() {
    const Level level = m_open.back();
    if (level.shown < level.count) {
      if (!TakeLine()) return false;
      if (m_sink != nullptr) m_sink->More(m_prefix, level.count - level.shown);
    }
    m_prefix.resize(m_prefix.size() - level.prefix);
    m_open.pop_back();
    return true;
  }

  Limits m_limits;
  const Strokes& m_strokes;
  DrawingSink* m_sink;
  Drawn m_drawn;
  std::string m_prefix;
  std::vector<Level> m_open;
};

// Puts the lines into the output.  On a terminal they end at its edge.
class Painter : public DrawingSink {
 public:
  Painter(const Strokes& strokes, std::string top_name, const Style& style, Output& out)
      : m_strokes(strokes), m_top_name(std::move(top_name)), m_style(style), m_out(out) {}

  void Node(const std::string& prefix, bool is_last, std::size_t level, Tree_Node& node) override {
    const bool is_top = level == 0;
    const char* const stroke = is_top ? "" : is_last ? m_strokes.last_child : m_strokes.child;
    const std::string name = is_top ? m_top_name : Printable(View(node.GetKeyName()));
    if (node.IsLeaf()) {
      Leaf(prefix + stroke, name, node);
    } else {
      Inner(prefix + stroke, name, node);
    }
  }

  void More(const std::string& prefix, int count) override {
    const std::string text = prefix + m_strokes.last_child + m_strokes.more + ' ' +
                             Grouped(static_cast<std::uint64_t>(count)) + " more";
    Line({{text, Colour::kDim}});
  }

  void LastLine(const std::string& text) { Line({{text, Colour::kDim}}); }

 private:
  struct Part {
    std::string_view text;
    Colour colour;
  };

  void Leaf(const std::string& before, const std::string& name, Tree_Node& node) {
    const std::string value = QuotedValueText(node);
    // Some of a long value is to be seen behind a long name.
    constexpr std::size_t kLeastOfValue = 8;
    const std::string shown =
        CutName(name, before, 3 + std::min(DisplayWidth(value), kLeastOfValue));
    Line({{before, Colour::kDim},
          {shown, Colour::kName},
          {" = ", Colour::kDim},
          {value, Colour::kValue}});
  }

  void Inner(const std::string& before, const std::string& name, Tree_Node& node) {
    const std::string count = Grouped(EntryCount(node));
    const bool array = KindOf(node) == NodeKind::kArray;
    const std::string entries = array ? " [" + count + ']' : " (" + count + ')';
    const std::string shown = CutName(name, before, entries.size());
    Line({{before, Colour::kDim}, {shown, Colour::kTree}, {entries, Colour::kDim}});
  }

  // A name that leaves `behind` columns for what follows it, and has some itself.
  std::string CutName(const std::string& name, const std::string& before,
                      std::size_t behind) const {
    if (!m_style.columns) return name;
    constexpr std::size_t kLeast = 8;
    const std::size_t taken = DisplayWidth(before) + behind;
    return CutToWidth(name, m_style.width > taken + kLeast ? m_style.width - taken : kLeast);
  }

  // A part that just fits is cut, too, when more stands behind it: the ellipsis tells.
  void Line(std::initializer_list<Part> parts) {
    std::size_t columns = 0;
    for (const Part& part : parts) columns += m_style.columns ? DisplayWidth(part.text) : 0;
    std::size_t room = m_style.columns ? m_style.width : 0;
    for (const Part& part : parts) {
      const std::size_t width = columns > room ? DisplayWidth(part.text) : 0;
      if (columns > room && width >= room) {
        m_out << Painted(CutToWidth(std::string(part.text) + ' ', room), part.colour, m_style);
        break;
      }
      m_out << Painted(part.text, part.colour, m_style);
      columns -= width;
      room -= width;
    }
    m_out << '\n';
  }

  const Strokes& m_strokes;
  std::string m_top_name;
  Style m_style;
  Output& m_out;
};

// Only adds up what the lines of a drawing take, about.
class Measurer : public DrawingSink {
 public:
  explicit Measurer(const Output& out) : m_out(out) {}

  void Node(const std::string& prefix, bool, std::size_t, Tree_Node& node) override {
    Add(prefix.size() + node.GetKeyName().length());
  }
  void More(const std::string& prefix, int) override { Add(prefix.size()); }

 private:
  void Add(std::size_t bytes) {
    m_bytes += bytes;
    m_out.RequireRoom(m_bytes);
  }

  const Output& m_out;
  std::size_t m_bytes = 0;
};

// Chooses the limits of a drawing of at most `lines` lines, the last one that tells what is
// missing included: the deepest drawing that fits, and then the widest.  Depth comes first,
// since a few settings in full tell more than many names without any.
class LimitsFinder {
 public:
  LimitsFinder(Tree_Node* top, int lines)
      : m_top(top), m_nodes(top->GetNodeNum()), m_lines(lines) {}

  Limits Find(const Options& options) const {
    constexpr int kDepths[] = {INT_MAX, 8, 6, 5, 4, 3, 2, 1};
    constexpr int kLeastChildren = 2;
    Limits limits;
    for (const int depth : kDepths) {
      limits.depth = options.depth.value_or(depth);
      limits.children = options.children.value_or(INT_MAX);
      if (Fits(limits)) return limits;
      if (options.children) continue;
      limits.children = kLeastChildren;
      if (Fits(limits)) return Widest(limits);
    }
    // None does.  The first lines are better than none.
    limits.lines = std::max(m_lines - 1, 1);
    return limits;
  }

 private:
  bool Fits(const Limits& limits) const {
    Limits tried = limits;
    tried.lines = m_lines;
    const Drawn drawn = Drawing(tried, kUnicode, nullptr).Draw(m_top);
    const int last_line = drawn.nodes < m_nodes ? 1 : 0;
    return drawn.complete && drawn.lines <= m_lines - last_line;
  }

  // The widest drawing that fits and is as deep as `limits`, which fits while all children
  // do not: so children as many as lines do not either.
  Limits Widest(Limits limits) const {
    int too_wide = m_lines;
    while (too_wide - limits.children > 1) {
      Limits tried = limits;
      tried.children += (too_wide - limits.children) / 2;
      if (Fits(tried)) {
        limits = tried;
      } else {
        too_wide = tried.children;
      }
    }
    return limits;
  }

  Tree_Node* m_top;
  int m_nodes;
  int m_lines;
};

Limits ChooseLimits(Tree_Node* top, const Options& options, const Style& style) {
  Limits limits;
  limits.depth = options.depth.value_or(INT_MAX);
  limits.children = options.children.value_or(INT_MAX);
  if (options.all) return limits;
  // Room for the command and the next prompt.
  constexpr int kReserved = 2;
  constexpr int kLinesWithoutTerminal = 40;
  const int screen = style.columns ? std::max(static_cast<int>(style.height) - kReserved, 8)
                                   : kLinesWithoutTerminal;
  return LimitsFinder(top, options.lines.value_or(screen)).Find(options);
}

// The tree as nested objects.  Without limits of its own it is complete.
class JsonSink {
 public:
  JsonSink(const Limits& limits, Output& out) : m_limits(limits), m_json(out) {}

  void Write(Tree_Node* top) {
    Begin(top);
    while (!m_open.empty()) {
      Level& level = m_open.back();
      if (level.next < level.shown) {
        Begin(level.node->GetChildAt(level.next++).get());
        continue;
      }
      m_json.EndArray();
      if (level.shown < level.node->GetChildCount()) {
        m_json.Field("omitted",
                     static_cast<std::uint64_t>(level.node->GetChildCount() - level.shown));
      }
      m_json.EndObject();
      m_open.pop_back();
    }
    m_json.Finish();
  }

 private:
  struct Level {
    Tree_Node* node;
    int next;
    int shown;
  };

  // Writes a leaf whole; of an inner node everything before its children.
  void Begin(Tree_Node* node) {
    m_json.BeginObject();
    m_json.Field("name", View(node->GetKeyName()));
    WriteNodeFields(m_json, *node);
    if (node->IsLeaf()) return m_json.EndObject();
    const bool too_deep = m_open.size() >= static_cast<std::size_t>(m_limits.depth);
    m_json.Key("children").BeginArray();
    m_open.push_back({node, 0, too_deep ? 0 : std::min(node->GetChildCount(), m_limits.children)});
  }

  Limits m_limits;
  JsonWriter m_json;
  std::vector<Level> m_open;
};

}  // namespace

void RunPrint(const Options& options, const Style& style, Output& out) {
  LoadedFile& file = LoadForGood(options.files[0], options.format);
  Tree_NodePtr start = FindNode(file.top, options.path, file.name);
  if (options.json) {
    Limits limits;
    limits.depth = options.depth.value_or(INT_MAX);
    limits.children = options.children.value_or(INT_MAX);
    JsonSink(limits, out).Write(start.get());
    return;
  }

  const Limits limits = ChooseLimits(start.get(), options, style);
  const Strokes& strokes = options.ascii ? kAscii : kUnicode;
  const std::string name =
      options.path.empty() ? std::string(View(start->GetKeyName())) : options.path;
  Measurer measurer(out);
  Drawing(limits, strokes, &measurer).Draw(start.get());
  Painter painter(strokes, Printable(name), style, out);
  const Drawn drawn = Drawing(limits, strokes, &painter).Draw(start.get());

  const int nodes = start->GetNodeNum();
  // A single line is the drawing's.
  const bool room = options.all || options.lines != 1;
  if (drawn.nodes < nodes && room) {
    painter.LastLine(Grouped(static_cast<std::uint64_t>(drawn.nodes)) + " of " +
                     Grouped(static_cast<std::uint64_t>(nodes)) +
                     " nodes are shown; --all shows everything");
  }
}

}  // namespace cfgtree
