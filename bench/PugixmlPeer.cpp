// pugixml as a peer: append_child, append_attribute and save_file to build
// and save; load_file and a walk of the DOM for the cold walk; its XPath for
// the path searches.
#include <pugixml.hpp>

#include <stdexcept>
#include <string>
#include <vector>

#include "Peer.h"

namespace bench {

namespace {

class PugixmlPeer : public Peer {
 public:
  const char* name() const override { return "pugixml"; }

  void build(const EventList& list, const std::string& path) override {
    doc_ = std::make_unique<pugi::xml_document>();
    std::vector<pugi::xml_node> open{*doc_};
    open.reserve(64);
    for (const Event& e : list.events()) {
      switch (e.kind) {
        case EventKind::kStart:
          open.push_back(open.back().append_child(list.str(e.name)));
          break;
        case EventKind::kAttribute:
          open.back().append_attribute(list.str(e.name)).set_value(list.str(e.value));
          break;
        case EventKind::kText:
          open.back().append_child(pugi::node_pcdata).set_value(list.str(e.value));
          break;
        case EventKind::kPi: {
          pugi::xml_node pi = open.back().append_child(pugi::node_pi);
          pi.set_name(list.str(e.name));
          pi.set_value(list.str(e.value));
          break;
        }
        case EventKind::kEnd:
          open.pop_back();
          break;
      }
    }
    if (!doc_->save_file(path.c_str(), "", pugi::format_raw)) {
      throw std::runtime_error("pugixml: save failed");
    }
  }

  PathCounts findPaths() override {
    PathCounts counts;
    counts.itemNames = doc_->select_nodes("//item/name").size();
    counts.regionItems = doc_->select_nodes("/site/regions/*/item").size();
    return counts;
  }

  void close() override { doc_.reset(); }

 private:
  std::unique_ptr<pugi::xml_document> doc_;
};

void walkChildren(Digest& d, pugi::xml_node parent) {
  for (pugi::xml_node n = parent.first_child(); n; n = n.next_sibling()) {
    switch (n.type()) {
      case pugi::node_element:
        d.object();
        d.tag('S');
        d.str(n.name());
        for (pugi::xml_attribute a = n.first_attribute(); a; a = a.next_attribute()) {
          d.tag('A');
          d.str(a.name());
          d.str(a.value());
        }
        walkChildren(d, n);
        d.tag('E');
        break;
      case pugi::node_pcdata:
        d.object();
        d.tag('T');
        d.str(n.value());
        break;
      case pugi::node_pi:
        d.object();
        d.tag('P');
        d.str(n.name());
        d.str(n.value());
        break;
      default:
        break;
    }
  }
}

}  // namespace

std::unique_ptr<Peer> makePugixmlPeer() {
  return std::make_unique<PugixmlPeer>();
}

Digest walkPugixml(const std::string& path) {
  pugi::xml_document doc;
  pugi::xml_parse_result ok = doc.load_file(path.c_str(), pugi::parse_default | pugi::parse_pi);
  if (!ok) throw std::runtime_error("pugixml: cannot parse " + path + ": " + ok.description());
  Digest d;
  walkChildren(d, doc);
  return d;
}

}  // namespace bench
