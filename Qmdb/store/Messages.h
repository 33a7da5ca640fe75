// The message reporter: the one way the engine tells of a problem.
//
// A report formats a numbered text of the message table, replaces the
// store's recorded error code and message with it, makes the database
// unusable when the severity is above 9, and prints it to the error stream
// when one is set. No other code prints anything.
#ifndef QMDB_STORE_MESSAGES_H
#define QMDB_STORE_MESSAGES_H

namespace qmdb::store {

struct Store;

/// Severities of reports.
enum Severity : int {
  kInfo = 0,
  kWarning = 1,
  kError = 2,
  kBug = 9,
  kFatalError = 12,
  kFatalBug = 19,
};

/// Numbers of the message table's texts.
enum MessageNumber : int {
  kMsgIllegalValue = 62,
  kMsgMemoryOverflow = 128,
  kMsgCannotOpenOutput = 157,
  kMsgCannotOpen = 158,
  kMsgLocked = 159,
  kMsgOldVersion = 163,
  kMsgIncompleteFile = 166,
  kMsgIllegalFile = 167,
  kMsgIllegalJournal = 168,
  kMsgNegativeAddress = 255,
  kMsgSeekFailed = 256,
  kMsgWriteFailed = 257,
  kMsgReadFailed = 258,
  kMsgLibraryNotFound = 279,
  kMsgProcedureNotFound = 280,
};

/// The printed name of a severity: "INFO", "WARNING", ..., "???" for others.
const char* severityName(int severity);

/// The format text of message `number`, or null when the table has none.
const char* messageText(int number);

/// Records and prints one message: the table's text `number` formatted with
/// the arguments, under error code `code`. Severities above 9 set the failed flag.
void report(Store& store, int severity, const char* code, int number, ...);

}  // namespace qmdb::store

#endif
