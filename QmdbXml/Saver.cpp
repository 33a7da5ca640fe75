// Saving: walks the objects in document order and writes them as XML through
// an Output. A first walk gathers the entities that the written objects
// reference, so that the DOCTYPE (written from the #doctype pi, or made up
// before the first element when there is none) declares each of them that
// its internal subset does not declare already.
#include <Qmdb/QmdbXml>

#include "Declarations.h"
#include "Errors.h"
#include "Output.h"

#include <cstdio>
#include <fstream>
#include <map>

namespace qmdbxml {
namespace {

using QmdbXml::Result;
using QmdbXml::SaveOptions;

std::string copy(const char* text) {
  return text != nullptr ? text : "";
}

// The walk over `node` and what is below it, in document order with end
// positions; `visit` is given each position and gives false to stop.
template <typename Visit>
bool walk(Qmdb& db, long node, Visit visit) {
  long steps = 2 * (db.getSize() / 16) + 16;
  long p = node == 1 ? db.next(1, QmdbTree) : node;
  while (p != 0) {
    if (--steps < 0) return false;
    bool isNode = p > 0 && db.objectType(p) == QmdbNode;
    bool leaf = p > 0 && (!isNode || db.first(p) == 0);
    if (!visit(p)) return true;
    if (p == -node || (p == node && leaf)) return true;
    if (leaf && isNode) p = -p;  // an empty node's end position follows at once: step past it
    p = db.next(p, QmdbTree);
  }
  return node == 1;
}

class Saver {
 public:
  /// `topLevel`: the whole document is written, each top-level object on a line.
  Saver(Qmdb& db, Output& out, bool topLevel) : db_(db), out_(out), topLevel_(topLevel) {}

  bool save(const SaveOptions& options, long node) {
    if (!out_.open(options.encoding, error_)) return false;
    if (!gatherEntities(node)) return false;
    if (options.declaration) {
      if (!put("<?xml version=\"1.0\" encoding=\"" + options.encoding + "\"?>\n", false))
        return false;
    }
    long depth = 0;
    bool ok = true;
    bool complete = walk(db_, node, [&](long p) {
      // Unparsed entities and a #doctype pi below the top write nothing.
      bool silent =
          p > 0 && ((db_.objectType(p) == QmdbEntity &&
                     static_cast<long>(db_.entityType(p)) == QmdbXml::kExternalUnparsedEntity) ||
                    (db_.objectType(p) == QmdbPi && depth > 0 &&
                     copy(db_.getId(p)) == QmdbXml::kDoctypeTarget));
      if (p < 0) {
        ok = endTag(-p);
        --depth;
      } else {
        switch (db_.objectType(p)) {
          case QmdbNode: {
            if (depth == 0 && !doctypeWritten_ && !declarations_.empty()) {
              ok = doctype(copy(db_.getGid(p)), p);
              if (!ok) return false;
            }
            bool empty = db_.first(p) == 0;
            ok = startTag(p, empty);
            if (!empty) ++depth;
            break;
          }
          case QmdbString:
            ok = text(p, copy(db_.getValue(p)), false);
            break;
          case QmdbEntity:
            ok = entity(p);
            break;
          case QmdbPi:
            ok = pi(p, depth);
            break;
          default:
            ok = false;
            error_ = "object " + std::to_string(p) + " is of no known kind";
        }
      }
      if (ok && depth == 0 && topLevel_ && !silent) ok = put("\n", false);
      return ok;
    });
    if (!ok) return false;
    if (!complete || !db_.isValid()) {
      error_ = "the document tree is damaged";
      return false;
    }
    if (!out_.finish()) {
      error_ = "cannot write";
      return false;
    }
    return true;
  }

  const std::string& error() const { return error_; }

 private:
  bool put(const std::string& text, bool references) {
    if (out_.write(text, references, error_)) return true;
    if (error_.empty()) error_ = "cannot write";
    return false;
  }

  // Checks a text of object `p` before it is written.
  bool valid(long p, const std::string& text) {
    size_t bad = badCharacter(text);
    if (bad == std::string::npos) return true;
    unsigned char c = static_cast<unsigned char>(text[bad]);
    error_ = "object " + std::to_string(p) +
             (c < 0x20 && c != 0 ? ": holds a control character XML cannot carry at byte "
                                 : ": text is not valid UTF-8 (or not an XML character) at byte ") +
             std::to_string(bad);
    return false;
  }

  bool markup(long p, const std::string& text) {
    if (!valid(p, text)) return false;
    if (put(text, false)) return true;
    error_ = "object " + std::to_string(p) + ": " + error_;
    return false;
  }

  bool text(long p, const std::string& value, bool inAttribute) {
    if (!valid(p, value)) return false;
    return put(escaped(value, inAttribute), true);
  }

  bool startTag(long p, bool empty) {
    std::string gid = copy(db_.getGid(p));
    if (gid.empty()) return true;  // a node without gid stands for its content alone
    if (!markup(p, "<" + gid)) return false;
    long limit = db_.getSize() / 16;
    for (long a = db_.attribute(p, nullptr, QmdbNoAttributeType, QmdbNoAttributeClass, true);
         a != 0 && limit-- > 0; a = db_.nextAttribute(a)) {
      std::string name = copy(db_.attrName(a));
      if (name.empty()) continue;
      if (!markup(p, " " + name + "=\"") || !text(p, copy(db_.attrValue(a)), true) ||
          !put("\"", false)) {
        return false;
      }
    }
    return put(empty ? "/>" : ">", false);
  }

