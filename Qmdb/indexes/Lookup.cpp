#include "Qmdb/indexes/Lookup.h"

#include <cstdlib>
#include <cstring>
#include <new>
#include <deque>

#include "Qmdb/indexes/IndexEntry.h"
#include "Qmdb/indexes/KeyNode.h"
#include "Qmdb/indexes/KeyTree.h"
#include "Qmdb/store/Allocation.h"
#include "Qmdb/store/Messages.h"

namespace qmdb::indexes {

namespace {

// The key work area of a key listing grows in steps of this many bytes.
constexpr size_t kWorkAreaStep = 256;

// A list of bound keys at one level of the walk: each is what is left of a
// sought key (or of a range bound) below that level. Empty means no list.
struct KeySpan {
  const char* const* keys = nullptr;
  size_t count = 0;
  bool present() const { return count > 0; }
};

KeySpan spanOf(const std::vector<const char*>& keys) {
  return {keys.data(), keys.size()};
}

// One level of the walk: the children of one key node. A child's turn lasts
// across the walk of its own children, so its state is kept here.
struct Level {
  long child = 0;  // the child whose turn it is; 0 when the level is done
  KeySpan lower;
  KeySpan upper;
  bool more = true;  // an exact lookup may still match a later sibling
  // The rest of the bounds for the child's children; reused from turn to turn.
  std::vector<const char*> scratchLower;
  std::vector<const char*> scratchUpper;
  bool collected = false;  // the child gave at least one entry
  size_t appended = 0;     // bytes of the child's label in the work area
};

enum class Mode { kExact, kRange };

// The walk keeps its own stack of levels instead of recursing, so that a deep
// tree (or, in a damaged file, a cyclic one) cannot exhaust the thread's stack.
// Levels are reused by depth, so their scratch lists allocate only while they
// grow past their largest size so far.
class Walker {
 public:
  Walker(store::Store& s, Mode mode, bool pull, EntrySink* entries, KeySink* keys)
      : s_(s), mode_(mode), pull_(pull), entries_(entries), keys_(keys), budget_(keyWalkLimit(s)) {}
  ~Walker() { free(work_); }
  Walker(const Walker&) = delete;
  Walker& operator=(const Walker&) = delete;

  // Walks the children of index record `index` with the given bound lists.
  void run(long index, KeySpan lower, KeySpan upper) {
    lowerPassed_ = mode_ == Mode::kRange && !lower.present();
    upperPassed_ = false;
    push(keyNode::firstChild(s_, index), lower, upper);
    while (depth_ > 0) {
      Level& level = levels_[depth_ - 1];
      // Once past the upper bound nothing more can be collected anywhere.
      if (level.child == 0 || !level.more || stopped_ || upperPassed_) {
        --depth_;
        if (depth_ > 0) endTurn(levels_[depth_ - 1]);
        continue;
      }
      if (!spend()) continue;
      if (!beginTurn(level)) endTurn(level);
    }
  }

 private:
  bool spend() {
    if (budget_ <= 0) {
      stopped_ = true;
      return false;
    }
    --budget_;
    return true;
  }

  void push(long firstChild, KeySpan lower, KeySpan upper) {
    if (depth_ == levels_.size()) levels_.emplace_back();
    Level& level = levels_[depth_++];
    level.child = firstChild;
    level.lower = lower;
    level.upper = upper;
    level.more = true;
    level.scratchLower.clear();
    level.scratchUpper.clear();
    level.collected = false;
    level.appended = 0;
  }

  // Starts the turn of the level's child; true when it pushed a level for the
  // child's own children, whose end ends the turn.
  bool beginTurn(Level& level) {
    const long x = level.child;
    level.collected = false;
    level.appended = 0;
    // An exact lookup passes most siblings on their first byte, which no
    // sought key shares, without reading the whole label.
    if (mode_ == Mode::kExact && !firstByteMatches(level, labelFirstByte(s_, x))) return false;
    const long firstChild = keyNode::firstChild(s_, x);
    const long firstEntry = keyNode::firstEntry(s_, x);
    // The label points into its frame until another address is resolved: every
    // use of it comes before any entry is read.
    const char* label = labelText(s_, x);
    const size_t labelLength = strlen(label);
    if (mode_ == Mode::kExact) return exactTurn(level, label, labelLength, firstChild, firstEntry);
    return rangeTurn(level, label, labelLength, firstChild, firstEntry);
  }

