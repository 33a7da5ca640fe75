// qmdb import: parses an XML document with expat, reading it in chunks, and
// builds its tree in a new database: elements as nodes with attributes,
// character data as strings, processing instructions (and, when asked,
// comments) as pis. The database is written under a temporary name beside the
// target and renamed only when everything succeeded, so that a failed import
// leaves nothing behind.
#include "Tool.h"

#include <expat.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>

namespace qmdbtool {
namespace {

constexpr int kChunkSize = 64 * 1024;
constexpr long long kProgressThreshold = 4LL * 1024 * 1024;
constexpr int kProgressWidth = 40;

// The temporary database, and the rollback journal that the library keeps
// beside it while a save is under way; both are removed when the import is
// interrupted by a signal.
char gTemporaryName[4096];
char gJournalName[4096 + 16];

void removeTemporaryAndDie(int signal) {
  if (gTemporaryName[0] != '\0') {
    unlink(gTemporaryName);
    unlink(gJournalName);
  }
  std::signal(signal, SIG_DFL);
  std::raise(signal);
}

// Builds the tree from expat's events. Character data is gathered until the
// next event that is not text, so that adjacent pieces become one string.
class TreeBuilder {
 public:
  TreeBuilder(Qmdb& db, XML_Parser parser, bool keepComments) : db_(db), parser_(parser) {
    // A heap string lies within one page: its text and zero byte, rounded up to 4.
    maxText_ = static_cast<size_t>(db.getPageSize() / 4 * 4 - 1);
    open_.push_back(1);
    XML_SetUserData(parser, this);
    XML_SetElementHandler(parser, onStart, onEnd);
    XML_SetCharacterDataHandler(parser, onText);
    XML_SetProcessingInstructionHandler(parser, onPi);
    if (keepComments) XML_SetCommentHandler(parser, onComment);
  }

  /// Why the building stopped, or "" when it did not.
  const std::string& error() const { return error_; }
  long elements = 0, texts = 0, pis = 0, comments = 0, attributes = 0;

 private:
  static void XMLCALL onStart(void* self, const XML_Char* name, const XML_Char** atts) {
    static_cast<TreeBuilder*>(self)->start(name, atts);
  }
  static void XMLCALL onEnd(void* self, const XML_Char*) {
    auto* builder = static_cast<TreeBuilder*>(self);
    if (!builder->error_.empty()) return;
    builder->flushText();
    builder->open_.pop_back();
  }
  static void XMLCALL onText(void* self, const XML_Char* text, int length) {
    static_cast<TreeBuilder*>(self)->text_.append(text, static_cast<size_t>(length));
  }
  static void XMLCALL onPi(void* self, const XML_Char* target, const XML_Char* data) {
    auto* builder = static_cast<TreeBuilder*>(self);
    if (!builder->error_.empty()) return;
    builder->flushText();
    if (builder->check(builder->db_.addPi(builder->open_.back(), target, data), "a pi")) {
      ++builder->pis;
    }
  }
  static void XMLCALL onComment(void* self, const XML_Char* data) {
    auto* builder = static_cast<TreeBuilder*>(self);
    if (!builder->error_.empty()) return;
    builder->flushText();
    if (builder->check(builder->db_.addPi(builder->open_.back(), kCommentTarget, data),
                       "a comment")) {
      ++builder->comments;
    }
  }

  void start(const XML_Char* name, const XML_Char** atts) {
    if (!error_.empty()) return;
    flushText();
    long node = db_.addNode(open_.back(), name);
    if (!check(node, "the element " + std::string(name))) return;
    ++elements;
    for (int i = 0; atts[i] != nullptr; i += 2) {
      long attribute =
          db_.addAttribute(node, atts[i], atts[i + 1], kXmlAttributeType, kXmlAttributeClass);
      if (!check(attribute, "the attribute " + std::string(atts[i]))) return;
      ++attributes;
    }
    open_.push_back(node);
  }

  // Stores the gathered text as strings of at most one page each, cut between
  // UTF-8 sequences. Outside the root element there can only be whitespace,
  // which is never stored (expat does not even report it).
  void flushText() {
    if (text_.empty()) return;
    std::string text;
    text.swap(text_);
    if (open_.size() == 1) return;
    size_t begin = 0;
    while (begin < text.size() && error_.empty()) {
      size_t end = text.size();
      if (end - begin > maxText_) {
        end = begin + maxText_;
        while (end > begin + 1 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) --end;
      }
      if (check(db_.addString(open_.back(), text.substr(begin, end - begin).c_str()), "a text")) {
        ++texts;
      }
      begin = end;
    }
  }

  // Stops the parser when the database refused to store something.
  bool check(long handle, const std::string& what) {
    if (handle != 0) return true;
    if (error_.empty()) {
      error_ = "cannot store " + what + " (line " +
               std::to_string(XML_GetCurrentLineNumber(parser_)) + ")";
      XML_StopParser(parser_, XML_FALSE);
    }
    return false;
  }

