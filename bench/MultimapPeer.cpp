// std::multimap as the in-memory yardstick of the index workload: keys to
// document ordinals, exact lookups with equal_range, ranges with lower_bound.
#include <map>
#include <string>
#include <vector>

#include "KeyRange.h"
#include "Peer.h"

namespace bench {

namespace {

class MultimapPeer : public Peer {
 public:
  const char* name() const override { return "multimap"; }
  bool hasTree() const override { return false; }
  bool hasIndex() const override { return true; }

  void indexPut(const IndexWork& work) override {
    map_.clear();
    for (const KeyedObject& k : work.keyed) map_.emplace(k.key, k.ordinal);
  }

  uint64_t indexLookups(const IndexWork& work) override {
    uint64_t found = 0;
    for (uint32_t k : work.lookups) {
      auto range = map_.equal_range(work.keyed[k].key);
      for (auto i = range.first; i != range.second; ++i) found_.push_back(i->second);
      found += found_.size();
      found_.clear();
    }
    return found;
  }

  uint64_t indexRanges(const IndexWork& work) override {
    uint64_t found = 0;
    for (const auto& r : work.ranges) {
      std::string limit = rangeLimit(r.second);
      auto end = limit.empty() ? map_.end() : map_.lower_bound(limit);
      for (auto i = map_.lower_bound(r.first); i != end; ++i) found_.push_back(i->second);
      found += found_.size();
      found_.clear();
    }
    return found;
  }

  void close() override { map_.clear(); }

 private:
  std::multimap<std::string, uint64_t> map_;
  std::vector<uint64_t> found_;
};

}  // namespace

std::unique_ptr<Peer> makeMultimapPeer() {
  return std::make_unique<MultimapPeer>();
}

}  // namespace bench
