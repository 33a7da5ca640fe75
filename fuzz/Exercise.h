// What the fuzz harnesses do to a database once it is open: every reading
// operation over everything that can be reached from the root and from the
// index catalogue, each walk bounded, and the same operations on arbitrary
// numbers taken from the input. Shared by the harnesses.
#ifndef QMDB_FUZZ_EXERCISE_H
#define QMDB_FUZZ_EXERCISE_H

#include <cstddef>
#include <cstdint>
#include <string>

class Qmdb;

namespace qmdb::fuzz {

/// Runs every reading operation over what `db` holds and on the numbers in
/// `data`; returns a digest of what it read, so nothing is optimised away.
uint64_t readEverything(Qmdb& db, const uint8_t* data, size_t size);

/// The scratch database file of this process for the harness `tag`, in $TMPDIR
/// (else /tmp), so that harnesses running side by side never share one.
const std::string& scratchFile(const char* tag);

}  // namespace qmdb::fuzz

#endif
