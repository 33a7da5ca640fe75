// Qmdb::findPath: finding objects by a slash-separated path of steps.
//
// The search backtracks: it keeps one candidate per step and asks each step
// for its next candidate only when everything reached through the last one
// has been found, so results come in backtracking order and no intermediate
// result set is ever built.
//
// The search is written once, over a reader that gives it the tree. A class
// derived from Qmdb gets the virtual reader, which goes through the virtual
// navigation methods (first, next, parent, getId), so that overriding them
// changes the search too. Qmdb itself, whose methods nobody overrode, gets the
// direct reader, which reads the same records without the virtual calls and
// compares each stored name (a pooled heap string, which never changes) once
// per search; both give the same results in the same order.
//
// Names are compared with what getId returns, that is in the caller's coding;
// the path is therefore split as the caller gave it, so that both sides of the
// comparison are in the same coding whatever coding system is pushed. The
// direct reader compares stored names, so it serves only transparent codings.
#include <algorithm>
#include <array>
#include <cstring>
#include <new>
#include <string>
#include <typeinfo>
#include <vector>

#include "Qmdb/Qmdb"
#include "Qmdb/handle/Internal.h"
#include "Qmdb/objects/Navigation.h"
#include "Qmdb/objects/Records.h"
#include "Qmdb/store/Allocation.h"
#include "Qmdb/store/HeapString.h"
#include "Qmdb/store/Messages.h"
#include "Qmencoding/QmCEncoding.h"

using qmdb::handle::Internal;
namespace store = qmdb::store;
namespace objects = qmdb::objects;
namespace object = qmdb::objects::object;
namespace nodeRecord = qmdb::objects::nodeRecord;

namespace {

// kSubtreeName is "..." fused with the name step that follows it: one step
// that visits every context of "..." and looks at its children at once.
enum class StepKind { kSelf, kParent, kChildren, kSubtree, kName, kSubtreeName };

// What a name step found when it compared stored names, by the heap address of
// the name: objects of one name share one pooled heap string, so each is read
// and compared once per search. Open addressing; a full table stops learning.
class NameMemo {
 public:
  enum Answer : uint8_t { kUnknown, kMatch, kNoMatch };

  Answer find(long address) const {
    for (size_t i = slotOf(address);; i = (i + 1) % kSlots) {
      if (keys_[i] == 0) return kUnknown;
      if (keys_[i] == address) return answers_[i];
    }
  }

  void put(long address, bool match) {
    if (used_ >= kSlots / 2) return;  // keeps probes short and one slot always empty
    size_t i = slotOf(address);
    while (keys_[i] != 0) i = (i + 1) % kSlots;
    keys_[i] = address;
    answers_[i] = match ? kMatch : kNoMatch;
    ++used_;
  }

