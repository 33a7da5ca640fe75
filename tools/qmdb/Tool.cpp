// Helpers shared by the commands of the qmdb tool: error reports, opening a
// database file, and the short one-line forms in which objects are shown.
#include "Tool.h"

#include <cstdio>

namespace qmdbtool {

ParsedArgs parseArgs(const Args& args, const std::set<std::string>& flags,
                     const std::set<std::string>& valued) {
  ParsedArgs parsed;
  bool optionsEnded = false;
  for (size_t i = 0; i < args.size(); ++i) {
    const std::string& arg = args[i];
    if (optionsEnded || arg.size() < 2 || arg[0] != '-') {
      parsed.positional.push_back(arg);
    } else if (arg == "--") {
      optionsEnded = true;
    } else if (flags.count(arg) != 0) {
      parsed.options[arg] = "";
    } else if (valued.count(arg) != 0 && i + 1 < args.size()) {
      parsed.options[arg] = args[++i];
    } else if (valued.count(arg) != 0) {
      parsed.error = "option " + arg + " needs a value";
    } else {
      parsed.error = "unknown option " + arg;
    }
  }
  return parsed;
}

bool hasError(const Qmdb& db) {
  return db.errorCode() != nullptr && *db.errorCode() != '\0';
}

int failure(const std::string& file, const std::string& what, const Qmdb* db) {
  std::string line = "qmdb: " + file + ": " + what;
  if (db != nullptr && hasError(*db)) {
    line += std::string(": ") + db->errorCode();
    if (db->errorMessage() != nullptr) line += std::string(": ") + db->errorMessage();
  }
  fprintf(stderr, "%s\n", line.c_str());
  return kFailure;
}

std::unique_ptr<Qmdb> openDatabase(const std::string& file, QmdbFileMode mode) {
  auto db = std::make_unique<Qmdb>(file.c_str(), mode);
  if (!db->isValid()) {
    failure(file, "cannot open database", db.get());
    return nullptr;
  }
  return db;
}

std::string copyText(const char* text) {
  return text != nullptr ? std::string(text) : std::string();
}

const char* controlEscape(char c) {
  switch (c) {
    case '\n':
      return "\\n";
    case '\r':
      return "\\r";
    case '\t':
      return "\\t";
    default:
      return nullptr;
  }
}

std::string shortText(const std::string& text, size_t limit) {
  std::string out;
  size_t characters = 0;
  for (size_t i = 0; i < text.size(); ++i) {
    unsigned char byte = static_cast<unsigned char>(text[i]);
    bool startsCharacter = (byte & 0xC0) != 0x80;
    if (startsCharacter) {
      if (characters == limit) return out + "...";
      ++characters;
    }
    const char* escape = controlEscape(text[i]);
    out += escape != nullptr ? std::string(escape) : std::string(1, text[i]);
  }
  return out;
}

bool isWhitespace(const char* text) {
  if (text == nullptr) return false;
  for (; *text != '\0'; ++text) {
    if (*text != ' ' && *text != '\t' && *text != '\n' && *text != '\r') return false;
  }
  return true;
}

const char* kindName(QmdbObjectType kind) {
  switch (kind) {
    case QmdbNode:
      return "node";
    case QmdbString:
      return "string";
    case QmdbEntity:
      return "entity";
    case QmdbPi:
      return "pi";
    default:
      return "?";
  }
}

std::string textContent(Qmdb& db, long object, size_t limit) {
  if (db.objectType(object) != QmdbNode) return copyText(db.getValue(object));
  std::string text;
  bool space = false;
  long steps = walkLimit(db);
  for (long p = db.first(object); p != 0 && p != -object && text.size() < limit && steps-- > 0;
       p = db.next(p, QmdbTree)) {
    if (p < 0 || db.objectType(p) != QmdbString) continue;
    for (const char* c = db.getValue(p); c != nullptr && *c != '\0'; ++c) {
      if (*c == ' ' || *c == '\t' || *c == '\n' || *c == '\r') {
        space = !text.empty();
      } else {
        if (space) text += ' ';
        text += *c;
        space = false;
      }
    }
  }
  return text;
}

std::string describeObject(Qmdb& db, long object) {
  QmdbObjectType kind = db.objectType(object);
  std::string name = copyText(db.getId(object));
  if (name.empty()) name = "-";
  return std::to_string(object) + "\t" + kindName(kind) + "\t" + name + "\t" +
         shortText(textContent(db, object, 256));
}

long walkLimit(const Qmdb& db) {
  return 2 * (db.getSize() / 24) + 16;
}

}  // namespace qmdbtool
