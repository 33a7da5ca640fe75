// The qmdb command-line tool, driven as a user drives it: arguments in, exit
// status and output out, on documents and databases in a temporary directory.
// Round trips are compared in canonical XML form (xmllint --c14n).
#include "tools/ToolRun.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

namespace qmdb::test {
namespace {

// The canonical form of an XML file, comments included.
std::string canonical(const TempDir& dir, const std::string& file) {
  Outcome run = shell(dir, "xmllint --c14n " + quote(file));
  EXPECT_EQ(run.status, 0) << file << ": " << run.err;
  return run.out;
}

// Output lines with the handle (the first field) replaced by '#'.
std::string withoutHandles(const std::string& out) {
  std::string result;
  for (size_t begin = 0, end; begin < out.size(); begin = end + 1) {
    end = out.find('\n', begin);
    size_t tab = out.find('\t', begin);
    result += "#" + out.substr(tab, end + 1 - tab);
  }
  return result;
}

struct Document {
  const char* name;
  std::string xml;
  const char* options;
};

TEST(Tool, RoundTripKeepsCanonicalForm) {
  std::string sample = std::string(__FILE__).substr(0, std::string(__FILE__).rfind("/tests/")) +
                       "/examples/sample.xml";
  std::string longText;
  for (int i = 0; i < 400; ++i) longText += "line " + std::to_string(i) + " \xc3\xa6\xc3\xb8\n";
  const std::vector<Document> documents = {
      {"mixed", "<a>one <b>two <i>three</i></b> four<c/><d></d>&#65;&#x263A;<![CDATA[<x>&]]></a>",
       ""},
      {"escapes",
       "<r x=\"&lt;&amp;&gt;&quot;'\" y=\"tab&#9;nl&#10;cr&#13;end\" z='say \"hi\"'>"
       "a &lt; b &amp;&amp; c &gt; d, cr&#13;here, ]]&gt;</r>",
       ""},
      {"pis", "<?top first?>\n<doc><?inner data with spaces ?><?empty?><e/></doc>\n<?tail x?>", ""},
      {"utf8",
       "<t lang=\"\xe6\x97\xa5\xe6\x9c\xac\">\xc3\x86sop \xe2\x80\x94 \xf0\x9f\xa6\x8a "
       "&#x1F98A; \xce\xb1\xce\xb2\xce\xb3</t>",
       ""},
      {"comments", "<!-- before -->\n<k><!-- inside --><l>x<!--z-->y</l></k>\n<!-- after -->",
       "--comments"},
      {"namespaces", "<n:a xmlns:n=\"urn:n\" xmlns=\"urn:d\"><b n:at=\"1\"><n:c/></b></n:a>", ""},
      {"long", "<big>" + longText + "</big>", ""},
      {"sample", asText(readFile(sample)), "--comments"},
  };
  TempDir dir;
  for (const Document& doc : documents) {
    SCOPED_TRACE(doc.name);
    std::string name = doc.name;
    writeText(dir.file(name + ".xml"), doc.xml);
    // A small page size makes the long text span several strings.
    Outcome import = shell(dir, "QMPAGESIZE=1024 " + quote(QMDB_TOOL_PATH) + " import " + name +
                                    ".xml " + name + ".qmb " + doc.options);
    ASSERT_EQ(import.status, 0) << import.err;
    Outcome exported = tool(dir, "export " + name + ".qmb " + name + ".out.xml");
    ASSERT_EQ(exported.status, 0) << exported.err;
    std::string expected = canonical(dir, name + ".xml");
    EXPECT_FALSE(expected.empty());
    EXPECT_EQ(canonical(dir, name + ".out.xml"), expected);
    EXPECT_EQ(asText(readFile(dir.file(name + ".out.xml")))
                  .rfind("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n", 0),
              0u);
  }
  EXPECT_EQ(tool(dir, "export mixed.qmb").out, asText(readFile(dir.file("mixed.out.xml"))));
  // 5490 bytes of text in strings of at most 1023 bytes each; none for the
  // newlines between top-level items.
  EXPECT_NE(tool(dir, "stats long.qmb").out.find("\nstrings      6\n"), std::string::npos);
  EXPECT_NE(tool(dir, "stats pis.qmb").out.find("\nstrings      0\n"), std::string::npos);

  // Without --comments the comments are dropped, the rest kept.
  ASSERT_EQ(tool(dir, "import comments.xml plain.qmb").status, 0);
  EXPECT_EQ(tool(dir, "export plain.qmb").out,
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<k><l>xy</l></k>\n");
}

TEST(Tool, FailedImportLeavesNothingBehind) {
  TempDir dir;
  writeText(dir.file("bad.xml"), "<a>\n  <b></a>\n");
  Outcome run = tool(dir, "import bad.xml new.qmb");
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.err, "qmdb: bad.xml:2:10: Opening and ending tag mismatch: b line 2 and a\n");
  EXPECT_EQ(dir.list(), std::vector<std::string>{"bad.xml"});

  // An existing database stays as it was.
  writeText(dir.file("good.xml"), "<a>fine</a>");
  ASSERT_EQ(tool(dir, "import good.xml db.qmb").status, 0);
  std::vector<uint8_t> before = readFile(dir.file("db.qmb"));
  EXPECT_EQ(tool(dir, "import bad.xml db.qmb").status, 1);
  EXPECT_EQ(readFile(dir.file("db.qmb")), before);

  // So does one whose import the library refuses: a value longer than a page.
  writeText(dir.file("wide.xml"), "<a v=\"" + std::string(2000, 'v') + "\"/>");
  run = shell(dir, "QMPAGESIZE=1024 " + quote(QMDB_TOOL_PATH) + " import wide.xml db.qmb");
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.err, "qmdb: wide.xml:1:2010: cannot store the attribute v\n");
  EXPECT_EQ(readFile(dir.file("db.qmb")), before);
  EXPECT_EQ(dir.list(), (std::vector<std::string>{"bad.xml", "db.qmb", "good.xml", "wide.xml"}));
}

TEST(Tool, ReportsMissingFilesAndWrongArguments) {
  TempDir dir;
  Outcome run = tool(dir, "import missing.xml x.qmb");
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.err, "qmdb: missing.xml: No such file or directory\n");
  EXPECT_TRUE(dir.list().empty());
  for (const char* command : {"export", "tree", "stats", "check", "indexes"}) {
    run = tool(dir, std::string(command) + " missing.qmb");
    EXPECT_EQ(run.status, 1) << command;
    EXPECT_EQ(run.err.rfind("qmdb: missing.qmb: cannot open database: NOFILEOPEN: ", 0), 0u)
        << command << ": " << run.err;
  }
  for (const char* usage : {"", "frobnicate x", "import only.xml", "find db.qmb path --bogus",
                            "index db.qmb name path --key attr", "help frobnicate",
                            "xpath db.qmb / --xml --json", "xpath db.qmb / --var novalue",
                            "shell db.qmb other.qmb", "shell db.qmb --frob", "shell db.qmb -c"}) {
    EXPECT_EQ(tool(dir, usage).status, 2) << usage;
  }
  run = tool(dir, "--help");
  EXPECT_EQ(run.status, 0);
  for (const char* command : {"import", "export", "tree", "find", "index", "lookup", "keys",
                              "indexes", "stats", "check"}) {
    EXPECT_NE(run.out.find(std::string("qmdb ") + command + " "), std::string::npos) << command;
  }
  run = tool(dir, "import --help");
  EXPECT_EQ(run.status, 0);
  EXPECT_NE(run.out.find("type code 1 and class code 1"), std::string::npos);
  EXPECT_NE(run.out.find("\"#comment\""), std::string::npos);
}

