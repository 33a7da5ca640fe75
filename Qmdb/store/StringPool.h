// The string pool: names stored in this opening of a database, by text.
//
// Equal names (gids, entity names, pi targets, notations, attribute names)
// share one heap string while the database is open. The pool lives in memory
// only and starts empty at every opening, so a name stored before the file
// was opened is stored again the next time it is set. Lookups are exact and
// case-sensitive.
//
// Every document element names its gid here, so a lookup must be cheap: one
// pass over the text gives its hash and length, an open-addressed table of
// power-of-two size finds the slot, and a hit costs one comparison of bytes.
// A probe remembers the hash and length, so that adding a name that was just
// looked for reads its text once more only to copy it. Callers such as a
// parser with a dictionary of names pass the same buffer for the same name
// again and again: a small memo from the buffer's address to the slot found
// there last lets such a lookup skip the hash, yet the text is still compared
// in full, so a buffer that now holds another name finds that name.
#ifndef QMDB_STORE_STRINGPOOL_H
#define QMDB_STORE_STRINGPOOL_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

namespace qmdb::store {

/// Maps the text of a stored name to the heap address of its heap string.
class StringPool {
 public:
  /// What a lookup learnt of its text: the hash and the length in bytes.
  struct Probe {
    uint64_t hash = 0;
    size_t length = 0;
  };

  StringPool() = default;
  ~StringPool();
  StringPool(const StringPool&) = delete;
  StringPool& operator=(const StringPool&) = delete;

  /// The heap address stored for `text`, or 0 (always for null).
  int32_t find(const char* text) const {
    Probe probe;
    return find(text, probe);
  }
  /// As find(text), and fills `probe` for a following add of the same text
  /// when it gives 0.
  int32_t find(const char* text, Probe& probe) const {
    if (text == nullptr) return 0;
    const Memo& memo = memo_[memoFor(text)];
    if (memo.text == text) {
      const Slot& slot = slots_[memo.slot];
      if (slot.text != nullptr && strcmp(slot.text, text) == 0) return slot.address;
    }
    return findInTable(text, probe);
  }
  /// Records `address` for `text` (replacing the address of an equal text);
  /// false, with the pool unchanged, for null or when memory runs out.
  bool add(const char* text, int32_t address);
  /// As add(text, address), with the probe that find(text, probe) filled.
  bool add(const char* text, const Probe& probe, int32_t address);
  /// The number of names.
  size_t size() const { return count_; }

 private:
  struct Slot {
    const char* text = nullptr;  // null: empty; else a copy in `chunks_`
    uint64_t hash = 0;
    size_t length = 0;
    int32_t address = 0;
  };
  // The memo entry for a caller's buffer at `text`.
  static size_t memoFor(const char* text) {
    return (reinterpret_cast<uintptr_t>(text) >> 3) % kMemoSize;
  }
  // find() past the memo: hashes `text` into `probe`, looks it up in the
  // table, and remembers the slot it found for the buffer.
  int32_t findInTable(const char* text, Probe& probe) const;
  // The slot that holds `text`, or the empty slot where it would go; the
  // table must not be empty.
  size_t slotFor(const char* text, const Probe& probe) const;
  // Doubles the table (16 slots at first) when one more name would fill it
  // beyond half; false when memory runs out.
  bool makeRoom();
  // A copy of `length` bytes of `text` and a zero, in the current chunk or a
  // new one; null when memory runs out.
  const char* keep(const char* text, size_t length);

  std::vector<Slot> slots_;
  size_t count_ = 0;
  struct Memo {
    const char* text = nullptr;  // a caller's buffer
    size_t slot = 0;             // the slot that held its text last time
  };
  static constexpr size_t kMemoSize = 64;
  mutable Memo memo_[kMemoSize];
  std::vector<char*> chunks_;  // copies of the texts; never moved, freed with the pool
  char* free_ = nullptr;       // the unused rest of the last chunk
  size_t room_ = 0;
};

}  // namespace qmdb::store

#endif
