// The reference checksum: the digest that a faithful walk of the document
// must give, computed straight from the events.
#include "Peer.h"

namespace bench {

Digest digestEvents(const EventList& list) {
  Digest d;
  for (const Event& e : list.events()) {
    switch (e.kind) {
      case EventKind::kStart:
        d.object();
        d.tag('S');
        d.str(list.str(e.name));
        break;
      case EventKind::kAttribute:
        d.tag('A');
        d.str(list.str(e.name));
        d.str(list.str(e.value));
        break;
      case EventKind::kText:
        d.object();
        d.tag('T');
        d.str(list.str(e.value));
        break;
      case EventKind::kPi:
        d.object();
        d.tag('P');
        d.str(list.str(e.name));
        d.str(list.str(e.value));
        break;
      case EventKind::kEnd:
        d.tag('E');
        break;
    }
  }
  return d;
}

}  // namespace bench
