// Helpers shared by the tests: renderings of trees, lists and attributes, a
// fresh temporary directory per test, file reading, and scoped environment
// variables.
#ifndef QMDB_TESTS_SUPPORT_TESTSUPPORT_H
#define QMDB_TESTS_SUPPORT_TESTSUPPORT_H

#include <cstdint>
#include <string>
#include <vector>

class Qmdb;
class QmdbList;

namespace qmdb::test {

/// Renders an object and its subtree as a short string: a node as its gid
/// (or "#" without one) followed by its children in parentheses, a string as
/// 'text', an entity as &name, a pi as ?target; e.g. "a(b,'text',&e,?p)".
std::string renderTree(::Qmdb& db, long object);
/// Renders the children of a node (or of the database root 1), comma-separated.
std::string renderChildren(::Qmdb& db, long parent);
/// The entries of a result list, comma-separated: an object by its id ("#"
/// without one), a string as 'text'.
std::string renderList(::Qmdb& db, QmdbList& list);
/// The handles of a result list, in order.
std::vector<long> handles(QmdbList& list);
/// The attributes of an object as "name=value:type.class,..." ("-" for a
/// missing name or value).
std::string renderAttributes(::Qmdb& db, long object);
/// `count` little-endian 32-bit words of `bytes` from `offset` on, space-separated.
std::string words(const std::vector<uint8_t>& bytes, size_t offset, int count);

/// Makes the database `name` (a node `text` with 30 strings `text`, pages of
/// `pageSize` bytes, one frame), saves it, then edits on over the saved pages
/// and cuts the session short as a crash would, leaving a journal; returns
/// the tree as the save left it.
std::string crashWithJournal(const std::string& name, const char* text, long pageSize);

/// A directory made fresh under $TMPDIR (or /tmp) and removed with its content.
class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
  /// The directory's path.
  const std::string& path() const { return path_; }
  /// The path of `name` inside the directory.
  std::string file(const std::string& name) const { return path_ + "/" + name; }
  /// The names of the files in the directory, sorted.
  std::vector<std::string> list() const;

 private:
  std::string path_;
};

/// The whole content of a file; empty when it cannot be read.
std::vector<uint8_t> readFile(const std::string& path);
/// Writes `bytes` to `path`, replacing it.
void writeFile(const std::string& path, const std::vector<uint8_t>& bytes);
/// The little-endian 32-bit word at `offset` of `bytes`.
int32_t word(const std::vector<uint8_t>& bytes, size_t offset);
/// Whether `path` exists.
bool exists(const std::string& path);

/// Sets (or, with null, unsets) an environment variable for the scope.
class ScopedEnv {
 public:
  ScopedEnv(const char* name, const char* value);
  ~ScopedEnv();
  ScopedEnv(const ScopedEnv&) = delete;
  ScopedEnv& operator=(const ScopedEnv&) = delete;

 private:
  std::string name_;
  std::string old_;
  bool hadOld_;
};

}  // namespace qmdb::test

#endif