TEST(Tool, StandardStreamsEncodingsVersionAndHelp) {
  TempDir dir;
  // "-" reads the document from standard input and writes it to standard output.
  Outcome run = shell(dir, "printf '<a n=\"\xc3\xa9\">caf\xc3\xa9 \xe2\x82\xac</a>' | " +
                               quote(QMDB_TOOL_PATH) + " import - db.qmb");
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.out, "db.qmb: 1 elements, 1 texts, 1 attributes, 0 pis\n");
  run = tool(dir, "export db.qmb - --encoding ISO-8859-1");
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.out,
            "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\n<a n=\"\xe9\">caf\xe9 &#8364;</a>\n");
  run = tool(dir, "export db.qmb --node 2");
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.err, "qmdb: db.qmb: no object 2\n");

  run = tool(dir, "--version");
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.out.rfind("qmdb 3.", 0), 0u) << run.out;
  EXPECT_NE(run.out.find(" (library 3.2d)\n"), std::string::npos) << run.out;
  run = tool(dir, "help export");
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.out, tool(dir, "export --help").out);
  EXPECT_NE(run.out.find("--encoding ENC"), std::string::npos);
}

TEST(Tool, FindsIndexesAndLooksUp) {
  TempDir dir;
  writeText(dir.file("zoo.xml"),
            "<zoo><animal id=\"b2\" kind=\"bird\">Owl</animal><animal id=\"a1\" kind=\"cat\">Ly"
            "nx\nof the north</animal><Animal id=\"c3\">Wolf</Animal><?feed at=\"noon\"?></zoo>");
  writeText(dir.file("indented.xml"), "<a>\n <b/>\n</a>");
  ASSERT_EQ(tool(dir, "import zoo.xml zoo.qmb").out,
            "zoo.qmb: 4 elements, 3 texts, 5 attributes, 1 pis\n");
  ASSERT_EQ(tool(dir, "import indented.xml indented.qmb").status, 0);
  // Each command in turn (the indexes build on each other), with its output.
  const std::pair<const char*, const char*> commands[] = {
      {"find zoo.qmb zoo/animal", "#\tnode\tanimal\tOwl\n#\tnode\tanimal\tLynx of the north\n"},
      {"find zoo.qmb zoo/ANIMAL -i",
       "#\tnode\tanimal\tOwl\n#\tnode\tanimal\tLynx of the north\n#\tnode\tAnimal\tWolf\n"},
      {"find zoo.qmb .../Animal/*", "#\tstring\t-\tWolf\n"},
      {"find zoo.qmb zoo/feed", "#\tpi\tfeed\tat=\"noon\"\n"},
      {"find zoo.qmb zoo/nothing", ""},
      {"tree zoo.qmb",
       "zoo\n  animal id=\"b2\" kind=\"bird\"\n    \"Owl\"\n"
       "  animal id=\"a1\" kind=\"cat\"\n    \"Lynx\\nof the north\"\n"
       "  Animal id=\"c3\"\n    \"Wolf\"\n  <?feed at=\"noon\"?>\n"},
      {"tree zoo.qmb zoo/Animal", "Animal id=\"c3\"\n  \"Wolf\"\n"},
      {"tree indented.qmb", "a\n  b\n"},
      {"tree indented.qmb --whitespace", "a\n  \"\\n \"\n  b\n  \"\\n\"\n"},
      {"index zoo.qmb kinds zoo/* --key @kind",
       "kinds: 2 indexed, 2 skipped (no attribute kind)\n"},
      {"index zoo.qmb ids zoo/* --key @id", "ids: 3 indexed, 1 skipped (no attribute id)\n"},
      {"index zoo.qmb names .../*", "names: 8 indexed, 0 skipped (no text)\n"},
      {"keys zoo.qmb ids", "a1\nb2\nc3\n"},
      {"keys zoo.qmb names", "Animal\nLynx\nof the north\nOwl\nWolf\nanimal\nfeed\nzoo\n"},
      {"lookup zoo.qmb ids b2", "#\tnode\tanimal\tOwl\n"},
      {"lookup zoo.qmb ids a b", "#\tnode\tanimal\tLynx of the north\n#\tnode\tanimal\tOwl\n"},
      {"lookup zoo.qmb ids zz", ""},
      {"indexes zoo.qmb", "kinds\t2\nids\t3\nnames\t7\n"},
      {"check zoo.qmb", "zoo.qmb: ok (8 objects, 3 indexes)\n"}};
  for (const auto& [args, expected] : commands) {
    Outcome run = tool(dir, args);
    EXPECT_EQ(run.status, 0) << args << ": " << run.err;
    std::string out =
        std::string(args).rfind("find", 0) == 0 || std::string(args).rfind("lookup", 0) == 0
            ? withoutHandles(run.out)
            : run.out;
    EXPECT_EQ(out, expected) << args;
  }
  Outcome missing = tool(dir, "lookup zoo.qmb colours red");
  EXPECT_EQ(missing.status, 1);
  EXPECT_NE(missing.err.find("no index named 'colours'"), std::string::npos);

  Outcome stats = tool(dir, "stats zoo.qmb");
  EXPECT_EQ(stats.status, 0);
  for (const char* line : {"nodes        4\n", "strings      3\n", "pis          1 (0 of them",
                           "attributes   5\n", "indexes      3\n  kinds\t2 keys\n"}) {
    EXPECT_NE(stats.out.find(line), std::string::npos) << line << stats.out;
  }
}

