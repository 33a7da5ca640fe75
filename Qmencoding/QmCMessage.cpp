// Message output and assertion reports. Messages are written as they are
// given (the engine writes ISO 8859-1 texts); the bracket only remembers the
// stream it printed to, so that the end of a message can flush it.
#include "Qmencoding/QmCMessage.h"

#include <cstdarg>

namespace {
thread_local FILE* lastStream = nullptr;

const char* severityText(int severity) {
  switch (severity) {
    case 0:
      return "INFO";
    case 1:
      return "WARNING";
    case 2:
      return "ERROR";
    case 9:
      return "BUG";
    case 12:
      return "FATAL ERROR";
    case 19:
      return "FATAL BUG";
    default:
      return "???";
  }
}
}  // namespace

void QmCMessageBegin(const char*) { lastStream = nullptr; }

int QmCMessagePrint(FILE* stream, const char* format, ...) {
  if (stream == nullptr) return 0;
  va_list args;
  va_start(args, format);
  int result = vfprintf(stream, format, args);
  va_end(args);
  lastStream = stream;
  return result;
}

void QmCMessageEnd() {
  if (lastStream != nullptr) fflush(lastStream);
  lastStream = nullptr;
}

void QmCAssertReport(void* handler, int severity, const char* code, const char* text,
                     const char* file, int line, const char* timestamp) {
  FILE* out = handler != nullptr ? static_cast<FILE*>(handler) : stderr;
  fprintf(out, "Qmx-%s (%s):\n%s failed in %s:%d (%s)\n", severityText(severity),
          code != nullptr ? code : "", text != nullptr ? text : "", file != nullptr ? file : "",
          line, timestamp != nullptr ? timestamp : "");
  fflush(out);
}
