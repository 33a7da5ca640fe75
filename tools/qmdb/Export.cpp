// qmdb export: writes the document of a database back as UTF-8 XML, walking
// the tree in document order (a node's start, its content, its end). Texts and
// attribute values are escaped so that an XML parser reads back exactly what
// the database holds; pis with the comment target become comments again.
#include "Tool.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace qmdbtool {
namespace {

constexpr size_t kFlushSize = 64 * 1024;

// The reference that replaces `c` in character data, or in an attribute
// value in double quotes; null when `c` stands for itself. & and < would start
// markup, > could end a CDATA section, a CR would be read back as a newline,
// and in an attribute value a parser would turn a tab or newline into a space.
const char* reference(char c, bool inAttribute) {
  switch (c) {
    case '&':
      return "&amp;";
    case '<':
      return "&lt;";
    case '>':
      return "&gt;";
    case '\r':
      return "&#13;";
    case '"':
      return inAttribute ? "&quot;" : nullptr;
    case '\t':
      return inAttribute ? "&#9;" : nullptr;
    case '\n':
      return inAttribute ? "&#10;" : nullptr;
    default:
      return nullptr;
  }
}

// Gathers output and hands it to a stream in large pieces.
class XmlWriter {
 public:
  explicit XmlWriter(FILE* out) : out_(out) {}
  ~XmlWriter() { flush(); }

  void raw(const std::string& text) {
    buffer_ += text;
    if (buffer_.size() > kFlushSize) flush();
  }
  void escaped(const std::string& text, bool inAttribute) {
    for (char c : text) {
      const char* replacement = reference(c, inAttribute);
      if (replacement != nullptr) {
        buffer_ += replacement;
      } else {
        buffer_ += c;
      }
    }
    if (buffer_.size() > kFlushSize) flush();
  }
  void flush() {
    if (!buffer_.empty()) fwrite(buffer_.data(), 1, buffer_.size(), out_);
    buffer_.clear();
  }

 private:
  FILE* out_;
  std::string buffer_;
};

// Writes the start tag of a node with its attributes; `empty` closes it at once.
// A node without a gid has no tags: its content stands alone.
void startTag(Qmdb& db, XmlWriter& out, long node, bool empty) {
  std::string gid = copyText(db.getGid(node));
  if (gid.empty()) return;
  out.raw("<" + gid);
  long limit = db.getSize() / 16;
  for (long a = db.attribute(node, nullptr, QmdbNoAttributeType, QmdbNoAttributeClass, true);
       a != 0 && limit-- > 0; a = db.nextAttribute(a)) {
    std::string name = copyText(db.attrName(a));
    if (name.empty()) continue;
    out.raw(" " + name + "=\"");
    out.escaped(copyText(db.attrValue(a)), true);
    out.raw("\"");
  }
  out.raw(empty ? "/>" : ">");
}

void endTag(Qmdb& db, XmlWriter& out, long node) {
  std::string gid = copyText(db.getGid(node));
  if (!gid.empty()) out.raw("</" + gid + ">");
}

void pi(Qmdb& db, XmlWriter& out, long object) {
  std::string target = copyText(db.getId(object));
  std::string data = copyText(db.getValue(object));
  if (target == kCommentTarget) {
    out.raw("<!--" + data + "-->");
  } else {
    out.raw("<?" + target + (data.empty() ? "" : " " + data) + "?>");
  }
}

// Writes the whole document; false when the walk does not end (a damaged file).
bool writeDocument(Qmdb& db, XmlWriter& out) {
  out.raw("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n");
  long depth = 0;
  long steps = walkLimit(db);
  for (long p = db.next(1, QmdbTree); p != 0; p = db.next(p, QmdbTree)) {
    if (--steps < 0) return false;
    if (p < 0) {
      endTag(db, out, -p);
      --depth;
    } else {
      switch (db.objectType(p)) {
        case QmdbNode:
          if (db.first(p) != 0) {
            startTag(db, out, p, false);
            ++depth;
            continue;
          }
          startTag(db, out, p, true);
          p = -p;  // an empty node's end position follows at once: step past it
          break;
        case QmdbString:
        case QmdbEntity:
          out.escaped(copyText(db.getValue(p)), false);
          break;
        case QmdbPi:
          pi(db, out, p);
          break;
        default:
          return false;
      }
    }
    if (depth == 0) out.raw("\n");
  }
  return true;
}

}  // namespace

int exportCommand(const Args& args) {
  ParsedArgs parsed = parseArgs(args, {});
  if (!parsed.error.empty()) return usageError("export", parsed.error);
  if (parsed.positional.empty() || parsed.positional.size() > 2) {
    return usageError("export", "expects DB.qmb and at most one output file");
  }
  const std::string& dbName = parsed.positional[0];
  std::unique_ptr<Qmdb> db = openDatabase(dbName, QmdbFileRead);
  if (!db) return kFailure;

  bool toFile = parsed.positional.size() == 2;
  const std::string outName = toFile ? parsed.positional[1] : "standard output";
  FILE* out = toFile ? fopen(outName.c_str(), "wb") : stdout;
  if (out == nullptr) return failure(outName, strerror(errno));
  bool complete;
  {
    XmlWriter writer(out);
    complete = writeDocument(*db, writer);
  }
  bool written = fflush(out) == 0 && !ferror(out);
  if (toFile && fclose(out) != 0) written = false;
  if (!complete || !written || !db->isValid()) {
    if (toFile) remove(outName.c_str());
    if (!written) return failure(outName, "cannot write");
    return failure(dbName, "the document tree is damaged (run 'qmdb check')", db.get());
  }
  return kOk;
}

}  // namespace qmdbtool
