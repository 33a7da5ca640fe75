// Writes an event list as an XML file (no indentation, so that no text is
// added), escaping the characters that XML reserves.
#ifndef QMDB_BENCH_XMLWRITER_H
#define QMDB_BENCH_XMLWRITER_H

#include <string>

#include "Events.h"

namespace bench {

/// Writes the document to `path`; the number of bytes written. Throws on failure.
size_t writeXml(const EventList& events, const std::string& path);

}  // namespace bench

#endif
