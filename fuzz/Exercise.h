// What the fuzz harnesses do to a database once it is open: every reading
// operation over everything that can be reached from the root and from the
// index catalogue, each walk bounded, and the same operations on arbitrary
// numbers taken from the input. Shared by the harnesses.
#ifndef QMDB_FUZZ_EXERCISE_H
#define QMDB_FUZZ_EXERCISE_H

#include <cstddef>
#include <cstdint>

class Qmdb;

namespace qmdb::fuzz {

/// Runs every reading operation over what `db` holds and on the numbers in
/// `data`; returns a digest of what it read, so nothing is optimised away.
uint64_t readEverything(Qmdb& db, const uint8_t* data, size_t size);

}  // namespace qmdb::fuzz

#endif
