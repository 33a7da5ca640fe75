// The checksum every peer computes over what it read in a document-order walk.
//
// FNV-1a (64-bit) over a byte stream: 'S' gid NUL at an element's start, then
// 'A' name NUL value NUL per attribute, 'T' text NUL per text, 'P' target NUL
// data NUL per processing instruction, and 'E' at an element's end. Two walks
// that read the same document give the same value and the same object count.
#ifndef QMDB_BENCH_DIGEST_H
#define QMDB_BENCH_DIGEST_H

#include <cstdint>

namespace bench {

class Digest {
 public:
  void tag(char c) { byte(static_cast<uint8_t>(c)); }
  /// The bytes of `s` and a terminating zero; null counts as the empty text.
  void str(const char* s) {
    if (s != nullptr) {
      for (; *s != '\0'; ++s) byte(static_cast<uint8_t>(*s));
    }
    byte(0);
  }
  /// Counts one object (element, text or pi).
  void object() { ++objects_; }

  uint64_t value() const { return hash_; }
  uint64_t objects() const { return objects_; }

 private:
  void byte(uint8_t b) {
    hash_ ^= b;
    hash_ *= 0x100000001b3ULL;
  }

  uint64_t hash_ = 0xcbf29ce484222325ULL;
  uint64_t objects_ = 0;
};

}  // namespace bench

#endif
