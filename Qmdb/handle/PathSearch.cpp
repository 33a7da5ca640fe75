// Qmdb::findPath: finding objects by a slash-separated path of steps.
//
// The search backtracks: it keeps one candidate per step and asks each step
// for its next candidate only when everything reached through the last one
// has been found, so results come in backtracking order and no intermediate
// result set is ever built. It reads the tree only through the virtual
// navigation methods (first, next, parent, getId), so a derived class that
// overrides them changes the search too.
//
// Names are compared with what getId returns, that is in the caller's coding;
// the path is therefore split as the caller gave it, so that both sides of the
// comparison are in the same coding whatever coding system is pushed.
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "Qmdb/Qmdb"
#include "Qmdb/handle/Internal.h"
#include "Qmdb/objects/Navigation.h"
#include "Qmdb/objects/Records.h"
#include "Qmdb/store/Allocation.h"
#include "Qmdb/store/Messages.h"

using qmdb::handle::Internal;
namespace store = qmdb::store;

namespace {

enum class StepKind { kSelf, kParent, kChildren, kSubtree, kName };

struct Step {
  StepKind kind;
  std::string name;  // the text of a name step
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
        steps.push_back({kindOf(text), text});
      }
      return;
    }
    std::string text(begin, static_cast<size_t>(slash - begin));
    steps.push_back({kindOf(text), text});
    begin = slash + 1;
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
  } catch (const std::bad_alloc&) {
    store::report(*s, store::kError, "MEMORYOVERFLOW", store::kMsgMemoryOverflow, "findPath()");
    return 0;
  }

  // No sibling list or subtree of a sound heap is longer than this; on a
  // damaged heap a step gives up after it, so every search ends.
  const long stepLimit = qmdb::objects::walkLimit(*s);
  const long last = static_cast<long>(steps.size()) - 1;
  long* position = positions.data();
  long found = 0;
  long level = 0;
  long current = start;
  while (level >= 0) {
    const Step& step = steps[static_cast<size_t>(level)];
    long& budget = budgets[static_cast<size_t>(level)];
    const bool firstTry = position[level] == 0;
    if (firstTry) budget = stepLimit;
    long r = 0;
    switch (step.kind) {
      case StepKind::kSelf:
        r = firstTry ? current : 0;
        break;
      case StepKind::kParent:
        r = firstTry ? parent(current) : 0;
        break;
      case StepKind::kChildren:
        if (budget-- > 0) r = firstTry ? first(current) : next(current, QmdbSiblings);
        break;
      case StepKind::kSubtree: {
        // The context B itself, then every object below it in document order,
        // ending at B's end position.
        const long b = level == 0 ? start : position[level - 1];
        if (firstTry) {
          r = current;
          break;
        }
        if (budget-- > 0) r = current == b ? first(current) : next(current, QmdbTree);
        while (r != 0 && r != -b && r <= 0) {
          if (budget-- <= 0) {
            r = 0;
            break;
          }
          r = next(r, QmdbTree);
        }
        if (r <= 0) r = 0;
        break;
      }
      case StepKind::kName:
        if (budget-- > 0) r = firstTry ? first(current) : next(current, QmdbSiblings);
        while (r != 0) {
          // getId's text may lie in a frame that the next call reuses: it is
          // compared at once and not kept.
          const char* id = getId(r);
          if (id != nullptr && sameName(id, step.name.c_str(), caseSensitive)) break;
          if (budget-- <= 0) {
            r = 0;
            break;
          }
          r = next(r, QmdbSiblings);
        }
        break;
    }
    position[level] = r;
    current = r;
    if (r == 0) {
      --level;
      if (level >= 0) current = position[level];
    } else if (level == last) {
      if (r != qmdb::objects::kRoot) {  // the database root is never reported
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
