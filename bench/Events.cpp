// The event list's arena: texts stored once each, names shared.
#include "Events.h"

#include <stdexcept>

namespace bench {

EventList::EventList() {
  arena_.push_back('\0');  // offset 0 is the empty text
}

uint32_t EventList::intern(const char* name) {
  auto found = names_.find(name);
  if (found != names_.end()) return found->second;
  uint32_t offset = copy(name);
  names_.emplace(name, offset);
  return offset;
}

uint32_t EventList::copy(const std::string& text) {
  if (arena_.size() + text.size() + 1 > UINT32_MAX) throw std::length_error("event arena full");
  auto offset = static_cast<uint32_t>(arena_.size());
  arena_.append(text);
  arena_.push_back('\0');
  return offset;
}

}  // namespace bench
