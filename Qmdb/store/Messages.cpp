// The message table and the reporter. Each text is defined once here; every
// string argument is bounded by its %.256s format so that any formatted
// message fits the 1028-byte buffer.
#include "Qmdb/store/Messages.h"

#include <cstdarg>
#include <cstdio>

#include "Qmdb/store/Store.h"
#include "Qmencoding/QmCMessage.h"

namespace qmdb::store {

namespace {

struct MessageEntry {
  int number;
  const char* text;
};

constexpr MessageEntry kMessageTable[] = {
    {kMsgIllegalValue, "%.256s=%.256s is invalid (should be a number), using default (%d)"},
    {kMsgMemoryOverflow, "Failed to allocated memory for %.256s."},
    {kMsgCannotOpenOutput, "Could not open output file '%.256s' for %.256s"},
    {kMsgCannotOpen, "Could not open file %.256s"},
    {kMsgLocked, "Database file %.256s is in use by another process"},
    {kMsgOldVersion, "Cannot load outdated QMB file: %.256s"},
    {kMsgIncompleteFile, "Cannot load incomplete QMB file: %.256s"},
    {kMsgIllegalFile, "Cannot load illegal QMB file: %.256s"},
    {kMsgIllegalJournal, "Journal %.256s does not belong to its QMB file, not applied"},
    {kMsgNegativeAddress, "Negative swap-file address encountered: %ld"},
    {kMsgSeekFailed, "Could not fseek page %ld for %.256s"},
    {kMsgWriteFailed, "Could not fwrite page %ld (disk full?)"},
    {kMsgReadFailed, "Could not fread page %ld"},
    {kMsgLibraryNotFound, "External library not found (library %.256s, procedure %.256s)"},
    {kMsgProcedureNotFound, "External procedure not found (library %.256s, procedure %.256s)"},
};

}  // namespace

const char* severityName(int severity) {
  switch (severity) {
    case kInfo:
      return "INFO";
    case kWarning:
      return "WARNING";
    case kError:
      return "ERROR";
    case kBug:
      return "BUG";
    case kFatalError:
      return "FATAL ERROR";
    case kFatalBug:
      return "FATAL BUG";
    default:
      return "???";
  }
}

const char* messageText(int number) {
  for (const MessageEntry& entry : kMessageTable) {
    if (entry.number == number) return entry.text;
  }
  return nullptr;
}

void report(Store& store, int severity, const char* code, int number, ...) {
  char buffer[kMessageBufferSize];
  buffer[0] = '\0';
  const char* format = messageText(number);
  if (format != nullptr) {
    va_list args;
    va_start(args, number);
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    vsnprintf(buffer, sizeof buffer, format, args);
#pragma GCC diagnostic pop
    va_end(args);
  }
  if (severity > kBug) store.failed = true;
  store.errorCode = code;
  store.errorMessage = buffer;
  store.hasError = true;
  QmCMessageBegin("ISO8859");
  if (store.errorStream != nullptr) {
    QmCMessagePrint(store.errorStream, "Qmx-%s (%s):\n%s", severityName(severity),
                    store.errorCode.c_str(), store.errorMessage.c_str());
  }
  QmCMessageEnd();
}

}  // namespace qmdb::store
