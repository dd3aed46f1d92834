// Names and texts that a format has no place for are kept or counted, never changed in
// silence.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ReaderText.h"
#include "support/TreeMaking.h"
#include "writers/Writer.h"

using namespace cfgtree;

namespace {

using Sentences = std::vector<std::string>;

Tree_NodePtr From(Format format, std::string_view bytes) {
  return BuildTree({"f", bytes, nullptr}, format, "t");
}

struct Written {
  std::string bytes;
  Sentences losses;
};

Written Write(Tree_NodePtr top, Format format) {
  WriteOptions options;
  options.style.emplace();
  options.style->regedit4 = true;
  options.style->json_lines = false;
  Losses losses;
  Written written;
  written.bytes = WriteFormat(top, format, options, losses);
  written.losses = losses.Sentences();
  return written;
}

// --- A value that is called @ ----------------------------------------------------

TEST(RegistryValueCalledAt, IsToldFromTheDefaultValueOrCounted) {
  const std::string file = "REGEDIT4\n\n[A]\n\"@\"=\"x\"\n\n";
  const std::string loss = "1 name that is really @ becomes that of a default value";
  const auto write = [&](Format format) { return Write(From(Format::kReg, file), format); };
  EXPECT_EQ(write(Format::kReg).bytes, file);
  EXPECT_EQ(write(Format::kReg).losses, Sentences{});
  EXPECT_EQ(write(Format::kTree).losses, Sentences{});
  EXPECT_EQ(write(Format::kText).losses, Sentences{});
  EXPECT_EQ(write(Format::kJson).bytes, "{\"A\": {\"@\": \"x\"}}\n");
  EXPECT_EQ(write(Format::kJson).losses, Sentences{loss});
  EXPECT_EQ(write(Format::kIni).losses, Sentences{loss});
  EXPECT_EQ(write(Format::kXml).losses,
            (Sentences{loss, "1 name is no XML name and gets codes such as _x0020_"}));
  // The default value itself is no loss, nor is a name that only looks like the escape.
  for (const char* const other : {"@=\"x\"", "\"%40\"=\"x\""}) {
    Tree_NodePtr top = From(Format::kReg, "REGEDIT4\n\n[A]\n" + std::string(other) + "\n\n");
    EXPECT_EQ(Write(top, Format::kJson).losses, Sentences{}) << other;
  }
}

TEST(RegistryValueCalledAt, BesideTheDefaultValueComesAgainInAJsonObject) {
  Tree_NodePtr top = From(Format::kReg, "REGEDIT4\n\n[A]\n@=\"d\"\n\"@\"=\"x\"\n\n");
  const Written written = Write(top, Format::kJson);
  EXPECT_EQ(written.bytes, "{\"A\": {\"@\": \"d\", \"@\": \"x\"}}\n");
  EXPECT_EQ(
      written.losses,
      (Sentences{"1 name comes again in its object, where most readers keep the last one only",
                 "1 name that is really @ becomes that of a default value"}));
}

// --- A value and a sub-key of one name ---------------------------------------------

TEST(RegWriter, KeepsTheOrderOfASubKeyAndAValueOfOneName) {
  Tree_NodePtr top =
      From(Format::kJson,
           R"({"K": {"x": {"a": "1"}, "x": "v", "y": "w", "z": "1", "z": {}, "z": "2"}})");
  const Written written = Write(top, Format::kReg);
  EXPECT_EQ(written.bytes,
            "REGEDIT4\n\n[K]\n\"y\"=\"w\"\n\"z\"=\"1\"\n\n[K\\x]\n\"a\"=\"1\"\n\n[K\\z]\n\n"
            "[K]\n\"x\"=\"v\"\n\"z\"=\"2\"\n\n");
  EXPECT_EQ(Read(Format::kReg, written.bytes),
            "t/\n  K/\n    y = w\n    z = 1\n    x/\n      a = 1\n    z/\n    x = v\n    z = 2\n");
  EXPECT_EQ(written.losses,
            Sentences{"1 name comes again in its key, where the registry keeps one only"});
  // A file that has nothing but such a value comes back as it was.
  const std::string file = "REGEDIT4\n\n[K\\x]\n\"a\"=\"1\"\n\n[K]\n\"x\"=\"v\"\n\n[L]\n\n";
  EXPECT_EQ(Write(From(Format::kReg, file), Format::kReg).bytes, file);
}

// --- Texts beside each other in XML ------------------------------------------------

TEST(XmlWriter, CountsTextsThatBecomeOne) {
  const std::string one =
      "1 text follows another one without an element between, and is joined with it";
  const auto losses = [](std::vector<Tree_NodePtr> children) {
    return Write(Inner("t", {Inner("r", std::move(children))}), Format::kXml).losses;
  };
  EXPECT_EQ(losses({Leaf("a", "1"), Leaf("#text", "x"), Leaf("#text", "y")}), Sentences{one});
  EXPECT_EQ(losses({Leaf("#text", "x"), Leaf("@k", "1"), Leaf("#text", "y"), Leaf("a", "")}),
            Sentences{one});
  EXPECT_EQ(losses({Leaf("#text", "x"), Leaf("a", ""), Leaf("#text", "y"), Leaf("a", "")}),
            Sentences{});
  EXPECT_EQ(losses({Leaf("#text", "x"), Leaf("#text", "y")}),
            (Sentences{"1 sub-tree of text only becomes a value", one}));
}

}  // namespace
