#include "Qmdb/store/StringPool.h"

#include <cstdlib>
#include <cstring>
#include <new>

#include "Qmdb/store/Allocation.h"

namespace qmdb::store {

namespace {

// Texts are copied into chunks of this size (a longer text gets its own).
constexpr size_t kChunkSize = 8192;
constexpr size_t kFirstSlots = 16;

// The length, then a hash of the text eight bytes at a time: names are
// short, and this costs a few instructions per word where a hash byte by
// byte costs a few per byte.
uint64_t mix(uint64_t h, uint64_t word) {
  h = (h ^ word) * 0x9E3779B97F4A7C15ull;
  return h ^ (h >> 29);
}

StringPool::Probe probeOf(const char* text) {
  size_t length = strlen(text);
  uint64_t h = mix(0, length);
  size_t i = 0;
  for (; i + 8 <= length; i += 8) {
    uint64_t word;
    memcpy(&word, text + i, 8);
    h = mix(h, word);
  }
  uint64_t rest = 0;
  for (size_t shift = 0; i < length; ++i, shift += 8) {
    rest |= static_cast<uint64_t>(static_cast<unsigned char>(text[i])) << shift;
  }
  return {mix(h, rest), length};
}

}  // namespace

StringPool::~StringPool() {
  for (char* chunk : chunks_) free(chunk);
}

size_t StringPool::slotFor(const char* text, const Probe& probe) const {
  const size_t mask = slots_.size() - 1;
  for (size_t i = static_cast<size_t>(probe.hash) & mask;; i = (i + 1) & mask) {
    const Slot& slot = slots_[i];
    if (slot.text == nullptr) return i;
    if (slot.hash == probe.hash && slot.length == probe.length &&
        memcmp(slot.text, text, probe.length) == 0) {
      return i;
    }
  }
}

int32_t StringPool::findInTable(const char* text, Probe& probe) const {
  Memo& memo = memo_[memoFor(text)];
  probe = probeOf(text);
  if (count_ == 0) return 0;
  size_t i = slotFor(text, probe);
  if (slots_[i].text != nullptr) {
    memo.text = text;
    memo.slot = i;
  }
  return slots_[i].address;
}

bool StringPool::add(const char* text, int32_t address) {
  if (text == nullptr) return false;
  return add(text, probeOf(text), address);
}

bool StringPool::add(const char* text, const Probe& probe, int32_t address) {
  if (text == nullptr) return false;
  if (count_ != 0) {
    Slot& slot = slots_[slotFor(text, probe)];
    if (slot.text != nullptr) {
      slot.address = address;
      return true;
    }
  }
  if (!makeRoom()) return false;
  const char* copy = keep(text, probe.length);
  if (copy == nullptr) return false;
  Slot& slot = slots_[slotFor(text, probe)];
  slot.text = copy;
  slot.hash = probe.hash;
  slot.length = probe.length;
  slot.address = address;
  ++count_;
  return true;
}

bool StringPool::makeRoom() {
  if ((count_ + 1) * 2 <= slots_.size()) return true;
  if (!allocationAllowed()) return false;
  std::vector<Slot> old;
  old.swap(slots_);
  try {
    slots_.assign(old.empty() ? kFirstSlots : old.size() * 2, Slot());
  } catch (const std::bad_alloc&) {
    slots_.swap(old);
    return false;
  }
  for (Memo& memo : memo_) memo = Memo();  // the slots move
  const size_t mask = slots_.size() - 1;
  for (const Slot& slot : old) {
    if (slot.text == nullptr) continue;
    size_t i = static_cast<size_t>(slot.hash) & mask;
    while (slots_[i].text != nullptr) i = (i + 1) & mask;
    slots_[i] = slot;
  }
  return true;
}

const char* StringPool::keep(const char* text, size_t length) {
  if (length + 1 > room_) {
    size_t size = length + 1 > kChunkSize ? length + 1 : kChunkSize;
    char* chunk = static_cast<char*>(allocate(size));
    if (chunk == nullptr) return nullptr;
    try {
      if (!allocationAllowed()) throw std::bad_alloc();
      chunks_.push_back(chunk);
    } catch (const std::bad_alloc&) {
      free(chunk);
      return nullptr;
    }
    free_ = chunk;
    room_ = size;
  }
  char* copy = free_;
  memcpy(copy, text, length);
  copy[length] = '\0';
  free_ += length + 1;
  room_ -= length + 1;
  return copy;
}

}  // namespace qmdb::store