  Qmdb& db_;
  XML_Parser parser_;
  size_t maxText_;
  std::vector<long> open_;  // the open elements; 1 (the database root) at the bottom
  std::string text_;
  std::string error_;
};

// Shows how much of the input has been read, on a terminal, for large inputs.
class Progress {
 public:
  explicit Progress(long long total)
      : total_(total), shown_(total > kProgressThreshold && isatty(STDERR_FILENO)) {}
  void update(long long done) {
    if (!shown_) return;
    int percent = static_cast<int>(done * 100 / total_);
    if (percent == percent_) return;
    percent_ = percent;
    int filled = percent * kProgressWidth / 100;
    fprintf(stderr, "\rimporting [%s%s] %3d%%",
            std::string(static_cast<size_t>(filled), '#').c_str(),
            std::string(static_cast<size_t>(kProgressWidth - filled), ' ').c_str(), percent);
  }
  void finish() {
    if (shown_ && percent_ >= 0) fprintf(stderr, "\n");
  }

 private:
  long long total_;
  bool shown_;
  int percent_ = -1;
};

// Parses the open file into the database; reports what went wrong and gives
// false, or gives true with a summary of what was stored.
bool parseInto(Qmdb& db, FILE* in, const std::string& docName, const std::string& dbName,
               bool keepComments, long long size, std::string& summary) {
  XML_Parser parser = XML_ParserCreate(nullptr);
  if (parser == nullptr) {
    failure(docName, "out of memory");
    return false;
  }
  TreeBuilder builder(db, parser, keepComments);
  Progress progress(size);
  bool ok = true;
  long long done = 0;
  for (bool last = false; !last && ok;) {
    void* buffer = XML_GetBuffer(parser, kChunkSize);
    size_t got = buffer != nullptr ? fread(buffer, 1, kChunkSize, in) : 0;
    if (buffer == nullptr || ferror(in)) {
      ok = false;
      failure(docName, buffer == nullptr ? "out of memory" : strerror(errno));
      break;
    }
    last = got < static_cast<size_t>(kChunkSize) && feof(in);
    done += static_cast<long long>(got);
    if (XML_ParseBuffer(parser, static_cast<int>(got), last) != XML_STATUS_OK) {
      ok = false;
      progress.finish();
      if (!builder.error().empty()) {
        failure(dbName, builder.error(), &db);
      } else {
        fprintf(stderr, "qmdb: %s:%lu:%lu: %s\n", docName.c_str(),
                static_cast<unsigned long>(XML_GetCurrentLineNumber(parser)),
                static_cast<unsigned long>(XML_GetCurrentColumnNumber(parser) + 1),
                XML_ErrorString(XML_GetErrorCode(parser)));
      }
    }
    progress.update(done);
  }
  if (ok) progress.finish();
  XML_ParserFree(parser);
  summary = std::to_string(builder.elements) + " elements, " + std::to_string(builder.texts) +
            " texts, " + std::to_string(builder.attributes) + " attributes, " +
            std::to_string(builder.pis) + " pis";
  if (keepComments) summary += ", " + std::to_string(builder.comments) + " comments";
  return ok;
}

// Makes an empty file with a fresh name beside `target`, with the permissions
// a new file would get; gives its name, or "" when none could be made.
std::string makeTemporary(const std::string& target) {
  std::string name = target + ".tmpXXXXXX";
  int fd = mkstemp(&name[0]);
  if (fd < 0) return "";
  mode_t mask = umask(0);
  umask(mask);
  fchmod(fd, 0666 & ~mask);
  close(fd);
  return name;
}

}  // namespace

int importCommand(const Args& args) {
  ParsedArgs parsed = parseArgs(args, {"--comments"});
  if (!parsed.error.empty()) return usageError("import", parsed.error);
  if (parsed.positional.size() != 2) return usageError("import", "expects DOC.xml and DB.qmb");
  const std::string& docName = parsed.positional[0];
  const std::string& dbName = parsed.positional[1];

  FILE* in = fopen(docName.c_str(), "rb");
  if (in == nullptr) return failure(docName, strerror(errno));
  struct stat info;
  long long size = fstat(fileno(in), &info) == 0 ? static_cast<long long>(info.st_size) : 0;

  std::string temporary = makeTemporary(dbName);
  if (temporary.empty()) {
    fclose(in);
    return failure(dbName, std::string("cannot create a file beside it: ") + strerror(errno));
  }
  snprintf(gTemporaryName, sizeof gTemporaryName, "%s", temporary.c_str());
  snprintf(gJournalName, sizeof gJournalName, "%s-journal", temporary.c_str());
  for (int signal : {SIGINT, SIGTERM, SIGHUP}) std::signal(signal, removeTemporaryAndDie);

  std::string summary;
  bool ok = false;
  {
    Qmdb db(temporary.c_str(), QmdbFileWrite);
    if (!db.isValid()) {
      failure(dbName, "cannot create database", &db);
    } else {
      db.clearError();  // a warning about the environment's settings is no failure
      ok = parseInto(db, in, docName, dbName, parsed.has("--comments"), size, summary);
      if (ok) {
        db.flush(false);
        ok = db.isValid() && !hasError(db);
        if (!ok) failure(dbName, "cannot write database", &db);
      }
    }
  }  // closing the database saves it once more
  fclose(in);
  if (ok && rename(temporary.c_str(), dbName.c_str()) != 0) {
    ok = false;
    failure(dbName, std::string("cannot rename the new database into place: ") + strerror(errno));
  }
  if (!ok) unlink(temporary.c_str());
  gTemporaryName[0] = '\0';
  for (int signal : {SIGINT, SIGTERM, SIGHUP}) std::signal(signal, SIG_DFL);
  if (!ok) return kFailure;
  printf("%s: %s\n", dbName.c_str(), summary.c_str());
  return kOk;
}

}  // namespace qmdbtool
