// The parse events of one document, held in memory: what every peer builds from.
//
// A document is a flat list of events in document order: start of an element
// (its attributes follow at once as attribute events), text, processing
// instruction, end of an element. All texts live in one arena and are named by
// their offset, so the list stays compact at a hundred megabytes of XML.
#ifndef QMDB_BENCH_EVENTS_H
#define QMDB_BENCH_EVENTS_H

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

namespace bench {

enum class EventKind : uint8_t { kStart, kAttribute, kText, kPi, kEnd };

/// One parse event. `name` is the gid, attribute name or pi target; `value`
/// the attribute value, text or pi data. Both are arena offsets.
struct Event {
  EventKind kind;
  uint32_t name;
  uint32_t value;
};

/// The events of one document and the texts they name.
class EventList {
 public:
  EventList();

  /// Appends an event; names are kept once, values are copied every time.
  void start(const char* gid) { events_.push_back({EventKind::kStart, intern(gid), 0}); }
  void attribute(const char* name, const std::string& value) {
    events_.push_back({EventKind::kAttribute, intern(name), copy(value)});
  }
  void text(const std::string& value) { events_.push_back({EventKind::kText, 0, copy(value)}); }
  void pi(const char* target, const std::string& data) {
    events_.push_back({EventKind::kPi, intern(target), copy(data)});
  }
  void end() { events_.push_back({EventKind::kEnd, 0, 0}); }

  const std::vector<Event>& events() const { return events_; }
  /// The zero-terminated text at `offset` of the arena.
  const char* str(uint32_t offset) const { return arena_.data() + offset; }
  /// Bytes of text held in the arena.
  size_t arenaBytes() const { return arena_.size(); }

 private:
  uint32_t intern(const char* name);
  uint32_t copy(const std::string& text);

  std::vector<Event> events_;
  std::string arena_;
  std::unordered_map<std::string, uint32_t> names_;
};

}  // namespace bench

#endif