 private:
  static constexpr size_t kSlots = 256;
  static size_t slotOf(long address) {
    return (static_cast<unsigned long>(address) * 0x9E3779B97F4A7C15UL) >> 56;
  }
  std::array<long, kSlots> keys_{};  // 0: empty (no name lies at address 0)
  std::array<Answer, kSlots> answers_{};
  size_t used_ = 0;
};

// A candidate of a fused step: an object, and the number of its context in
// document order (the step's root 0, every object below it the next number).
struct Match {
  long context;
  long handle;
};

// Where a fused step goes on once it has read the children of an object: the
// object's next sibling, and the number of their context.
struct Ancestor {
  long next;
  long context;
};

// What a fused step asks of each object below its root, in the order it asks
// it: whether the object bears the step's name, its first child and its next
// sibling.
struct Visit {
  bool named;
  long firstChild;
  long nextSibling;
};

struct Step {
  StepKind kind;
  std::string name;            // the text of a name step
  bool wantsChildren = false;  // the next step looks only at children ("*" or a name)
  NameMemo memo;               // the direct reader's answers for a name step
  // A fused step's candidates, in the order it gives them, and the next one.
  std::vector<Match> matches;
  size_t next = 0;
  std::vector<Ancestor> trail;  // where it goes on, for each object whose children it reads
};

StepKind kindOf(const std::string& text) {
  if (text == ".") return StepKind::kSelf;
  if (text == "..") return StepKind::kParent;
  if (text == "*") return StepKind::kChildren;
  if (text == "...") return StepKind::kSubtree;
  return StepKind::kName;
}

// Cuts the path at every '/'; a '/' at the very end adds no step.
void splitPath(const char* path, std::vector<Step>& steps) {
  const char* begin = path;
  for (;;) {
    const char* slash = strchr(begin, '/');
    if (slash == nullptr) {
      if (*begin != '\0' || begin == path) {
        std::string text(begin);
        steps.push_back({kindOf(text), text, false, {}, {}, 0, {}});
      }
      return;
    }
    std::string text(begin, static_cast<size_t>(slash - begin));
    steps.push_back({kindOf(text), text, false, {}, {}, 0, {}});
    begin = slash + 1;
  }
}

// Fuses every "..." with a name step right after it. "A/.../n" finds, for
// each context of "..." in document order (A, then every object below A), its
// children named n; the fused step finds the same in the same order, but in
// one walk through A's subtree instead of one walk to reach each context and
// another through its children.
void fuseSteps(std::vector<Step>& steps) {
  size_t out = 0;
  for (size_t i = 0; i < steps.size(); ++i) {
    if (steps[i].kind == StepKind::kSubtree && i + 1 < steps.size() &&
        steps[i + 1].kind == StepKind::kName) {
      steps[i + 1].kind = StepKind::kSubtreeName;
      ++i;
    }
    if (out != i) steps[out] = std::move(steps[i]);
    ++out;
  }
  steps.erase(steps.begin() + static_cast<long>(out), steps.end());
}

void markChildSteps(std::vector<Step>& steps) {
  for (size_t i = 0; i + 1 < steps.size(); ++i) {
    StepKind next = steps[i + 1].kind;
    steps[i].wantsChildren =
        next == StepKind::kChildren || next == StepKind::kName || next == StepKind::kSubtreeName;
  }
}

// Compares names byte for byte, or ignoring the case of the letters A to Z.
bool sameName(const char* a, const char* b, bool caseSensitive) {
  if (caseSensitive) return strcmp(a, b) == 0;
  for (;; ++a, ++b) {
    unsigned char x = static_cast<unsigned char>(*a);
    unsigned char y = static_cast<unsigned char>(*b);
    if (x >= 'A' && x <= 'Z') x = static_cast<unsigned char>(x - 'A' + 'a');
    if (y >= 'A' && y <= 'Z') y = static_cast<unsigned char>(y - 'A' + 'a');
    if (x != y) return false;
    if (x == 0) return true;
  }
}

// Reads the tree through the virtual methods of the database, so that a
// derived class's overrides take part in the search.
class VirtualReader {
 public:
  VirtualReader(const Qmdb& db, bool caseSensitive) : db_(db), caseSensitive_(caseSensitive) {}
  long first(long h) { return db_.first(h); }
  long nextSibling(long h) { return db_.next(h, QmdbSiblings); }
  long nextTree(long position) { return db_.next(position, QmdbTree); }
  long parent(long h) { return db_.parent(h); }
  // An override of first may give children to any object.
  bool mayHaveChildren(long) { return true; }
  bool named(long h, Step& step) {
    // getId's text may lie in a frame that the next call reuses: it is
    // compared at once and not kept.
    const char* id = db_.getId(h);
    return id != nullptr && sameName(id, step.name.c_str(), caseSensitive_);
  }
  Visit visit(long h, Step& step) {
    const bool isNamed = named(h, step);
    const long child = first(h);
    return {isNamed, child, nextSibling(h)};
  }

 private:
  const Qmdb& db_;
  bool caseSensitive_;
};

// Reads the records of the store directly, giving what Qmdb's own first,
// next, parent and getId give (the search hands it positive handles and, to
// nextTree, positions). A failed store gives nothing, as the methods do.
class DirectReader {
 public:
  DirectReader(store::Store& s, bool caseSensitive) : s_(s), caseSensitive_(caseSensitive) {}

  [[gnu::always_inline]] long first(long h) {
    if (h == objects::kRoot) {
      return s_.failed ? 0 : nodeRecord::firstChild(s_, objects::kRootRecord);
    }
    View& v = viewOf(h);
    return v.kind == QmdbNode ? nodeHead(v).firstChild : 0;
  }
  long nextSibling(long h) { return h == objects::kRoot ? 0 : viewOf(h).fields.next; }
  long nextTree(long position) {
    if (s_.failed) return 0;
    if (position == objects::kRoot) return nodeRecord::firstChild(s_, objects::kRootRecord);
    return objects::treeStepFrom(s_, 0, position, true,
                                 viewOf(position < 0 ? -position : position).fields);
  }
  long parent(long h) {
    if (s_.failed || h == objects::kRoot) return 0;
    return objects::parentOf(s_, h);
  }
  // Only nodes have children: the others need not be offered to a child step.
  bool mayHaveChildren(long h) { return h == objects::kRoot || viewOf(h).kind == QmdbNode; }
  bool named(long h, Step& step) {
    if (h == objects::kRoot) return false;
    View& v = viewOf(h);
    if ((v.kind != QmdbNode && v.kind != QmdbEntity && v.kind != QmdbPi) || v.fields.body == 0) {
      return false;
    }
    return nameMatches(
        v.kind == QmdbNode ? nodeHead(v).gid : objects::body::name(s_, v.fields.body), step);
  }
  // The three answers of named, first and nextSibling, from one read of the
  // object record and, for a node, one of its node record: a fused step asks
  // them of every object below its root, each object once.
  [[gnu::always_inline]] Visit visit(long h, Step& step) {
    if (s_.failed) return {false, 0, 0};
    const object::Fields f = object::fields(s_, h);
    Visit v{false, 0, f.next};
    if (f.kind == QmdbNode) {
      const nodeRecord::Head head = nodeRecord::head(s_, f.body);
      v.firstChild = head.firstChild;
      v.named = f.body != 0 && nameMatches(head.gid, step);
    } else if ((f.kind == QmdbEntity || f.kind == QmdbPi) && f.body != 0) {
      v.named = nameMatches(objects::body::name(s_, f.body), step);
    }
    return v;
  }