  // Whether some sought key of the level begins with the label's first byte
  // `l0` (-1: unknown, so perhaps); sets whether a later sibling may still
  // match, as exactTurn does.
  static bool firstByteMatches(Level& level, int l0) {
    if (l0 < 0) return true;
    bool match = false;
    level.more = false;
    for (size_t i = 0; i < level.lower.count; ++i) {
      const int k0 = static_cast<unsigned char>(level.lower.keys[i][0]);
      if (l0 < k0) level.more = true;
      if (l0 == k0) match = true;
    }
    return match;
  }

  bool exactTurn(Level& level, const char* label, size_t labelLength, long firstChild,
                 long firstEntry) {
    const unsigned char l0 = static_cast<unsigned char>(label[0]);
    bool matched = false;
    bool descend = false;
    bool sought = false;
    level.more = false;
    for (size_t i = 0; i < level.lower.count; ++i) {
      const char* k = level.lower.keys[i];
      const unsigned char k0 = static_cast<unsigned char>(k[0]);
      if (l0 < k0) {
        level.more = true;  // k may still match a later sibling
        continue;
      }
      if (l0 != k0 || strncmp(label, k, labelLength) != 0) continue;
      if (!matched) {
        matched = true;
        descend = firstChild != 0;
      }
      if (k[labelLength] == 0) {
        sought = true;
      } else if (descend) {
        level.scratchLower.push_back(k + labelLength);
      }
    }
    if (sought) level.collected = collect(firstEntry);
    if (descend && !level.scratchLower.empty()) {
      push(firstChild, spanOf(level.scratchLower), level.upper);
      return true;
    }
    return false;
  }

  bool rangeTurn(Level& level, const char* label, size_t labelLength, long firstChild,
                 long firstEntry) {
    const bool unchecked =
        upperPassed_ || (!level.upper.present() && (lowerPassed_ || !level.lower.present()));
    if (unchecked) {
      if (!lowerPassed_ || upperPassed_) return false;
      if (keys_ != nullptr) {
        if (!appendLabel(label, labelLength)) {
          stopped_ = true;
          return false;
        }
        level.appended = labelLength;
        if (firstEntry != 0) keys_->take(work_);
      } else {
        level.collected = collect(firstEntry);
      }
      if (firstChild == 0) return false;
      push(firstChild, level.lower, level.upper);
      return true;
    }

    const unsigned char l0 = static_cast<unsigned char>(label[0]);
    bool descendLower = false;
    bool descendUpper = false;
    if (!lowerPassed_ && !upperPassed_ && level.lower.present()) {
      const char* k = level.lower.keys[0];
      const unsigned char k0 = static_cast<unsigned char>(k[0]);
      if (k0 < l0) {
        lowerPassed_ = true;
      } else if (k0 == l0) {
        int order = strncmp(label, k, labelLength);
        if (order > 0) {
          lowerPassed_ = true;
        } else if (order == 0 && k[labelLength] == 0) {
          lowerPassed_ = true;
        } else if (order == 0 && firstChild != 0) {
          descendLower = true;
          level.scratchLower.assign(1, k + labelLength);
        }
      }
    }
    if (level.upper.present()) {
      const char* k = level.upper.keys[0];
      const unsigned char k0 = static_cast<unsigned char>(k[0]);
      if (k0 < l0 && k0 != 0) {
        upperPassed_ = true;
      } else if (k0 == l0) {
        int order = strncmp(label, k, labelLength);
        if (order == 0 && k[labelLength] != 0 && firstChild != 0) {
          descendUpper = true;
          level.scratchUpper.assign(1, k + labelLength);
        } else if (order > 0 && strncmp(label, k, strlen(k)) != 0) {
          upperPassed_ = true;  // a key that merely begins with the bound stays inside
        }
      }
    }
    if (lowerPassed_ && !upperPassed_) level.collected = collect(firstEntry);
    if (upperPassed_ || !(lowerPassed_ || descendLower) || firstChild == 0) return false;
    push(firstChild, descendLower ? spanOf(level.scratchLower) : KeySpan{},
         descendUpper ? spanOf(level.scratchUpper) : KeySpan{});
    return true;
  }

  // Ends the turn of the level's child and moves on to its next sibling.
  void endTurn(Level& level) {
    const long x = level.child;
    keyLength_ -= level.appended < keyLength_ ? level.appended : keyLength_;
    level.appended = 0;
    // All of the key's entries, dead ones included, leave the index together.
    if (pull_ && level.collected) keyNode::setFirstEntry(s_, x, 0);
    level.collected = false;
    level.scratchLower.clear();
    level.scratchUpper.clear();
    level.child = keyNode::next(s_, x);
  }

