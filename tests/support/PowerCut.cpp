#include "support/PowerCut.h"

#include <errno.h>
#include <sys/stat.h>
#include <unistd.h>

#include <map>
#include <set>
#include <string>

#include "Qmencoding/QmCFile.h"
#include "support/TestSupport.h"

namespace qmdb::test {

namespace {

struct State {
  long calls = 0;
  long cutAt = 0;
  bool off = false;
  std::map<FILE*, std::string> names;          // open streams
  std::map<std::string, std::string> durable;  // per file seen: its durable content
  std::set<std::string> durableNames;          // files whose names would survive
  std::map<std::string, std::string> atCut;    // files there when the power went
  const QmCFileLayer* below = nullptr;
};

State* state = nullptr;

std::string directoryOf(const std::string& name) {
  size_t slash = name.rfind('/');
  return slash == std::string::npos ? "." : name.substr(0, slash);
}

std::string contentOf(const std::string& name) {
  std::vector<uint8_t> bytes = readFile(name);
  return std::string(bytes.begin(), bytes.end());
}

// Learns of a file: one that exists already is durable as it is.
void see(const std::string& name) {
  if (state->durable.count(name) != 0) return;
  state->durable[name] = contentOf(name);
  if (exists(name)) state->durableNames.insert(name);
}

// Counts a call; false when the power is (now) off. What the system holds at
// the cut is noted; stdio's buffers are the process's and are lost.
bool powered() {
  ++state->calls;
  if (!state->off && state->cutAt != 0 && state->calls >= state->cutAt) {
    state->off = true;
    for (const auto& entry : state->durable) {
      if (exists(entry.first)) state->atCut[entry.first] = contentOf(entry.first);
    }
  }
  if (state->off) errno = EIO;
  return !state->off;
}

FILE* cutOpen(const char* name, const char* mode) {
  if (!powered()) return nullptr;
  see(name);
  FILE* file = state->below->open(name, mode);
  if (file != nullptr) state->names[file] = name;
  return file;
}

int cutClose(FILE* file) {
  state->names.erase(file);
  return state->below->close(file);
}

int cutSync(FILE* file) {
  if (!powered()) return -1;
  int result = state->below->flush(file);
  if (result == 0) {
    const std::string& name = state->names[file];
    state->durable[name] = contentOf(name);
  }
  return result;
}

int cutRemove(const char* name) {
  if (!powered()) return -1;
  see(name);
  return state->below->remove(name);
}

int cutSyncDirectory(const char* name) {
  if (!powered()) return -1;
  std::string directory = directoryOf(name);
  for (const auto& [file, content] : state->durable) {
    if (directoryOf(file) != directory) continue;
    if (exists(file)) {
      state->durableNames.insert(file);
    } else {
      state->durableNames.erase(file);
    }
  }
  return 0;
}

// Calls that only move bytes pass through while the power is on.
constexpr QmCFileLayer kPowerCutLayer = {
    cutOpen,
    cutClose,
    [](FILE* file, long offset) { return powered() ? state->below->seek(file, offset) : -1; },
    [](void* buffer, size_t length, FILE* file) {
      return powered() ? state->below->read(buffer, length, file) : 0;
    },
    [](const void* buffer, size_t length, FILE* file) {
      return powered() ? state->below->write(buffer, length, file) : 0;
    },
    [](FILE* file) { return powered() ? state->below->flush(file) : EOF; },
    cutSync,
    [](FILE* file, long length) { return powered() ? state->below->truncate(file, length) : -1; },
    cutRemove,
    cutSyncDirectory};

}  // namespace

PowerCut::PowerCut(long cutAt) {
  state = new State;
  state->cutAt = cutAt;
  state->below = QmCFileUseLayer(&kPowerCutLayer);
}

PowerCut::~PowerCut() {
  QmCFileUseLayer(state->below);
  delete state;
  state = nullptr;
}

long PowerCut::calls() const {
  return state->calls;
}

bool PowerCut::cut() const {
  return state->off;
}

void PowerCut::restore(Survivors survivors) {
  for (const auto& [name, content] : state->durable) {
    const std::string* survivor = nullptr;
    auto found = state->atCut.find(name);
    const std::string* written = found != state->atCut.end() ? &found->second : nullptr;
    bool durableName = state->durableNames.count(name) != 0;
    if (survivors == Survivors::kSyncedOnly) {
      if (durableName) survivor = &content;
    } else if (survivors == Survivors::kAllWritten) {
      survivor = written;
    } else if (durableName) {
      survivor = written != nullptr ? written : &content;
    }
    if (survivor != nullptr) {
      writeFile(name, std::vector<uint8_t>(survivor->begin(), survivor->end()));
    } else {
      unlink(name.c_str());
    }
  }
}

}  // namespace qmdb::test
