// Message output and assertion reports of the text library.
//
// Output of a message is bracketed: begin (naming the coding system in which
// the message is written), any number of formatted prints, end. Texts given in
// ISO 8859-1 are written as they are.
#ifndef QMENCODING_QMCMESSAGE_H
#define QMENCODING_QMCMESSAGE_H

#include <cstdio>

/// Begins the output of one message written in coding system `codingSystem`.
void QmCMessageBegin(const char* codingSystem);
/// Prints like fprintf to `stream`; returns fprintf's result.
int QmCMessagePrint(FILE* stream, const char* format, ...)
    __attribute__((format(printf, 2, 3)));
/// Ends the output begun by QmCMessageBegin, flushing the stream last printed to.
void QmCMessageEnd();

/// Reports a failed assertion to the handler (null: to stderr) and returns:
/// "Qmx-<severity name> (<code>):\n<text> failed in <file>:<line> (<timestamp>)\n".
void QmCAssertReport(void* handler, int severity, const char* code, const char* text,
                     const char* file, int line, const char* timestamp);

#endif