 private:
  // The records of object `h`, read once for the several questions asked of
  // it in a row (its kind, name, first child, next sibling). Nothing changes
  // the heap during a search, so a record read stays true.
  struct View {
    object::Fields fields;
    int kind = 0;
    bool headRead = false;
    nodeRecord::Head head;  // a node's name and first child, once read
  };
  [[gnu::always_inline]] View& viewOf(long h) {
    if (h != cachedHandle_) {
      cachedHandle_ = h;
      // After a failed file operation the methods give nothing: nor does the reader.
      cached_.fields = s_.failed ? object::Fields{} : object::fields(s_, h);
      cached_.kind = cached_.fields.kind;
      cached_.headRead = false;
    }
    return cached_;
  }
  [[gnu::always_inline]] const nodeRecord::Head& nodeHead(View& v) {
    if (!v.headRead) {
      v.head = nodeRecord::head(s_, v.fields.body);
      v.headRead = true;
    }
    return v.head;
  }

  // Whether the stored name at heap address `text` (0: none) is the step's:
  // read and compared once per name and search.
  [[gnu::always_inline]] bool nameMatches(long text, Step& step) {
    if (text == 0) return false;
    NameMemo::Answer known = step.memo.find(text);
    if (known != NameMemo::kUnknown) return known == NameMemo::kMatch;
    const char* id = store::readHeapString(s_, text);
    bool match = id != nullptr && sameName(id, step.name.c_str(), caseSensitive_);
    step.memo.put(text, match);
    return match;
  }

