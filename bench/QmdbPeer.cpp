// Qmdb as a peer: a named database built with addNode, addAttribute,
// addString and addPi and saved with flush; walked with next(p, QmdbTree);
// searched with findPath; indexed with addIndex, putIndex and getIndex.
#include <Qmdb/Qmdb>

#include <stdexcept>
#include <string>
#include <vector>

#include "Peer.h"
#include "Random.h"

namespace bench {

namespace {

// Type and class codes of the attributes: the caller's own, any non-zero value.
constexpr auto kAttrType = static_cast<QmdbAttributeType>(1);
constexpr auto kAttrClass = static_cast<QmdbAttributeClass>(1);
const char kIndexName[] = "ids";

class QmdbPeer : public Peer {
 public:
  const char* name() const override { return "Qmdb"; }
  bool hasIndex() const override { return true; }

  void build(const EventList& list, const std::string& path) override {
    path_ = path;
    db_.reset(new Qmdb(path.c_str(), QmdbFileWrite));
    if (!db_->isValid()) throw std::runtime_error("Qmdb: cannot create " + path);
    Qmdb& db = *db_;
    std::vector<long> open{1};
    open.reserve(64);
    bool added = true;  // false once anything could not be added (a full heap)
    for (const Event& e : list.events()) {
      switch (e.kind) {
        case EventKind::kStart:
          open.push_back(db.addNode(open.back(), list.str(e.name)));
          added = added && open.back() != 0;
          break;
        case EventKind::kAttribute:
          added = added && db.addAttribute(open.back(), list.str(e.name), list.str(e.value),
                                           kAttrType, kAttrClass) != 0;
          break;
        case EventKind::kText:
          added = added && db.addString(open.back(), list.str(e.value)) != 0;
          break;
        case EventKind::kPi:
          added = added && db.addPi(open.back(), list.str(e.name), list.str(e.value)) != 0;
          break;
        case EventKind::kEnd:
          open.pop_back();
          break;
      }
    }
    if (!added) throw std::runtime_error("Qmdb: the document does not fit the heap");
    db.flush(false);
    if (!db.isValid() || open.size() != 1) throw std::runtime_error("Qmdb: build failed");
  }

  // From a fresh open: the builder's opening is closed first (its lock would
  // keep a reader out), and the searches read the saved file.
  PathCounts findPaths() override {
    db_.reset();
    Qmdb db(path_.c_str(), QmdbFileRead);
    if (!db.isValid()) throw std::runtime_error("Qmdb: cannot open " + path_);
    PathCounts c;
    QmdbList list;
    c.itemNames = static_cast<uint64_t>(db.findPath(&list, ".../item/name", 1, true));
    list.clear();
    c.regionItems = static_cast<uint64_t>(db.findPath(&list, "site/regions/*/item", 1, true));
    return c;
  }

  void indexPrepare(const IndexWork& work) override {
    if (db_ == nullptr) db_.reset(new Qmdb(path_.c_str(), QmdbFileUpdate));
    if (!db_->isValid()) throw std::runtime_error("Qmdb: cannot update " + path_);
    handles_.clear();
    handles_.reserve(work.keyed.size());
    uint64_t ordinal = 0;
    size_t k = 0;
    for (long p = db_->next(1, QmdbTree); p != 0 && k < work.keyed.size();
         p = db_->next(p, QmdbTree)) {
      if (p < 0) continue;
      if (ordinal++ == work.keyed[k].ordinal) {
        handles_.push_back(p);
        ++k;
      }
    }
    if (handles_.size() != work.keyed.size()) throw std::runtime_error("Qmdb: keyed objects lost");
  }

  void indexPut(const IndexWork& work) override {
    index_ = db_->addIndex(kIndexName);
    if (index_ == 0) throw std::runtime_error("Qmdb: addIndex failed");
    for (size_t i = 0; i < handles_.size(); ++i) {
      if (db_->putIndex(index_, handles_[i], work.keyed[i].key.c_str(), false) == 0) {
        throw std::runtime_error("Qmdb: putIndex failed");
      }
    }
  }

