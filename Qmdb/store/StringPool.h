// The string pool: names stored in this opening of a database, by text.
//
// Equal names (gids, entity names, pi targets, notations, attribute names)
// share one heap string while the database is open. The pool lives in memory
// only and starts empty at every opening, so a name stored before the file
// was opened is stored again the next time it is set. Lookups are exact and
// case-sensitive.
#ifndef QMDB_STORE_STRINGPOOL_H
#define QMDB_STORE_STRINGPOOL_H

#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <unordered_map>

namespace qmdb::store {

/// Maps the text of a stored name to the heap address of its heap string.
class StringPool {
 public:
  StringPool() = default;
  StringPool(const StringPool&) = delete;
  StringPool& operator=(const StringPool&) = delete;

  /// The heap address stored for `text`, or 0.
  int32_t find(const char* text) const;
  /// Records `address` for `text`; false when memory runs out.
  bool add(const char* text, int32_t address);
  /// The number of names.
  size_t size() const { return names_.size(); }

 private:
  // The texts live in `texts_` (a deque never moves them); the map's keys view
  // them, so that a lookup needs no copy of the text it looks for.
  std::deque<std::string> texts_;
  struct Hash {
    // FNV-1a: names are short, and this is cheaper than the library's hash for them.
    size_t operator()(std::string_view text) const {
      uint64_t h = 14695981039346656037ull;
      for (unsigned char c : text) h = (h ^ c) * 1099511628211ull;
      return static_cast<size_t>(h);
    }
  };
  std::unordered_map<std::string_view, int32_t, Hash> names_;
};

}  // namespace qmdb::store

#endif