  // Hands every live entry of the chain to the sink; true when one was taken.
  bool collect(long firstEntry) {
    bool taken = false;
    if (entries_ == nullptr) return false;
    for (long e = firstEntry; e != 0; e = indexEntry::next(s_, e)) {
      if (!spend()) break;
      long object = indexEntry::object(s_, e);
      if (object != 0 && entries_->take(indexEntry::database(s_, e), object)) taken = true;
    }
    return taken;
  }

  // Appends a label and its zero to the key in the work area, growing it as needed.
  bool appendLabel(const char* label, size_t length) {
    size_t needed = keyLength_ + length + 1;
    if (needed > capacity_) {
      size_t steps = (needed - capacity_ + kWorkAreaStep - 1) / kWorkAreaStep;
      size_t grown = capacity_ + steps * kWorkAreaStep;
      char* area = static_cast<char*>(store::reallocate(work_, grown));
      if (area == nullptr) {
        free(work_);
        work_ = nullptr;
        keyLength_ = capacity_ = 0;
        store::report(s_, store::kError, "MEMORYOVERFLOW", store::kMsgMemoryOverflow,
                      "index-keys collecting");
        return false;
      }
      work_ = area;
      capacity_ = grown;
    }
    memcpy(work_ + keyLength_, label, length + 1);
    keyLength_ += length;
    return true;
  }

  store::Store& s_;
  const Mode mode_;
  const bool pull_;
  EntrySink* const entries_;
  KeySink* const keys_;  // listing keys instead of collecting entries
  long budget_;
  bool lowerPassed_ = false;
  bool upperPassed_ = false;
  bool stopped_ = false;
  char* work_ = nullptr;
  size_t keyLength_ = 0;
  size_t capacity_ = 0;
  std::deque<Level> levels_;
  size_t depth_ = 0;
};

// The key node of exactly `key` below `index`, reached by descending along the
// key alone: at each level the children are passed over by their labels'
// first bytes (ascending), and only the one that can hold the key is read in
// full. 0 when the index has no such key. Nothing is allocated.
long findKeyNode(store::Store& s, long index, const char* key) {
  long budget = keyWalkLimit(s);
  const char* rest = key;
  long node = index;
  while (true) {
    const unsigned char wanted = static_cast<unsigned char>(*rest);
    long child = keyNode::firstChild(s, node);
    for (; child != 0; child = keyNode::next(s, child)) {
      if (--budget < 0) return 0;
      // The first byte decides every sibling but the one that may match, whose
      // label alone is read whole.
      int first = labelFirstByte(s, child);
      if (first < 0) first = static_cast<unsigned char>(*labelText(s, child));
      if (first == wanted) break;
      if (first > wanted) return 0;  // children stand in ascending order of first byte
    }
    if (child == 0) return 0;
    const char* label = labelText(s, child);
    size_t length = strlen(label);
    if (strncmp(label, rest, length) != 0) return 0;  // the label is no prefix of the key
    rest += length;
    if (*rest == '\0') return child;
    if (length == 0) return 0;  // only the empty key has the empty label
    node = child;
  }
}

}  // namespace

void collectKeys(store::Store& s, long index, const std::vector<const char*>& keys, bool pull,
                 EntrySink& out) {
  Walker walker(s, Mode::kExact, pull, &out, nullptr);
  walker.run(index, spanOf(keys), KeySpan{});
}

void collectRange(store::Store& s, long index, const char* from, const char* to, bool pull,
                  EntrySink& out) {
  if (from != nullptr && to == nullptr) {
    // One key: descend straight to it.
    long node = findKeyNode(s, index, from);
    if (node == 0) return;
    long budget = keyWalkLimit(s);
    bool collected = false;
    for (long e = keyNode::firstEntry(s, node); e != 0 && budget-- > 0;
         e = indexEntry::next(s, e)) {
      long object = indexEntry::object(s, e);
      if (object != 0 && out.take(indexEntry::database(s, e), object)) collected = true;
    }
    if (pull && collected) keyNode::setFirstEntry(s, node, 0);
    return;
  }
  Walker walker(s, Mode::kRange, pull, &out, nullptr);
  walker.run(index, from != nullptr ? KeySpan{&from, 1} : KeySpan{},
             to != nullptr ? KeySpan{&to, 1} : KeySpan{});
}

void listKeys(store::Store& s, long index, KeySink& out) {
  try {
    Walker walker(s, Mode::kRange, false, nullptr, &out);
    walker.run(index, KeySpan{}, KeySpan{});
  } catch (const std::bad_alloc&) {
    // The walk's levels could not grow: as when the work area cannot.
    store::report(s, store::kError, "MEMORYOVERFLOW", store::kMsgMemoryOverflow,
                  "index-keys collecting");
  }
}

}  // namespace qmdb::indexes
