// QmdbXml: documents in several encodings, DTDs, catalogs, entities, comments
// and long texts loaded and saved; canonical forms of input and output agree.
#include <Qmdb/QmdbXml>

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <sstream>

namespace {

// A fresh folder, removed with everything in it at the end.
struct TempDir {
  std::string path = (std::filesystem::temp_directory_path() / "qmdbxml-XXXXXX").string();
  TempDir() {
    if (mkdtemp(&path[0]) == nullptr) path.clear();
  }
  ~TempDir() {
    std::error_code ignored;
    if (!path.empty()) std::filesystem::remove_all(path, ignored);
  }
  std::string file(const std::string& name) const { return path + "/" + name; }
};

void writeText(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

std::string slurp(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

const std::string kData = QMDBXML_TEST_DATA;

std::string copy(const char* text) {
  return text != nullptr ? text : "<null>";
}

// The objects below `parent` as one line: nodes as gid(children) with
// [name=value ...] attributes, strings quoted, entities as
// &name=value:type (no value: &name:type), pis as ?target=data.
std::string render(Qmdb& db, long parent) {
  std::string out;
  for (long c = db.first(parent); c != 0; c = db.next(c, QmdbSiblings)) {
    if (!out.empty()) out += ",";
    switch (db.objectType(c)) {
      case QmdbNode: {
        out += copy(db.getGid(c));
        std::string attributes;
        for (long a = db.attribute(c, nullptr, QmdbNoAttributeType, QmdbNoAttributeClass, true);
             a != 0; a = db.nextAttribute(a)) {
          attributes +=
              (attributes.empty() ? "" : " ") + copy(db.attrName(a)) + "=" + copy(db.attrValue(a));
          EXPECT_EQ(db.attrType(a), 1);
          EXPECT_EQ(db.attrClass(a), 1);
        }
        if (!attributes.empty()) out += "[" + attributes + "]";
        if (db.first(c) != 0) out += "(" + render(db, c) + ")";
        break;
      }
      case QmdbString:
        out += "'" + copy(db.getValue(c)) + "'";
        break;
      case QmdbEntity: {
        out += "&" + copy(db.getId(c));
        if (db.getValue(c) != nullptr) out += "=" + copy(db.getValue(c));
        if (db.getNotation(c) != nullptr) out += " NDATA " + copy(db.getNotation(c));
        out += ":" + std::to_string(static_cast<long>(db.entityType(c)));
        break;
      }
      case QmdbPi:
        out += "?" + copy(db.getId(c)) + "=" + copy(db.getValue(c));
        break;
      default:
        out += "<dead>";
    }
  }
  return out;
}

// The top level rendered from after the doctype pi on.
std::string afterDoctype(Qmdb& db) {
  std::string all = render(db, 1);
  return all.substr(all.find("],") + 2);
}

// The canonical form of a document (external DTDs and entities read).
std::string canonical(const std::string& path, bool noent) {
  std::string command =
      "xmllint --nonet --c14n " + std::string(noent ? "--noent '" : "'") + path + "' 2>/dev/null";
  FILE* pipe = popen(command.c_str(), "r");
  std::string out;
  char buffer[4096];
  for (size_t n; pipe != nullptr && (n = fread(buffer, 1, sizeof buffer, pipe)) > 0;)
    out.append(buffer, n);
  return pipe != nullptr && pclose(pipe) == 0 ? out : "<failed: " + command + ">";
}

// The strings below `parent` joined, each checked to be a string.
std::string joinedStrings(Qmdb& db, long parent) {
  std::string joined;
  for (long s = db.first(parent); s != 0; s = db.next(s, QmdbSiblings)) {
    EXPECT_EQ(db.objectType(s), QmdbString);
    joined += copy(db.getValue(s));
  }
  return joined;
}

class XmlTest : public ::testing::Test {
 protected:
  // Loads a data file into a new database, saves it beside, and checks that
  // both canonical forms agree; gives the database's objects rendered.
  std::string roundTrip(const std::string& name, const QmdbXml::SaveOptions& save = {}) {
    Qmdb db(dir.file(name + ".qmb").c_str(), QmdbFileWrite);
    QmdbXml::Result loaded = QmdbXml::loadFile(db, kData + "/" + name);
    EXPECT_TRUE(loaded.ok) << loaded.message;
    std::string out = dir.file(name + ".out.xml");
    QmdbXml::Result saved = QmdbXml::saveFile(db, out, save);
    EXPECT_TRUE(saved.ok) << saved.message;
    for (bool noent : {false, true}) {
      std::string expected = canonical(kData + "/" + name, noent);
      EXPECT_EQ(canonical(out, noent), expected) << name << (noent ? " --noent" : "");
      EXPECT_EQ(expected.find("<failed"), std::string::npos);
    }
    return render(db, 1);
  }

  // A document loaded into a new database of its own: a data file, or the
  // text `xml` (named `name`) into pages of `pageSize` bytes.
  struct Loaded {
    std::unique_ptr<Qmdb> db;
    QmdbXml::Result result;
  };
  Loaded load(const std::string& name, const QmdbXml::LoadOptions& options = {}) {
    Loaded loaded{fresh(0), {}};
    loaded.result = QmdbXml::loadFile(*loaded.db, kData + "/" + name, options);
    return loaded;
  }
  Loaded loadText(const std::string& xml, const std::string& name = "text.xml", long pageSize = 0) {
    Loaded loaded{fresh(pageSize), {}};
    loaded.result = QmdbXml::loadMemory(*loaded.db, xml.data(), xml.size(), name);
    EXPECT_TRUE(loaded.result.ok) << loaded.result.message;
    return loaded;
  }
  std::unique_ptr<Qmdb> fresh(long pageSize) {
    return std::make_unique<Qmdb>(dir.file(std::to_string(++databases) + ".qmb").c_str(),
                                  QmdbFileWrite, 0, pageSize);
  }

  // The options that load as the defaults do but for one switch.
  static QmdbXml::LoadOptions with(bool QmdbXml::LoadOptions::*option, bool value) {
    QmdbXml::LoadOptions options;
    options.*option = value;
    return options;
  }

  TempDir dir;
  int databases = 0;
};

// `node` written as XML without the declaration; "<failed>" when the save fails.
std::string saved(Qmdb& db, long node = 1) {
  std::ostringstream out;
  QmdbXml::SaveOptions plain;
  plain.declaration = false;
  return QmdbXml::saveStream(db, out, plain, node).ok ? out.str() : "<failed>";
}

TEST_F(XmlTest, EncodingsAreReadAndWrittenBack) {
  EXPECT_EQ(roundTrip("latin1.xml"), "menu[lang=fr]('Caf\xC3\xA9 cr\xC3\xA8me \xC3\xA0 0')");
  EXPECT_EQ(roundTrip("sjis.xml"),
            "\xE6\x96\x87\xE6\x9B\xB8[\xE7\xA8\xAE\xE9\xA1\x9E=\xE6\x89\x8B\xE7\xB4\x99]("
            "'\xE6\x97\xA5\xE6\x9C\xAC\xE8\xAA\x9E\xE3\x81\xAE\xE3\x83\x86\xE3\x82\xAD\xE3\x82\xB9"
            "\xE3\x83\x88')");
  EXPECT_EQ(roundTrip("utf16.xml"),
            "greeting[who=\xCE\xA9]('Gr\xC3\xBC\xC3\x9F"
            "e aus \xE6\x9D\xB1\xE4\xBA\xAC')");

  // Written in other encodings: what the encoding lacks becomes a character
  // reference in text, and is refused in a name.
  QmdbXml::SaveOptions latin1;
  latin1.encoding = "ISO-8859-1";
  roundTrip("utf16.xml", latin1);
  EXPECT_EQ(slurp(dir.file("utf16.xml.out.xml")),
            "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\n"
            "<greeting who=\"&#937;\">Gr\xFC\xDF"
            "e aus &#26481;&#20140;</greeting>\n");
  QmdbXml::SaveOptions sjis;
  sjis.encoding = "Shift_JIS";
  roundTrip("sjis.xml", sjis);
  roundTrip("utf16.xml", sjis);
  Loaded names = load("sjis.xml");
  ASSERT_TRUE(names.result.ok);
  std::ostringstream out;
  QmdbXml::Result refused = QmdbXml::saveStream(*names.db, out, latin1);
  EXPECT_FALSE(refused.ok);
  EXPECT_NE(refused.message.find("U+6587 cannot be written in ISO-8859-1"), std::string::npos)
      << refused.message;
  QmdbXml::SaveOptions unknown;
  unknown.encoding = "NO-SUCH-ENCODING";
  EXPECT_EQ(QmdbXml::saveStream(*names.db, out, unknown).message,
            "output: unknown encoding NO-SUCH-ENCODING");
}

TEST_F(XmlTest, InternalSubsetIsKeptWithEntitiesDefaultsAndComments) {
  EXPECT_EQ(roundTrip("subset.xml"),
            "?#comment= a comment before the doctype ,"
            "?#doctype=report [\n"
            "<!-- a comment inside the DTD -->\n"
            "<!ENTITY author \"Ada Lovelace\">\n"
            "<!ENTITY copy \"\xC2\xA9\">\n"
            "<!ENTITY sig \"<signed by='&author;'>&author;</signed>\">\n"
            "<!ELEMENT report (title,para*,signed?)>\n"
            "<!ATTLIST report status (draft|final) \"draft\">\n"
            "<!ATTLIST report version CDATA #FIXED \"2\">\n"
            "<!ATTLIST para id ID #IMPLIED>\n"
            "<?dtd-pi kept?>\n"
            "],"
            "report[status=draft version=2]('\n  ',title('Notes ',&copy=\xC2\xA9:1,' ',"
            "&author=Ada Lovelace:1),'\n  ',para[id=p1]('Tom & Jerry <3 <raw> & ]]>'),'\n  ',"
            "?#comment= a comment inside the document ,'\n  ',?render=mode=\"fast\",'\n  ',"
            "signed[by=Ada Lovelace]('Ada Lovelace'),'\n'),"
            "?#comment= after ");

  // Without comments, the DTD, or its defaults.
  QmdbXml::LoadOptions bare = with(&QmdbXml::LoadOptions::comments, false);
  bare.defaultAttributes = false;
  Loaded loaded = load("subset.xml", bare);
  ASSERT_TRUE(loaded.result.ok);
  std::string rendered = render(*loaded.db, 1);
  EXPECT_EQ(rendered.find("#comment"), std::string::npos);
  EXPECT_EQ(rendered.find("status=draft"), std::string::npos);
  EXPECT_NE(rendered.find("<!-- a comment inside the DTD -->"), std::string::npos);
}

TEST_F(XmlTest, ExternalDtdAndEntitiesBesideTheDocument) {
  EXPECT_EQ(roundTrip("ext.xml"),
            "?#doctype=book SYSTEM \"" + kData +
                "/ext.dtd\","
                "book[edition=first](&product=Qmdb:1,' ',"
                "&chapter=Chapter text from a file, \xC3\xA9t\xC3\xA9.:2,'\n',"
                "row(cell('1'),cell('Qmdb')))");

  // Not reading external entities keeps them unresolved, with a warning;
  // not reading the DTD leaves its entities undeclared.
  Loaded noExternal = load("ext.xml", with(&QmdbXml::LoadOptions::externalEntities, false));
  const QmdbXml::Result& result = noExternal.result;
  ASSERT_TRUE(result.ok) << result.message;
  Qmdb& db = *noExternal.db;
  EXPECT_EQ(render(db, db.last(1)), "&product=Qmdb:1,' ',&chapter:2,'\n',&table:2");
  ASSERT_EQ(result.warnings.size(), 2u);
  EXPECT_EQ(result.warnings[0], kData +
                                    "/ext.xml:3:26: unresolved entity &chapter; "
                                    "(external entities are not loaded)");
  Loaded noDtd = load("ext.xml", with(&QmdbXml::LoadOptions::loadDtd, false));
  ASSERT_TRUE(noDtd.result.ok) << noDtd.result.message;
  EXPECT_EQ(render(*noDtd.db, noDtd.db->last(1)), "&product:4,' ',&chapter:4,'\n',&table:4");
}

TEST_F(XmlTest, CatalogMapsAPublicIdentifierToALocalDtd) {
  // XML_CATALOG_FILES names tests/xml/data/catalog.xml (set by the test's
  // environment); the system identifier names a host that does not exist.
  EXPECT_EQ(roundTrip("catalogued.xml"),
            "?#doctype=note PUBLIC \"-//Qmdb//DTD Catalogued//EN\" "
            "\"http://qmdb.invalid/not-there.dtd\","
            "note[checked=yes](&motto=found through the catalog:1)");
}

TEST_F(XmlTest, UnresolvedEntitiesAreKeptOrRefused) {
  Loaded loaded = load("unresolved.xml");
  Qmdb& db = *loaded.db;
  QmdbXml::Result result = loaded.result;
  ASSERT_TRUE(result.ok) << result.message;
  EXPECT_EQ(render(db, db.last(1)), "'Price: 10',&euro:4,' ',&nbsp:4");
  ASSERT_EQ(result.warnings.size(), 3u);
  EXPECT_NE(result.warnings[0].find("missing.dtd"), std::string::npos);
  EXPECT_EQ(result.warnings[1],
            kData + "/unresolved.xml:3:22: unresolved entity &euro; (not declared)");
  // Written back exactly as they stood.
  EXPECT_EQ(saved(db, db.last(1)), "<page>Price: 10&euro; &nbsp;</page>");

  result =
      load("unresolved.xml", with(&QmdbXml::LoadOptions::unresolvedEntityIsError, true)).result;
  EXPECT_FALSE(result.ok);
  EXPECT_EQ(result.message,
            kData + "/unresolved.xml:3:22: unresolved entity &euro; (not declared)");
}

TEST_F(XmlTest, UnparsedEntityWithNotation) {
  roundTrip("unparsed.xml");
  Loaded loaded = load("unparsed.xml");
  ASSERT_TRUE(loaded.result.ok);
  Qmdb& db = *loaded.db;
  EXPECT_EQ(afterDoctype(db), "&logo=" + kData + "/logo.png NDATA png:3,gallery(image[src=logo])");
  long logo = db.next(db.first(1), QmdbSiblings);
  long declaration =
      db.attribute(logo, "declaration", QmdbNoAttributeType, QmdbNoAttributeClass, true);
  EXPECT_EQ(copy(db.attrValue(declaration)),
            "<!NOTATION png PUBLIC \"-//Qmdb//NOTATION PNG//EN\" \"image/png\">\n"
            "<!ENTITY logo SYSTEM \"" +
                kData + "/logo.png\" NDATA png>");
  // Saving the element alone still declares the entity and its notation.
  db.dropObject(db.first(1));  // the doctype pi
  EXPECT_EQ(saved(db),
            "<!DOCTYPE gallery [\n"
            "<!NOTATION png PUBLIC \"-//Qmdb//NOTATION PNG//EN\" \"image/png\">\n"
            "<!ENTITY logo SYSTEM \"" +
                kData +
                "/logo.png\" NDATA png>\n]>\n"
                "<gallery><image src=\"logo\"/></gallery>\n");
}

TEST_F(XmlTest, LongTextsAreCutIntoPagesAndJoinedAgain) {
  // Pages of 1024 bytes hold 1023 bytes of text; cuts fall between UTF-8 sequences.
  std::string text;
  for (int i = 0; i < 1500; ++i) text += (i % 3 == 0) ? "\xC3\xA9" : "ab";
  std::string xml = "<t>" + text + "</t>";
  Loaded loaded = loadText(xml, "long.xml", 1024);
  Qmdb& db = *loaded.db;
  for (long s = db.first(db.first(1)); s != 0; s = db.next(s, QmdbSiblings)) {
    std::string piece = copy(db.getValue(s));
    EXPECT_LE(piece.size(), 1023u);
    EXPECT_NE(static_cast<unsigned char>(piece[0]) & 0xC0, 0x80);
  }
  EXPECT_EQ(db.count(db.first(1), QmdbSiblings), 3);
  EXPECT_EQ(loaded.result.counts.texts, 3);
  EXPECT_EQ(joinedStrings(db, db.first(1)), text);
  EXPECT_EQ(saved(db), xml + "\n");
}

TEST_F(XmlTest, MalformedInputAndBadTextAreErrors) {
  Qmdb db(dir.file("bad.qmb").c_str(), QmdbFileWrite);
  std::istringstream in("<a>\n  <b>text</c>\n</a>");
  QmdbXml::Result result = QmdbXml::loadStream(db, in, "bad.xml");
  EXPECT_FALSE(result.ok);
  EXPECT_EQ(result.message, "bad.xml:2:14: Opening and ending tag mismatch: b line 2 and c");
  EXPECT_EQ(QmdbXml::loadFile(db, dir.file("none.xml")).message,
            dir.file("none.xml") + ":0:0: No such file or directory");

  // A text that is not UTF-8, or holds a character XML cannot carry, is
  // never written: the save fails naming the object, and leaves no file.
  Qmdb made(dir.file("made.qmb").c_str(), QmdbFileWrite);
  long root = made.addNode(1, "r");
  made.addString(root, "fine");
  long bad = made.addString(root, "caf\xE9");
  std::string path = dir.file("made.xml");
  result = QmdbXml::saveFile(made, path);
  EXPECT_EQ(result.message, path + ": object " + std::to_string(bad) +
                                ": text is not valid UTF-8 (or not an XML character) at byte 3");
  EXPECT_FALSE(std::filesystem::exists(path));
  made.setValue(bad, "bell\x07");
  result = QmdbXml::saveFile(made, path);
  EXPECT_NE(result.message.find("object " + std::to_string(bad) + ": holds a control character"),
            std::string::npos);
  made.setValue(bad, "ok");
  long comment = made.addPi(root, "#comment", "a -- b");
  EXPECT_EQ(QmdbXml::saveFile(made, path).message,
            path + ": object " + std::to_string(comment) +
                ": a comment cannot hold \"--\" or end with \"-\"");
}

TEST_F(XmlTest, EntityExpansionBombsAreStopped) {
  // A billion "lol"s, as text and as markup: libxml2's limits stop both.
  for (const char* lol : {"lol", "<b>lol</b>"}) {
    std::string xml = std::string("<!DOCTYPE l [<!ENTITY l0 \"") + lol + "\">";
    for (int i = 1; i < 10; ++i) {
      std::string ten;
      for (int j = 0; j < 10; ++j) ten += "&l" + std::to_string(i - 1) + ";";
      xml += "<!ENTITY l" + std::to_string(i) + " \"" + ten + "\">";
    }
    xml += "]><l>&l9;</l>";
    Qmdb db(dir.file("bomb.qmb").c_str(), QmdbFileWrite);
    QmdbXml::Result result = QmdbXml::loadMemory(db, xml.data(), xml.size(), "bomb.xml");
    EXPECT_FALSE(result.ok);
    EXPECT_NE(result.message.find("Detected an entity reference loop"), std::string::npos)
        << result.message;
  }
}

TEST_F(XmlTest, LoadUnderANodeAndSaveASubtree) {
  Qmdb db(dir.file("under.qmb").c_str(), QmdbFileWrite);
  long shelf = db.addNode(1, "shelf");
  std::string one = "<book n='1'>&#x3C;one&#x3E;<?p d?></book>";
  std::string two = "<!--c--><book n='2'><e/></book>";
  ASSERT_TRUE(QmdbXml::loadMemory(db, one.data(), one.size(), "one", {}, shelf).ok);
  ASSERT_TRUE(QmdbXml::loadMemory(db, two.data(), two.size(), "two", {}, shelf).ok);
  EXPECT_EQ(render(db, 1), "shelf(book[n=1]('<one>',?p=d),?#comment=c,book[n=2](e))");
  EXPECT_EQ(saved(db, db.last(shelf)), "<book n=\"2\"><e/></book>");
  EXPECT_EQ(saved(db, db.first(db.first(shelf))), "&lt;one&gt;");
  EXPECT_EQ(QmdbXml::escape("<a&b>\"\t\n\r", false), "&lt;a&amp;b&gt;\"\t\n&#13;");
  EXPECT_EQ(QmdbXml::escape("<a&b>\"\t\n\r", true), "&lt;a&amp;b&gt;&quot;&#9;&#10;&#13;");

  // Without its doctype, an internal entity is declared again from its value.
  Loaded loaded = loadText(
      "<!DOCTYPE r [<!ENTITY e \"1&#38;#60;2&#38;#38;3&#37;4&#34;5&#38;#13;\">]><r>&e;</r>");
  loaded.db->dropObject(loaded.db->first(1));
  EXPECT_EQ(saved(*loaded.db),
            "<!DOCTYPE r [\n<!ENTITY e \"1&#38;#60;2&#38;#38;3&#37;4&#34;5&#38;#13;\">\n]>\n"
            "<r>&e;</r>\n");
}

TEST_F(XmlTest, ReferencesInNamespacesAndRelativeSystemIdentifiers) {
  // Entities expand in namespace names as in any attribute; in a value, the
  // newlines an entity brings become spaces, a written &#10; stays.
  Loaded ns = loadText(
      "<!DOCTYPE r [<!ENTITY n \"urn:x\"><!ENTITY e \"a\nb\">]>"
      "<r xmlns=\"&n;\" xmlns:p=\"&n;/p\" a=\"&n;\" x=\"&e; &amp; &#10;&lt;\"/>");
  EXPECT_EQ(afterDoctype(*ns.db), "r[xmlns=urn:x xmlns:p=urn:x/p a=urn:x x=a b & \n<]");

  // A relative system identifier of the internal subset is made absolute, so
  // that the saved document still finds the entity from another folder.
  Loaded inline_ = loadText("<!DOCTYPE d [<!ENTITY c SYSTEM \"chapter.ent\">]><d>&c;</d>",
                            kData + "/inline.xml");
  Qmdb& db = *inline_.db;
  EXPECT_EQ(copy(db.getValue(db.first(1))),
            "d [\n<!ENTITY c SYSTEM \"" + kData + "/chapter.ent\">\n]");
  std::string saved = dir.file("elsewhere.xml");
  ASSERT_TRUE(QmdbXml::saveFile(db, saved).ok);
  Qmdb again(dir.file("again.qmb").c_str(), QmdbFileWrite);
  QmdbXml::Result reloaded = QmdbXml::loadFile(again, saved);
  ASSERT_TRUE(reloaded.ok) << reloaded.message;
  EXPECT_TRUE(reloaded.warnings.empty());
  EXPECT_EQ(render(again, again.last(1)), "&c=Chapter text from a file, \xC3\xA9t\xC3\xA9.:2");
}

TEST_F(XmlTest, LargeExternalEntitiesAreLoadedInPlace) {
  // A 3000-byte text entity cannot be one value on 1024-byte pages: strings in place.
  std::string text, markup;
  for (int i = 0; i < 100; ++i) text += "line " + std::to_string(100 + i) + " of text, long. ";
  for (int i = 0; i < 300; ++i) markup += "<p n=\"" + std::to_string(i) + "\">x</p>";
  writeText(dir.file("text.ent"), text);
  writeText(dir.file("markup.ent"), markup);
  writeText(dir.file("large.xml"),
            "<!DOCTYPE d [<!ENTITY t SYSTEM \"text.ent\"><!ENTITY m SYSTEM \"markup.ent\">]>"
            "<d><a>&t;</a><b>&m;</b></d>");
  Qmdb db(dir.file("large.qmb").c_str(), QmdbFileWrite, 0, 1024);
  QmdbXml::Result result = QmdbXml::loadFile(db, dir.file("large.xml"));
  ASSERT_TRUE(result.ok) << result.message;
  long d = db.last(1);
  EXPECT_EQ(joinedStrings(db, db.first(d)), text);
  EXPECT_EQ(db.count(db.last(d), QmdbSiblings), 300);
  EXPECT_EQ(result.counts.elements, 303);
  std::string out = dir.file("large.out.xml");
  ASSERT_TRUE(QmdbXml::saveFile(db, out).ok);
  EXPECT_EQ(canonical(out, true), canonical(dir.file("large.xml"), true));
}

}  // namespace
