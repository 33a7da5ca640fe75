// A deterministic generator of auction-site documents in the style of the
// XMark benchmark: a site with regions of items (names, descriptions of mixed
// content, mail boxes), categories, a category graph, people with profiles,
// and open and closed auctions with bidders, cross-referenced by id attributes.
#ifndef QMDB_BENCH_GENERATOR_H
#define QMDB_BENCH_GENERATOR_H

#include <string>
#include <vector>

#include "Events.h"

namespace bench {

/// One object that the index workload stores: its key (the element's id) and
/// its place among all objects of the document in document order (0-based,
/// elements, texts and pis counted; attributes not).
struct KeyedObject {
  std::string key;
  uint64_t ordinal;
};

/// What the generator gives: the events and the keyed objects (items and people).
struct Document {
  EventList events;
  std::vector<KeyedObject> keyed;
};

/// Makes a document of about `megabytes` of XML (as written by XmlWriter).
/// The same size always gives the same document.
Document generateDocument(double megabytes);

}  // namespace bench

#endif