  bool endTag(long p) {
    std::string gid = copy(db_.getGid(p));
    return gid.empty() || markup(p, "</" + gid + ">");
  }

  bool entity(long p) {
    long type = static_cast<long>(db_.entityType(p));
    if (type == QmdbXml::kExternalUnparsedEntity) return true;  // declared, never referenced
    std::string name = copy(db_.getId(p));
    if (name.empty()) return text(p, copy(db_.getValue(p)), false);
    return markup(p, "&" + name + ";");
  }

  bool pi(long p, long depth) {
    std::string target = copy(db_.getId(p));
    std::string data = copy(db_.getValue(p));
    if (target == QmdbXml::kCommentTarget) {
      if (data.find("--") != std::string::npos || (!data.empty() && data.back() == '-')) {
        error_ = "object " + std::to_string(p) + ": a comment cannot hold \"--\" or end with \"-\"";
        return false;
      }
      return markup(p, "<!--" + data + "-->");
    }
    if (target == QmdbXml::kDoctypeTarget) {
      if (depth != 0 || doctypeWritten_) return true;
      return doctypeFromPi(p, data);
    }
    if (data.find("?>") != std::string::npos) {
      error_ = "object " + std::to_string(p) + ": a pi cannot hold \"?>\"";
      return false;
    }
    return markup(p, "<?" + target + (data.empty() ? "" : " " + data) + "?>");
  }

  // The declarations of the gathered entities that `subset` does not declare.
  std::string missingDeclarations(const std::string& subset) const {
    std::string out;
    for (const auto& declaration : declarations_) {
      if (subset.find("<!ENTITY " + declaration.first + " ") != std::string::npos) continue;
      out += declaration.second + "\n";
    }
    return out;
  }

  bool doctypeFromPi(long p, const std::string& data) {
    doctypeWritten_ = true;
    std::string extra = missingDeclarations(data);
    std::string body = data;
    if (!extra.empty()) {
      size_t close = body.rfind(']');
      if (!body.empty() && close != std::string::npos && body.find('[') != std::string::npos &&
          body.find_first_not_of(" \t\r\n", close + 1) == std::string::npos) {
        body.insert(close, extra);
      } else {
        body += " [\n" + extra + "]";
      }
    }
    return markup(p, "<!DOCTYPE " + body + ">");
  }

  bool doctype(const std::string& name, long p) {
    doctypeWritten_ = true;
    if (!markup(p, "<!DOCTYPE " + name + " [\n" + missingDeclarations("") + "]>")) return false;
    return put("\n", false);
  }

  // Notes a declaration for each entity object below `node` that has a value
  // (an internal entity with that replacement text means the same wherever
  // the document goes) and for each unparsed entity at the top.
  bool gatherEntities(long node) {
    return walk(db_, node,
                [&](long p) {
                  if (p <= 0 || db_.objectType(p) != QmdbEntity) return true;
                  std::string name = copy(db_.getId(p));
                  if (name.empty() || declarations_.count(name) != 0) return true;
                  long type = static_cast<long>(db_.entityType(p));
                  if (type == QmdbXml::kExternalUnparsedEntity) {
                    long a = db_.attribute(p, "declaration", QmdbNoAttributeType,
                                           QmdbNoAttributeClass, true);
                    if (a != 0) declarations_[name] = copy(db_.attrValue(a));
                    return true;
                  }
                  const char* value = db_.getValue(p);
                  if (value == nullptr) return true;  // unresolved: written back as it stood
                  std::string v = value;
                  if (!valid(p, v)) return false;
                  declarations_[name] = "<!ENTITY " + name + " " + characterDataLiteral(v) + ">";
                  return true;
                }) &&
           error_.empty();
  }

  Qmdb& db_;
  Output& out_;
  bool topLevel_;
  std::string error_;
  bool doctypeWritten_ = false;
  std::map<std::string, std::string> declarations_;  // entity name -> its declaration
};

Result failed(const std::string& message) {
  Result result;
  result.ok = false;
  result.message = message;
  return result;
}

Result saveTo(Qmdb& db, std::ostream& stream, const SaveOptions& options, long node,
              const std::string& name) {
  if (!db.isValid()) return failed(name + ": the database is not usable");
  Output out(stream);
  Saver saver(db, out, node == 1);
  return saver.save(options, node) ? Result() : failed(name + ": " + saver.error());
}

}  // namespace
}  // namespace qmdbxml

namespace QmdbXml {

Result saveStream(Qmdb& db, std::ostream& out, const SaveOptions& options, long node) {
  return qmdbxml::saveTo(db, out, options, node, "output");
}

Result saveFile(Qmdb& db, const std::string& path, const SaveOptions& options, long node) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  if (!file) return qmdbxml::failed(path + ": cannot open for writing");
  Result result = qmdbxml::saveTo(db, file, options, node, path);
  file.close();
  if (result.ok && !file) result = qmdbxml::failed(path + ": cannot write");
  if (!result.ok) remove(path.c_str());
  return result;
}

std::string escape(const std::string& text, bool inAttribute) {
  return qmdbxml::escaped(text, inAttribute);
}

}  // namespace QmdbXml
