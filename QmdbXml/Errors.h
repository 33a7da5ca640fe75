// The libxml2 error handlers of the calling thread while a load or save runs:
// libxml2 reports everything through them, and nothing may be printed, so a
// guard replaces them for its lifetime and restores the previous ones. Also the
// process's entity loader, which keeps this library's parses off the network.
#ifndef QMDB_QMDBXML_ERRORS_H
#define QMDB_QMDBXML_ERRORS_H

#include <libxml/xmlerror.h>

namespace qmdbxml {

/// Routes the thread's generic and structured libxml2 errors to `handler`
/// (null: drops them) while it lives.
class ErrorGuard {
 public:
  ErrorGuard(xmlStructuredErrorFunc handler, void* context);
  ~ErrorGuard();
  ErrorGuard(const ErrorGuard&) = delete;
  ErrorGuard& operator=(const ErrorGuard&) = delete;

 private:
  xmlGenericErrorFunc generic_;
  void* genericContext_;
  xmlStructuredErrorFunc structured_;
  void* structuredContext_;
};

/// Installs, once per process, the entity loader that keeps this library's
/// parses local: no network, and other parsers' loads passed on unchanged.
void installEntityLoader();
/// The tag that marks a parser context as one of this library's.
extern int gOwnParserTag;

}  // namespace qmdbxml

#endif
