// The database a shell session works on, with edits that stay unsaved until
// `save`. The engine writes evicted pages into the file it has open, so the
// shell never edits the user's file in place: it reads the file read-only
// (holding its shared lock, which keeps writers out) and, at the first edit,
// copies it to a working file beside it ("FILE.shell-PID") and opens that
// for updating. The copy has the same bytes, so every handle stays valid.
// `save` saves the working file and renames it over the user's file, which
// is atomic; discarding removes the working file. A file that does not exist
// yet is made as a new, empty working file and appears at the first save.
#ifndef QMDB_TOOLS_QMDB_SHELLDATABASE_H
#define QMDB_TOOLS_QMDB_SHELLDATABASE_H

#include <Qmdb/Qmdb>

#include <memory>
#include <string>

namespace qmdbtool {

/// One open database of the shell, read-only until edited.
class ShellDatabase {
 public:
  ShellDatabase() = default;
  /// Makes SIGINT, SIGTERM and SIGHUP remove the working file (whose edits
  /// are lost) before they end the process.
  static void removeWorkOnSignals();
  /// Discards unsaved edits.
  ~ShellDatabase();
  ShellDatabase(const ShellDatabase&) = delete;
  ShellDatabase& operator=(const ShellDatabase&) = delete;

  /// Opens `file` (an existing database, or a new one when there is no such
  /// file); false with `error` set when it cannot be opened, leaving what was
  /// open before (if anything) as it was.
  bool open(const std::string& file, std::string& error);
  /// Closes the database, discarding unsaved edits.
  void close();
  /// True while a database is open.
  bool isOpen() const { return db() != nullptr; }
  /// The open database (owned here): the working file while editing, else the
  /// user's file; null when none.
  Qmdb* db() const { return working_ ? working_.get() : original_.get(); }
  /// The user's file name.
  const std::string& file() const { return file_; }
  /// Makes the database writable (copying the file to the working file at the
  /// first edit); false with `error` set when that fails.
  bool beginEdit(std::string& error);
  /// Notes that an edit may have changed the database.
  void noteEdit();
  /// True when there are edits that are not saved.
  bool unsaved() const { return unsaved_; }
  /// Writes the edits to the user's file; false with `error` set on failure,
  /// when the edits stay unsaved in the working file.
  bool save(std::string& error);

 private:
  void discardWork();

  std::string file_;
  std::string work_;                // the working file, "" while reading the user's file
  std::unique_ptr<Qmdb> original_;  // the user's file, read-only, while it exists
  std::unique_ptr<Qmdb> working_;   // the working file while editing
  bool unsaved_ = false;
};

}  // namespace qmdbtool

#endif
