// The cold walk's two sides: posix_spawn and waitpid in the parent, the walk
// and one report line ("checksum=... objects=... usec=... hwm_kb=...") in the child.
#include "ColdWalk.h"

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cinttypes>
#include <cstdio>
#include <stdexcept>
#include <vector>

#include "Measure.h"
#include "Peer.h"

extern char** environ;

namespace bench {

std::string runSelf(const std::string& self, const std::vector<std::string>& arguments) {
  int pipeFds[2];
  if (pipe(pipeFds) != 0) throw std::runtime_error("pipe failed");
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, pipeFds[1], STDOUT_FILENO);
  posix_spawn_file_actions_addclose(&actions, pipeFds[0]);
  posix_spawn_file_actions_addclose(&actions, pipeFds[1]);
  std::vector<std::string> args{self};
  args.insert(args.end(), arguments.begin(), arguments.end());
  std::vector<char*> argv;
  for (std::string& a : args) argv.push_back(a.data());
  argv.push_back(nullptr);
  pid_t pid = 0;
  int rc = posix_spawn(&pid, self.c_str(), &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  close(pipeFds[1]);
  if (rc != 0) {
    close(pipeFds[0]);
    throw std::runtime_error("cannot spawn " + self);
  }
  std::string out;
  char buffer[512];
  for (ssize_t n; (n = read(pipeFds[0], buffer, sizeof buffer)) > 0;) out.append(buffer, n);
  close(pipeFds[0]);
  int status = 0;
  if (waitpid(pid, &status, 0) != pid || !WIFEXITED(status) || WEXITSTATUS(status) != 0) {
    throw std::runtime_error(arguments[0] + " " + arguments[1] + " failed: " + out);
  }
  return out;
}

WalkReport runColdWalk(const std::string& self, const std::string& peer, const std::string& path) {
  std::string out = runSelf(self, {"walk", peer, path});
  WalkReport report;
  long long usec = 0;
  long hwmKb = 0;
  if (sscanf(out.c_str(), "checksum=%" SCNx64 " objects=%" SCNu64 " usec=%lld hwm_kb=%ld",
             &report.checksum, &report.objects, &usec, &hwmKb) != 4) {
    throw std::runtime_error("cold walk of " + peer + " said: " + out);
  }
  report.seconds = static_cast<double>(usec) / 1e6;
  // The child's own VmHWM: wait4's ru_maxrss would also count the parent's
  // memory, which a spawned child shares until it executes the program.
  report.peakRssKb = hwmKb;
  return report;
}

int walkCommand(const std::string& peer, const std::string& path) {
  Stopwatch clock;
  Digest d;
  if (peer == kQmdbWork) {
    // Not a walk: the count of what was found stands in for the checksum.
    uint64_t found = searchAndIndexQmdb(path, kWorkLookups);
    printf("checksum=%016" PRIx64 " objects=0 usec=%lld hwm_kb=%ld\n", found,
           static_cast<long long>(clock.seconds() * 1e6), peakResidentKb());
    return 0;
  }
  if (peer == "Qmdb") {
    d = walkQmdb(path);
  } else if (peer == "libxml2") {
    d = walkLibxml2(path);
  } else if (peer == "pugixml") {
    d = walkPugixml(path);
  } else if (peer == "SQLite") {
    d = walkSqlite(path);
  } else {
    fprintf(stderr, "walk: unknown peer %s\n", peer.c_str());
    return 2;
  }
  double seconds = clock.seconds();
  printf("checksum=%016" PRIx64 " objects=%" PRIu64 " usec=%lld hwm_kb=%ld\n", d.value(),
         d.objects(), static_cast<long long>(seconds * 1e6), peakResidentKb());
  return 0;
}

}  // namespace bench
