// qmdb import: loads an XML document (a file, or standard input for "-")
// into a new database through QmdbXml. The database is written under a
// temporary name beside the target and renamed only when everything
// succeeded, so that a failed import leaves nothing behind.
#include "Tool.h"

#include <Qmdb/QmdbXml>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <iostream>

namespace qmdbtool {
namespace {

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
  ParsedArgs parsed = parseArgs(
      args, {"--comments", "--no-dtd", "--no-default-attributes", "--no-external", "--strict"});
  if (!parsed.error.empty()) return usageError("import", parsed.error);
  if (parsed.positional.size() != 2) return usageError("import", "expects DOC.xml and DB.qmb");
  const std::string& docName = parsed.positional[0];
  const std::string& dbName = parsed.positional[1];
  bool fromStdin = docName == "-";

  long long size = 0;
  if (!fromStdin) {
    struct stat info;
    if (stat(docName.c_str(), &info) != 0) return failure(docName, strerror(errno));
    size = static_cast<long long>(info.st_size);
  }

  std::string temporary = makeTemporary(dbName);
  if (temporary.empty()) {
    return failure(dbName, std::string("cannot create a file beside it: ") + strerror(errno));
  }
  snprintf(gTemporaryName, sizeof gTemporaryName, "%s", temporary.c_str());
  snprintf(gJournalName, sizeof gJournalName, "%s-journal", temporary.c_str());
  for (int signal : {SIGINT, SIGTERM, SIGHUP}) std::signal(signal, removeTemporaryAndDie);

  QmdbXml::LoadOptions options;
  options.comments = parsed.has("--comments");
  options.loadDtd = !parsed.has("--no-dtd");
  options.defaultAttributes = !parsed.has("--no-default-attributes");
  options.externalEntities = !parsed.has("--no-external");
  options.unresolvedEntityIsError = parsed.has("--strict");
  Progress progress(size);
  options.progress = [&progress](long long done, long long) { progress.update(done); };

  QmdbXml::Result result;
  bool ok = false;
  {
    Qmdb db(temporary.c_str(), QmdbFileWrite);
    if (!db.isValid()) {
      failure(dbName, "cannot create database", &db);
    } else {
      db.clearError();  // a warning about the environment's settings is no failure
      result = fromStdin ? QmdbXml::loadStream(db, std::cin, "-", options)
                         : QmdbXml::loadFile(db, docName, options);
      progress.finish();
      for (const std::string& warning : result.warnings) {
        fprintf(stderr, "qmdb: warning: %s\n", warning.c_str());
      }
      ok = result.ok;
      if (!ok) {
        fprintf(stderr, "qmdb: %s\n", result.message.c_str());
      } else {
        db.flush(false);
        ok = db.isValid() && !hasError(db);
        if (!ok) failure(dbName, "cannot write database", &db);
      }
    }
  }  // closing the database saves it once more
  if (ok && rename(temporary.c_str(), dbName.c_str()) != 0) {
    ok = false;
    failure(dbName, std::string("cannot rename the new database into place: ") + strerror(errno));
  }
  if (!ok) unlink(temporary.c_str());
  gTemporaryName[0] = '\0';
  for (int signal : {SIGINT, SIGTERM, SIGHUP}) std::signal(signal, SIG_DFL);
  if (!ok) return kFailure;
  const QmdbXml::Counts& c = result.counts;
  printf("%s: %ld elements, %ld texts, %ld attributes, %ld pis", dbName.c_str(), c.elements,
         c.texts, c.attributes, c.pis);
  if (options.comments) printf(", %ld comments", c.comments);
  if (c.entities > 0) printf(", %ld entities", c.entities);
  printf("\n");
  return kOk;
}

}  // namespace qmdbtool
