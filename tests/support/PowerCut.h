// A file layer for the text library's seam that loses power on demand. It
// passes every call to the system but records, instead of making durable, what
// syncs of files and directories would keep. At the chosen call the power goes:
// that call and every later one fail untouched, and restore() rewrites the
// files as a disk may show them after the cut. Files that exist when first
// seen count as durable. One thread, one cut at a time.
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
  /// What survives the cut: only synced content under synced names (the
  /// rest removed); everything as the system held it at the cut; or that,
  /// but only under synced names (a file removed by then keeps its synced content).
  enum class Survivors { kSyncedOnly, kAllWritten, kWrittenToSyncedNames };
  /// Leaves on disk what survived, for every file seen.
  void restore(Survivors survivors);
};

}  // namespace qmdb::test

#endif
