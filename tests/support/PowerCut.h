// A file layer for the text library's seam that loses power on demand.
//
// It passes every call to the system (syncs only flush: what they would make
// durable is recorded instead) and keeps, per file, the content that the last
// sync made durable and, per directory, the names that the last directory
// sync made durable. At the chosen call the power goes: that call and every
// later one fail without touching anything, and restore() then rewrites the
// directory as a disk may show it after the cut: only what was synced
// (durable names with their durable content, everything unsynced gone),
// everything the system had been given before the cut, or the written
// content of only the durable names. Files that exist when
// they are first seen count as durable. One thread, one cut at a time.
#ifndef QMDB_TESTS_SUPPORT_POWERCUT_H
#define QMDB_TESTS_SUPPORT_POWERCUT_H

namespace qmdb::test {

class PowerCut {
 public:
  /// Installs the layer for this thread; the power goes at call `cutAt` (1 is
  /// the next counted call), never when 0.
  explicit PowerCut(long cutAt);
  /// Puts the system's layer back (without restoring anything).
  ~PowerCut();
  PowerCut(const PowerCut&) = delete;
  PowerCut& operator=(const PowerCut&) = delete;

  /// The calls counted so far.
  long calls() const;
  /// Whether the power went.
  bool cut() const;
  /// What survives the cut.
  enum class Survivors { kSyncedOnly, kAllWritten, kWrittenToSyncedNames };
  /// Leaves on disk what survived: with kSyncedOnly every file seen is
  /// rewritten with its durable content, or removed when its name was not
  /// durable; with kAllWritten every file is as it was when the power went;
  /// with kWrittenToSyncedNames the files of durable names are as they were
  /// when the power went (or durable, when removed by then), the others gone.
  void restore(Survivors survivors);
};

}  // namespace qmdb::test

#endif
