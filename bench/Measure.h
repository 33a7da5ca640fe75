// Measuring: a wall clock, the peak resident set of this process, and a
// description of the machine for the results.
#ifndef QMDB_BENCH_MEASURE_H
#define QMDB_BENCH_MEASURE_H

#include <chrono>
#include <string>

namespace bench {

/// Seconds since construction (or the last restart), on the steady clock.
class Stopwatch {
 public:
  Stopwatch() : start_(std::chrono::steady_clock::now()) {}
  void restart() { start_ = std::chrono::steady_clock::now(); }
  double seconds() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
  }

 private:
  std::chrono::steady_clock::time_point start_;
};

/// The peak resident set of this process (VmHWM) in kilobytes; 0 when unknown.
long peakResidentKb();

/// "N cores, CPU model" from nproc and /proc/cpuinfo.
std::string machineDescription();

/// The 1-, 5- and 15-minute load averages from /proc/loadavg, as written there.
std::string loadAverage();

/// Today's date and time, "YYYY-MM-DD HH:MM UTC".
std::string nowUtc();

}  // namespace bench

#endif
