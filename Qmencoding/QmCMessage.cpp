// Message output and assertion reports.
//
// Messages are written as they are given (the engine writes ISO 8859-1
// texts), so the bracket converts nothing: QmCMessageBegin only records the
// coding of the message, and the bracket remembers the stream it last printed
// to so that QmCMessageEnd can flush it. The bracket state is per thread, so
// messages of two threads never flush each other's streams. The bracket is
// plain data: a thread's first message needs no memory and registers no
// destructor.
#include "Qmencoding/QmCMessage.h"

#include <cstdarg>

namespace {

struct MessageBracket {
  char coding[32];  // the coding system named at the start of the message (cut)
  FILE* lastStream = nullptr;
};

thread_local MessageBracket bracket = {{}, nullptr};

const char* severityName(int severity) {
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

const char* orEmpty(const char* text) {
  return text != nullptr ? text : "";
}

}  // namespace

void QmCMessageBegin(const char* codingSystem) {
  snprintf(bracket.coding, sizeof bracket.coding, "%s", orEmpty(codingSystem));
  bracket.lastStream = nullptr;
}

int QmCMessagePrint(FILE* stream, const char* format, ...) {
  if (stream == nullptr) return 0;
  va_list args;
  va_start(args, format);
  int result = vfprintf(stream, format, args);
  va_end(args);
  bracket.lastStream = stream;
  return result;
}

void QmCMessageEnd() {
  if (bracket.lastStream != nullptr) fflush(bracket.lastStream);
  bracket.lastStream = nullptr;
  bracket.coding[0] = '\0';
}

void QmCAssertReport(void* handler, int severity, const char* code, const char* text,
                     const char* file, int line, const char* timestamp) {
  FILE* out = handler != nullptr ? static_cast<FILE*>(handler) : stderr;
  fprintf(out, "Qmx-%s (%s):\n%s failed in %s:%d (%s)\n", severityName(severity), orEmpty(code),
          orEmpty(text), orEmpty(file), line, orEmpty(timestamp));
  fflush(out);
}
