// The shell's database: the user's file read-only, and a working copy beside
// it once something is edited (see ShellDatabase.h for why).
#include "ShellDatabase.h"

#include <fcntl.h>
#include <limits.h>
#include <unistd.h>

#include <csignal>
#include <cstring>

#include <cstdio>
#include <filesystem>
#include <system_error>

namespace qmdbtool {
namespace {

bool exists(const std::string& file) {
  std::error_code ignored;
  return std::filesystem::exists(file, ignored);
}

std::string describe(const Qmdb& db) {
  std::string text;
  if (db.errorCode() != nullptr && *db.errorCode() != '\0')
    text = std::string(": ") + db.errorCode();
  if (db.errorMessage() != nullptr && *db.errorMessage() != '\0') {
    text += std::string(": ") + db.errorMessage();
  }
  return text;
}

// The working file and its journal, for the signal handler: a session killed
// by a signal removes them rather than leave them beside the user's file.
char workFile[PATH_MAX + 16];
char workJournal[PATH_MAX + 16];

void noteWorkFile(const std::string& work) {
  workFile[0] = workJournal[0] = '\0';
  if (work.empty() || work.size() + sizeof "-journal" > sizeof workFile) return;
  memcpy(workJournal, work.c_str(), work.size());
  memcpy(workJournal + work.size(), "-journal", sizeof "-journal");
  memcpy(workFile, work.c_str(), work.size() + 1);
}

void removeWorkAndDie(int signal) {
  if (workFile[0] != '\0') unlink(workFile);
  if (workJournal[0] != '\0') unlink(workJournal);
  std::signal(signal, SIG_DFL);
  raise(signal);
}

// Makes a rename in the directory of `file` durable.
void syncDirectory(const std::string& file) {
  std::filesystem::path directory = std::filesystem::path(file).parent_path();
  int fd = ::open(directory.empty() ? "." : directory.c_str(), O_RDONLY | O_DIRECTORY);
  if (fd < 0) return;
  fsync(fd);
  ::close(fd);
}

}  // namespace

void ShellDatabase::removeWorkOnSignals() {
  for (int signal : {SIGINT, SIGTERM, SIGHUP}) std::signal(signal, removeWorkAndDie);
}

ShellDatabase::~ShellDatabase() {
  close();
}

bool ShellDatabase::open(const std::string& file, std::string& error) {
  std::unique_ptr<Qmdb> original;
  if (exists(file)) {
    original = std::make_unique<Qmdb>(file.c_str(), QmdbFileRead);
    if (!original->isValid()) {
      error = file + ": cannot open database" + describe(*original);
      return false;
    }
  }
  close();
  file_ = file;
  original_ = std::move(original);
  if (original_ == nullptr && !beginEdit(error)) {
    file_.clear();
    return false;
  }
  db()->hasChanged();  // opening is no edit
  return true;
}

void ShellDatabase::close() {
  discardWork();
  original_.reset();
  file_.clear();
}

void ShellDatabase::discardWork() {
  if (working_ == nullptr) return;
  working_.reset();  // saves the working file, which is removed next
  std::remove(work_.c_str());
  std::remove((work_ + "-journal").c_str());
  work_.clear();
  noteWorkFile(work_);
  unsaved_ = false;
}

bool ShellDatabase::beginEdit(std::string& error) {
  if (working_ != nullptr) return true;
  std::string work = file_ + ".shell-" + std::to_string(getpid());
  std::error_code failed;
  if (original_ != nullptr) {
    std::filesystem::copy_file(file_, work, std::filesystem::copy_options::overwrite_existing,
                               failed);
    if (failed) {
      std::remove(work.c_str());
      error = "cannot make the working copy " + work + ": " + failed.message();
      return false;
    }
  }
  auto working =
      std::make_unique<Qmdb>(work.c_str(), original_ != nullptr ? QmdbFileUpdate : QmdbFileWrite);
  if (!working->isValid()) {
    error = work + ": cannot open the working copy" + describe(*working);
    working.reset();
    std::remove(work.c_str());
    return false;
  }
  working_ = std::move(working);
  work_ = work;
  noteWorkFile(work_);
  return true;
}

void ShellDatabase::noteEdit() {
  if (working_ != nullptr && working_->hasChanged()) unsaved_ = true;
}

bool ShellDatabase::save(std::string& error) {
  if (working_ == nullptr) return true;
  working_->clearError();
  working_->flush(false);
  if (!working_->isValid() || (working_->errorCode() != nullptr && *working_->errorCode() != 0)) {
    error = "cannot save " + work_ + describe(*working_);
    return false;
  }
  working_.reset();  // closes the working file (nothing is left to write)
  if (std::rename(work_.c_str(), file_.c_str()) != 0) {
    error = "cannot rename " + work_ + " to " + file_;
    working_ = std::make_unique<Qmdb>(work_.c_str(), QmdbFileUpdate);
    return false;
  }
  syncDirectory(file_);
  work_.clear();
  noteWorkFile(work_);
  unsaved_ = false;
  original_ = std::make_unique<Qmdb>(file_.c_str(), QmdbFileRead);
  if (!original_->isValid()) {
    error = file_ + ": saved, but cannot open it again" + describe(*original_);
    original_.reset();
    file_.clear();
    return false;
  }
  return true;
}

}  // namespace qmdbtool