  View cached_;
  long cachedHandle_ = 0;
  store::Store& s_;
  bool caseSensitive_;
};

// Finds the candidates of a fused "..." and name step below context root `b`
// in one walk in document order, which reads the heap front to back: every
// object below b once, its name compared as a child of its parent. They are
// then ordered as the two steps would find them: by their contexts' order in
// the document, and within a context in sibling order (a stable sort by the
// context's number). False when the step's budget of navigation calls is
// spent (a damaged heap).
template <class Reader>
bool collect(Reader& reader, Step& step, long& budget, long b) {
  step.matches.clear();
  step.trail.clear();
  step.next = 0;
  size_t depth = 0;  // the trail's entries in use (kept, not shrunk, so reuse costs no call)
  long counted = 0;  // the number given to the last object met
  long context = 0;  // the number of the object whose children are being read
  long x = budget-- > 0 ? reader.first(b) : 0;
  for (;;) {
    if (x != 0) {
      if (budget-- <= 0) return false;
      long number = ++counted;
      const Visit v = reader.visit(x, step);
      if (v.named) step.matches.push_back({context, x});
      if (v.firstChild != 0) {
        // Down to x's children; on the way back, on to x's next sibling.
        const Ancestor here{v.nextSibling, context};
        if (depth < step.trail.size()) {
          step.trail[depth] = here;
        } else {
          step.trail.push_back(here);
        }
        ++depth;
        context = number;
        x = v.firstChild;
      } else {
        x = v.nextSibling;
      }
      continue;
    }
    if (depth == 0) break;
    --depth;
    x = step.trail[depth].next;
    context = step.trail[depth].context;
  }
  std::stable_sort(step.matches.begin(), step.matches.end(),
                   [](const Match& m, const Match& n) { return m.context < n.context; });
  return true;
}

// The next candidate of a fused "..." and name step below context root `b`,
// or 0 when none is left.
template <class Reader>
long subtreeName(Reader& reader, Step& step, long& budget, bool firstTry, long b) {
  if (firstTry && !collect(reader, step, budget, b)) step.matches.clear();
  return step.next < step.matches.size() ? step.matches[step.next++].handle : 0;
}

// The backtracking search over one reader; the number of objects found.
template <class Reader>
long search(Reader& reader, std::vector<Step>& steps, long* position, long* budgets, long start,
            QmdbList* list, long stepLimit) {
  const long last = static_cast<long>(steps.size()) - 1;
  long found = 0;
  long level = 0;
  long current = start;
  position[0] = 0;
  while (level >= 0) {
    Step& step = steps[static_cast<size_t>(level)];
    long& budget = budgets[level];
    const bool firstTry = position[level] == 0;
    if (firstTry) budget = stepLimit;
    long r = 0;
    switch (step.kind) {
      case StepKind::kSelf:
        r = firstTry ? current : 0;
        break;
      case StepKind::kParent:
        r = firstTry ? reader.parent(current) : 0;
        break;
      case StepKind::kChildren:
        if (budget-- > 0) r = firstTry ? reader.first(current) : reader.nextSibling(current);
        break;
      case StepKind::kSubtree: {
        // The context B itself, then every object below it in document order,
        // ending at B's end position. Before a child step, objects that can
        // have no children are passed over: the child step would find nothing.
        const long b = level == 0 ? start : position[level - 1];
        if (firstTry) {
          r = current;
          break;
        }
        if (budget-- > 0) r = current == b ? reader.first(current) : reader.nextTree(current);
        while (r != 0 && r != -b &&
               (r <= 0 || (step.wantsChildren && !reader.mayHaveChildren(r)))) {
          if (budget-- <= 0) {
            r = 0;
            break;
          }
          r = reader.nextTree(r);
        }
        if (r <= 0) r = 0;
        break;
      }
      case StepKind::kName:
        if (budget-- > 0) r = firstTry ? reader.first(current) : reader.nextSibling(current);
        while (r != 0 && !reader.named(r, step)) {
          if (budget-- <= 0) {
            r = 0;
            break;
          }
          r = reader.nextSibling(r);
        }
        break;
      case StepKind::kSubtreeName:
        r = subtreeName(reader, step, budget, firstTry, level == 0 ? start : position[level - 1]);
        break;
    }
    position[level] = r;
    current = r;
    if (r == 0) {
      --level;
      if (level >= 0) current = position[level];
    } else if (level == last) {
      if (r != objects::kRoot) {  // the database root is never reported
        if (list != nullptr) list->add(r);
        ++found;
      }
    } else {
      ++level;
      position[level] = 0;
    }
  }
  return found;
}

}  // namespace

long Qmdb::findPath(QmdbList* list, const char* path, long start, bool caseSensitive) const {
  store::Store* s = Internal::usable(*this);
  if (s == nullptr || path == nullptr || start == 0) return 0;

  std::vector<Step> steps;
  std::vector<long> positions;  // each step's last candidate; 0 before its first
  std::vector<long> budgets;    // navigation calls each step may still make
  try {
    if (!store::allocationAllowed()) throw std::bad_alloc();
    size_t slots = 1;
    for (const char* p = path; *p != '\0'; ++p) slots += *p == '/' ? 1 : 0;
    steps.reserve(slots);
    positions.assign(slots, 0);
    budgets.assign(slots, 0);
    splitPath(path, steps);
    fuseSteps(steps);
    markChildSteps(steps);
    // Room for what a fused step keeps, enough for most documents.
    for (Step& step : steps) {
      if (step.kind == StepKind::kSubtreeName) {
        step.matches.reserve(64);
        step.trail.reserve(64);
      }
    }
  } catch (const std::bad_alloc&) {
    store::report(*s, store::kError, "MEMORYOVERFLOW", store::kMsgMemoryOverflow, "findPath()");
    return 0;
  }

  // No sibling list or subtree of a sound heap is longer than this; on a
  // damaged heap a step gives up after it, so every search ends.
  const long stepLimit = objects::walkLimit(*s);
  const QmCEncoding* coding = Internal::encoding(*this);
  try {
    if (typeid(*this) == typeid(Qmdb) && (coding == nullptr || coding->IsTransparent())) {
      DirectReader reader(*s, caseSensitive);
      return search(reader, steps, positions.data(), budgets.data(), start, list, stepLimit);
    }
    VirtualReader reader(*this, caseSensitive);
    return search(reader, steps, positions.data(), budgets.data(), start, list, stepLimit);
  } catch (const std::bad_alloc&) {
    // A fused step could not keep what it found: the search ends there.
    store::report(*s, store::kError, "MEMORYOVERFLOW", store::kMsgMemoryOverflow, "findPath()");
    return 0;
  }
}
