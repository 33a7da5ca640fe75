// The integrity check behind `qmdb check`. It trusts nothing that it reads:
// each child is tested with isObject before its links are followed, every
// walk counts its steps against a limit drawn from the heap's size, and the
// check goes on after a problem wherever the links still lead somewhere sound.
#include "Check.h"

#include "Tool.h"

#include <sys/stat.h>

#include <string>
#include <unordered_set>
#include <vector>

namespace qmdbtool {
namespace {

constexpr long kFirstRecord = 60;  // the header and the root record lie below

class Checker {
 public:
  Checker(Qmdb& db, const char* name, std::ostream& out) : db_(db), name_(name), out_(out) {}

  CheckReport run() {
    if (!db_.isValid()) {
      problem("the database is not usable" + errorText());
      return report_;
    }
    heapTop_ = db_.getSize();
    attributeBudget_ = heapTop_ / 16 + 16;
    checkHeader();
    if (usable()) checkTree();
    if (usable()) checkIndexes();
    return report_;
  }

 private:
  // One child list being walked: its parent, the child to visit next and the
  // one visited before it.
  struct ChildList {
    long parent;
    long next;
    long previous;
  };

  void problem(const std::string& text) {
    out_ << name_ << ": problem: " << text << "\n";
    ++report_.problems;
  }

  std::string errorText() const {
    if (db_.errorCode() == nullptr) return "";
    return std::string(": ") + db_.errorCode() + ": " + copyText(db_.errorMessage());
  }

  // False, after saying so once, when the library has given up on the file.
  bool usable() {
    if (db_.isValid()) return true;
    if (!reportedUnusable_) problem("the database became unusable" + errorText());
    reportedUnusable_ = true;
    return false;
  }

  static std::string where(long parent) {
    return parent == 1 ? std::string("the root") : "node " + std::to_string(parent);
  }

  void checkHeader() {
    long pageSize = db_.getPageSize();
    if (pageSize < kFirstRecord) problem("page size " + std::to_string(pageSize) + " is too small");
    if (heapTop_ < kFirstRecord) {
      problem("heap size " + std::to_string(heapTop_) +
              " leaves no room for the header and the root record");
    }
    // The library never reads past the heap top, so only a file shorter than
    // it has lost something: its last pages cannot be read.
    struct stat info;
    const char* file = db_.getName();
    if (file != nullptr && stat(file, &info) == 0 && info.st_size < heapTop_) {
      problem("the file lacks " + std::to_string(heapTop_ - info.st_size) + " bytes: it has " +
              std::to_string(info.st_size) + ", the header says " + std::to_string(heapTop_));
    }
  }

  // Walks every child list depth first, checking each child and its links.
  void checkTree() {
    long limit = walkLimit(db_);
    long steps = 0;
    std::vector<ChildList> lists{{1, db_.first(1), 0}};
    while (!lists.empty() && usable()) {
      ChildList& list = lists.back();
      long child = list.next;
      if (child == 0) {
        long last = db_.last(list.parent);
        if (last != list.previous) {
          problem(where(list.parent) + " names " + std::to_string(last) +
                  " as its last child, but its list ends at " + std::to_string(list.previous));
        }
        lists.pop_back();
        continue;
      }
      if (++steps > limit) {
        problem("the walk of the document did not end after " + std::to_string(limit) +
                " objects: the links form a cycle");
        return;
      }
      if (!db_.isObject(child, QmdbNoObject)) {
        problem("the child " + std::to_string(child) + " of " + where(list.parent) +
                " is not a sound object");
        lists.pop_back();  // its links cannot be followed: skip the rest of this list
        continue;
      }
      if (!seen_.insert(child).second) {
        problem("object " + std::to_string(child) + " is met again, in the list of " +
                where(list.parent));
        lists.pop_back();
        continue;
      }
      checkObject(child, list.parent, list.previous);
      list.previous = child;
      list.next = db_.next(child, QmdbSiblings);
      long first = db_.first(child);  // 0 for objects other than nodes
      if (first != 0) lists.push_back({child, first, 0});
    }
    report_.objects = static_cast<long>(seen_.size());
  }

  void checkObject(long object, long parent, long previous) {
    std::string self = "object " + std::to_string(object);
    long before = db_.previous(object, QmdbSiblings);
    if (before != previous) {
      problem(self + " names " + std::to_string(before) + " as its previous sibling, not " +
              std::to_string(previous));
    }
    long owner = db_.parent(object);
    if (owner != (parent == 1 ? 0 : parent)) {
      problem(self + " names " + std::to_string(owner) +
              " as its parent, but it is in the list of " + where(parent));
    }
    QmdbObjectType kind = db_.objectType(object);
    if (kind == QmdbString && db_.getValue(object) == nullptr) {
      problem(self + " is a string without a readable text");
    }
    if (kind == QmdbNode || kind == QmdbEntity || kind == QmdbPi) checkAttributes(object);
  }

  void checkAttributes(long object) {
    for (long a = db_.attribute(object, nullptr, QmdbNoAttributeType, QmdbNoAttributeClass, true);
         a != 0; a = db_.nextAttribute(a)) {
      std::string self = "attribute " + std::to_string(a) + " of object " + std::to_string(object);
      if (a < kFirstRecord || a > heapTop_ - 16) {
        problem(self + " lies outside the heap");
        return;
      }
      if (--attributeBudget_ < 0 || !attributesSeen_.insert(a).second) {
        problem(self + " is met again: the attribute lists form a cycle");
        return;
      }
    }
  }

  void checkIndexes() {
    std::unordered_set<long> indexes;
    for (long index = db_.index(nullptr); index != 0 && usable(); index = db_.nextIndex(index)) {
      if (index < kFirstRecord || index > heapTop_ - 16) {
        problem("the index catalogue names " + std::to_string(index) + ", outside the heap");
        return;
      }
      if (!indexes.insert(index).second) {
        problem("the index catalogue meets " + std::to_string(index) + " again: it forms a cycle");
        return;
      }
      ++report_.indexes;
      const char* label = db_.indexName(index);
      std::string name = label != nullptr ? "index '" + std::string(label) + "'"
                                          : "index " + std::to_string(index);
      if (label == nullptr) problem(name + " has no name");
      QmdbList entries;
      db_.getIndex(&entries, index, nullptr, nullptr);
      for (long object = entries.first(); object != 0; object = entries.next()) {
        ++report_.entries;
        if (entries.db() != nullptr) {
          problem(name + ": an entry names object " + std::to_string(object) +
                  " of another database");
        } else if (!db_.isObject(object, QmdbNoObject)) {
          problem(name + ": an entry names " + std::to_string(object) +
                  ", which is not a live object");
        }
      }
    }
  }

  Qmdb& db_;
  const char* name_;
  std::ostream& out_;
  CheckReport report_;
  long heapTop_ = 0;
  long attributeBudget_ = 0;
  bool reportedUnusable_ = false;
  std::unordered_set<long> seen_;
  std::unordered_set<long> attributesSeen_;
};

}  // namespace

CheckReport checkDatabase(Qmdb& db, const char* name, std::ostream& problems) {
  return Checker(db, name, problems).run();
}

}  // namespace qmdbtool
