// Peak memory from /proc/self/status, the machine from /proc/cpuinfo and
// /proc/loadavg.
#include "Measure.h"

#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <ctime>
#include <fstream>

namespace bench {

long peakResidentKb() {
  std::ifstream status("/proc/self/status");
  std::string line;
  while (std::getline(status, line)) {
    if (line.rfind("VmHWM:", 0) == 0) return std::atol(line.c_str() + 6);
  }
  return 0;
}

std::string machineDescription() {
  std::string model = "unknown CPU";
  std::ifstream cpuinfo("/proc/cpuinfo");
  std::string line;
  while (std::getline(cpuinfo, line)) {
    if (line.rfind("model name", 0) == 0) {
      size_t colon = line.find(':');
      if (colon != std::string::npos) model = line.substr(line.find_first_not_of(" \t", colon + 1));
      break;
    }
  }
  long cores = sysconf(_SC_NPROCESSORS_ONLN);
  return std::to_string(cores) + " cores (nproc), " + model;
}

std::string loadAverage() {
  std::ifstream in("/proc/loadavg");
  std::string one, five, fifteen;
  in >> one >> five >> fifteen;
  return one + " " + five + " " + fifteen;
}

std::string nowUtc() {
  time_t now = time(nullptr);
  struct tm utc;
  gmtime_r(&now, &utc);
  char text[64];
  strftime(text, sizeof text, "%Y-%m-%d %H:%M UTC", &utc);
  return text;
}

}  // namespace bench