  uint64_t indexLookups(const IndexWork& work) override {
    uint64_t found = 0;
    QmdbList list;
    for (uint32_t k : work.lookups) {
      found += static_cast<uint64_t>(
          db_->getIndex(&list, index_, const_cast<char*>(work.keyed[k].key.c_str()), nullptr));
      list.clear();
    }
    return found;
  }

  uint64_t indexRanges(const IndexWork& work) override {
    uint64_t found = 0;
    QmdbList list;
    for (const auto& r : work.ranges) {
      found += static_cast<uint64_t>(db_->getIndex(
          &list, index_, const_cast<char*>(r.first.c_str()), const_cast<char*>(r.second.c_str())));
      list.clear();
    }
    return found;
  }

  void close() override { db_.reset(); }

 private:
  std::unique_ptr<Qmdb> db_;
  std::string path_;
  std::vector<long> handles_;
  long index_ = 0;
};

}  // namespace

std::unique_ptr<Peer> makeQmdbPeer() {
  return std::make_unique<QmdbPeer>();
}

Digest walkQmdb(const std::string& path) {
  Qmdb db(path.c_str(), QmdbFileRead);
  if (!db.isValid()) throw std::runtime_error("Qmdb: cannot open " + path);
  Digest d;
  for (long p = db.next(1, QmdbTree); p != 0; p = db.next(p, QmdbTree)) {
    if (p < 0) {
      d.tag('E');
      continue;
    }
    d.object();
    switch (db.objectType(p)) {
      case QmdbNode:
        d.tag('S');
        d.str(db.getId(p));
        for (long a = db.attribute(p, nullptr, QmdbNoAttributeType, QmdbNoAttributeClass, true);
             a != 0; a = db.nextAttribute(a)) {
          d.tag('A');
          d.str(db.attrName(a));
          d.str(db.attrValue(a));
        }
        break;
      case QmdbString:
        d.tag('T');
        d.str(db.getValue(p));
        break;
      case QmdbPi:
        d.tag('P');
        d.str(db.getId(p));
        d.str(db.getValue(p));
        break;
      default:
        throw std::runtime_error("Qmdb: unexpected object kind");
    }
  }
  return d;
}

uint64_t searchAndIndexQmdb(const std::string& path, size_t lookups) {
  uint64_t found = 0;
  QmdbList items;
  {
    Qmdb db(path.c_str(), QmdbFileRead);
    if (!db.isValid()) throw std::runtime_error("Qmdb: cannot open " + path);
    found += static_cast<uint64_t>(db.findPath(&items, ".../item/name", 1, true));
    items.clear();
    found += static_cast<uint64_t>(db.findPath(&items, "site/regions/*/item", 1, true));
  }
  Qmdb db(path.c_str(), QmdbFileUpdate);
  if (!db.isValid()) throw std::runtime_error("Qmdb: cannot update " + path);
  long index = db.addIndex("memory probe");
  items.clear();
  db.findPath(&items, ".../item", 1, true);
  db.findPath(&items, ".../person", 1, true);
  std::vector<std::string> keys;
  for (long h = items.first(); h != 0; h = items.next()) {
    long a = db.attribute(h, "id", QmdbNoAttributeType, QmdbNoAttributeClass, true);
    if (a == 0) continue;
    keys.emplace_back(db.attrValue(a));
    if (db.putIndex(index, h, keys.back().c_str(), false) == 0) {
      throw std::runtime_error("Qmdb: putIndex failed");
    }
  }
  if (keys.empty()) throw std::runtime_error("Qmdb: no keys");
  Random rnd(0x3e3);
  QmdbList list;
  for (size_t i = 0; i < lookups; ++i) {
    const std::string& key = keys[rnd.below(keys.size())];
    found +=
        static_cast<uint64_t>(db.getIndex(&list, index, const_cast<char*>(key.c_str()), nullptr));
    list.clear();
  }
  return found;
}

}  // namespace bench