TEST(Tool, CheckFindsTruncatedAndCorruptedFiles) {
  TempDir dir;
  std::string xml = "<list>";
  for (int i = 0; i < 300; ++i) {
    xml += "<item n=\"" + std::to_string(i) + "\"><v>" + std::to_string(i * 7) + "</v></item>";
  }
  writeText(dir.file("list.xml"), xml + "</list>");
  ASSERT_EQ(tool(dir, "import list.xml list.qmb").status, 0);
  ASSERT_EQ(tool(dir, "index list.qmb n list/item --key @n").status, 0);
  Outcome good = tool(dir, "check list.qmb");
  EXPECT_EQ(good.status, 0);
  EXPECT_EQ(good.out, "list.qmb: ok (901 objects, 1 indexes)\n");

  std::vector<uint8_t> bytes = readFile(dir.file("list.qmb"));
  ASSERT_GT(bytes.size(), 4000u);
  writeFile(dir.file("short.qmb"), std::vector<uint8_t>(bytes.begin(), bytes.end() - 100));
  Outcome truncated = tool(dir, "check short.qmb");
  EXPECT_EQ(truncated.status, 1);
  EXPECT_EQ(truncated.out.substr(0, truncated.out.find('\n') + 1),
            "short.qmb: problem: the file lacks 100 bytes: it has " +
                std::to_string(bytes.size() - 100) + ", the header says " +
                std::to_string(bytes.size()) + "\n");
  EXPECT_NE(truncated.out.find("NOFILEREAD: Could not fread page "), std::string::npos)
      << truncated.out;
  // Bytes past the heap top are never read: a longer file is sound.
  std::vector<uint8_t> longer = bytes;
  longer.resize(bytes.size() + 100);
  writeFile(dir.file("long.qmb"), longer);
  Outcome extended = tool(dir, "check long.qmb");
  EXPECT_EQ(extended.status, 0);
  EXPECT_EQ(extended.out, "long.qmb: ok (901 objects, 1 indexes)\n");

  std::vector<uint8_t> damaged = bytes;
  std::fill(damaged.begin() + damaged.size() / 2, damaged.begin() + damaged.size() / 2 + 512, 0xFF);
  writeFile(dir.file("bad.qmb"), damaged);
  Outcome corrupted = tool(dir, "check bad.qmb");
  EXPECT_EQ(corrupted.status, 1) << corrupted.err;
  EXPECT_NE(corrupted.out.find("bad.qmb: problem: "), std::string::npos) << corrupted.out;

  // A middle item whose parent field names the first item's node record: its
  // sibling links are sound, so only the parent test can see it.
  std::string items = tool(dir, "find list.qmb list/item").out;
  long first = std::stol(items), second = std::stol(items.substr(items.find('\n') + 1));
  damaged = bytes;
  int32_t firstRecord = word(bytes, static_cast<size_t>(first) + 16);
  for (int i = 0; i < 4; ++i)
    damaged[second + 8 + i] = static_cast<uint8_t>(firstRecord >> (8 * i));
  writeFile(dir.file("bad.qmb"), damaged);
  EXPECT_EQ(tool(dir, "check bad.qmb").out,
            "bad.qmb: problem: object " + std::to_string(second) + " names " +
                std::to_string(first) + " as its parent, but it is in the list of node 60\n");

  // Small damage anywhere past the header: a verdict or a clean failure, never a crash.
  for (size_t offset = 40; offset + 16 < bytes.size(); offset += bytes.size() / 17) {
    for (uint8_t fill : {0x00, 0x5A}) {
      damaged = bytes;
      std::fill(damaged.begin() + offset, damaged.begin() + offset + 16, fill);
      writeFile(dir.file("bad.qmb"), damaged);
      for (const char* command : {"check bad.qmb", "tree bad.qmb", "export bad.qmb"}) {
        Outcome run = tool(dir, command);
        EXPECT_TRUE(run.status == 0 || run.status == 1) << command << " " << offset << run.err;
      }
    }
  }
}

TEST(Tool, XPathPrintsNodesAndValuesAndFindPointsToIt) {
  TempDir dir;
  writeText(
      dir.file("zoo.xml"),
      "<zoo><!--keepers--><animal id=\"b2\" kind=\"b&lt;&quot;d\">Owl</animal><animal id=\"a1\">"
      "Lynx\tcat</animal><Animal id=\"c3\">Wolf</Animal></zoo>");
  ASSERT_EQ(tool(dir, "import zoo.xml zoo.qmb --comments").status, 0);
  EXPECT_EQ(withoutHandles(tool(dir, "xpath zoo.qmb '//animal[@id=$i]' --var i=a1").out),
            "#\tnode\tanimal\tLynx cat\n");
  EXPECT_EQ(withoutHandles(tool(dir, "xpath zoo.qmb '//animal/@*'").out),
            "#\tattribute\tid\tb2\n#\tattribute\tkind\tb<\"d\n#\tattribute\tid\ta1\n");
  EXPECT_EQ(withoutHandles(tool(dir, "xpath zoo.qmb '//text()'").out),
            "#\tstring\t-\tOwl\n#\tstring\t-\tLynx\\tcat\n#\tstring\t-\tWolf\n");
  EXPECT_EQ(tool(dir, "xpath zoo.qmb 'count(//*[@id])'").out, "3\n");
  EXPECT_EQ(tool(dir, "xpath zoo.qmb 'string(//Animal)' --json").out, "\"Wolf\"\n");
  EXPECT_EQ(tool(dir, "xpath zoo.qmb '1 div 0' --json").out, "\"Infinity\"\n");
  EXPECT_EQ(tool(dir, "xpath zoo.qmb '//animal[2]/@id = \"a1\"'").out, "true\n");
  EXPECT_EQ(withoutDigits(tool(dir, "xpath zoo.qmb '//comment() | //animal[2]/text()' --json").out),
            "{\"handle\":,\"kind\":\"comment\",\"value\":\"keepers\"}\n"
            "{\"handle\":,\"kind\":\"string\",\"value\":\"Lynx\\tcat\"}\n");

  EXPECT_EQ(tool(dir, "xpath zoo.qmb '//comment() | //animal[1] | //animal/@kind' --xml").out,
            "<!--keepers-->\n<animal id=\"b2\" "
            "kind=\"b&lt;&quot;d\">Owl</animal>\nkind=\"b&lt;&quot;d\"\n");
  EXPECT_EQ(tool(dir, "xpath zoo.qmb '//animal[2]/text()' --xml").out, "Lynx\tcat\n");

  Outcome bad = tool(dir, "xpath zoo.qmb '//animal[@id='");
  EXPECT_EQ(bad.status, 2);
  EXPECT_EQ(bad.err,
            "qmdb xpath: expected an expression at the end\n  //animal[@id=\n               ^\n");
  EXPECT_EQ(tool(dir, "xpath zoo.qmb '$nothing'").status, 2);
  EXPECT_EQ(tool(dir, "xpath missing.qmb '/'").status, 1);

  // find keeps its own path language, and says where XPath is spoken.
  for (const char* path : {"//animal", "zoo/animal[1]", "zoo/@id", "/zoo"}) {
    Outcome run = tool(dir, std::string("find zoo.qmb '") + path + "'");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, "");
    EXPECT_NE(run.err.find("try: qmdb xpath zoo.qmb '" + std::string(path) + "'"),
              std::string::npos)
        << path;
  }
  EXPECT_EQ(tool(dir, "find zoo.qmb zoo/nothing").err, "");
  EXPECT_EQ(tool(dir, "find zoo.qmb zoo/animal").err, "");
}

}  // namespace
}  // namespace qmdb::test
