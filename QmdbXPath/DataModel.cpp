// XPath's view of a database (see DataModel.h).
#include "DataModel.h"

#include <algorithm>
#include <cstring>

namespace qmdbxpath {

NodeKind objectKind(Qmdb& db, long h) {
  if (h == 1) return NodeKind::Root;
  if (h <= 0) return NodeKind::None;
  switch (db.objectType(h)) {
    case QmdbNode:
      return NodeKind::Element;
    case QmdbString:
    case QmdbEntity:
      return NodeKind::Text;
    case QmdbPi: {
      const char* target = db.getGid(h);
      if (target != nullptr && target[0] == '#') {
        if (std::strcmp(target, "#comment") == 0) return NodeKind::Comment;
        if (std::strcmp(target, "#doctype") == 0) return NodeKind::Hidden;
      }
      return NodeKind::Pi;
    }
    default:
      return NodeKind::None;
  }
}

NodeKind kindOf(Qmdb& db, const Node& node) {
  return node.attribute != 0 ? NodeKind::Attribute : objectKind(db, node.object);
}

bool isNamespaceDeclaration(const char* name) {
  return name != nullptr && std::strncmp(name, "xmlns", 5) == 0 &&
         (name[5] == '\0' || name[5] == ':');
}

long firstOfRun(Qmdb& db, long h) {
  if (objectKind(db, h) != NodeKind::Text) return h;
  for (long p = db.previous(h, QmdbSiblings); p != 0 && objectKind(db, p) == NodeKind::Text;
       p = db.previous(p, QmdbSiblings)) {
    h = p;
  }
  return h;
}

Node parentOf(Qmdb& db, const Node& node) {
  Node parent;
  if (node.attribute != 0) {
    parent.object = node.object;
  } else if (node.object > 1) {
    parent.object = db.parent(node.object);
    if (parent.object == 0 && db.isAttached(node.object)) parent.object = 1;
  }
  return parent;
}

void appendObjectText(Qmdb& db, long h, std::string& out) {
  const char* text = db.getValue(h);
  if (text != nullptr) out += text;
}

std::string stringValueOf(Qmdb& db, const Node& node) {
  std::string out;
  if (node.attribute != 0) {
    const char* value = db.attrValue(node.attribute);
    if (value != nullptr) out = value;
    return out;
  }
  switch (objectKind(db, node.object)) {
    case NodeKind::Text:
      for (long h = node.object; h != 0 && objectKind(db, h) == NodeKind::Text;
           h = db.next(h, QmdbSiblings)) {
        appendObjectText(db, h, out);
      }
      break;
    case NodeKind::Comment:
    case NodeKind::Pi:
      appendObjectText(db, node.object, out);
      break;
    case NodeKind::Element:
    case NodeKind::Root: {
      long end = -node.object;
      for (long p = db.first(node.object); p != 0 && p != end; p = db.next(p, QmdbTree)) {
        if (p > 0 && objectKind(db, p) == NodeKind::Text) appendObjectText(db, p, out);
      }
      break;
    }
    default:
      break;
  }
  return out;
}

std::string nameOf(Qmdb& db, const Node& node) {
  const char* name = nullptr;
  if (node.attribute != 0) {
    name = db.attrName(node.attribute);
  } else {
    NodeKind kind = objectKind(db, node.object);
    if (kind == NodeKind::Element || kind == NodeKind::Pi) name = db.getGid(node.object);
  }
  return name != nullptr ? name : "";
}

std::string namespaceUriOf(Qmdb& db, const Node& node) {
  NodeKind kind = kindOf(db, node);
  if (kind != NodeKind::Element && kind != NodeKind::Attribute) return "";
  std::string name = nameOf(db, node);
  size_t colon = name.find(':');
  if (colon == std::string::npos && kind == NodeKind::Attribute) return "";
  std::string prefix = colon == std::string::npos ? "" : name.substr(0, colon);
  if (prefix == "xml") return "http://www.w3.org/XML/1998/namespace";
  std::string declaration = prefix.empty() ? "xmlns" : "xmlns:" + prefix;
  for (long e = node.object; e > 1; e = parentOf(db, Node{e, 0}).object) {
    long a = db.attribute(e, declaration.c_str(), QmdbNoAttributeType, QmdbNoAttributeClass, true);
    if (a != 0) {
      const char* value = db.attrValue(a);
      return value != nullptr ? value : "";
    }
  }
  return "";
}

long DocumentOrder::rank(long h) {
  auto found = ranks_.find(h);
  if (found != ranks_.end()) return found->second;
  long steps = 0;
  long base = 0;
  for (long p = h; p != 0; p = db_.previous(p, QmdbSiblings)) {
    auto known = p == h ? ranks_.end() : ranks_.find(p);
    if (known != ranks_.end()) {
      base = known->second;
      break;
    }
    ++steps;
  }
  long r = base + steps;
  ranks_[h] = r;
  return r;
}

// Ranks from the top of the tree down; a detached tree sorts after the
// document, by the handle of its top. An attribute sorts after its owner and
// before the owner's children (0 then its place in the list).
std::vector<long> DocumentOrder::key(const Node& node) {
  std::vector<long> k;
  long h = node.object;
  long top = h;
  while (h > 1) {
    k.push_back(rank(h));
    top = h;
    long p = db_.parent(h);
    if (p == 0) break;
    h = p;
  }
  k.push_back(node.object == 1 || db_.isAttached(top) ? 0 : top);
  std::reverse(k.begin(), k.end());
  if (node.attribute != 0) {
    long place = 1;
    for (long a =
             db_.attribute(node.object, nullptr, QmdbNoAttributeType, QmdbNoAttributeClass, false);
         a != 0 && a != node.attribute; a = db_.nextAttribute(a)) {
      ++place;
    }
    k.push_back(0);
    k.push_back(place);
  }
  return k;
}

void DocumentOrder::sort(std::vector<Node>& nodes) {
  if (nodes.size() < 2) return;
  std::vector<std::pair<std::vector<long>, Node>> keyed;
  keyed.reserve(nodes.size());
  for (const Node& n : nodes) keyed.emplace_back(key(n), n);
  std::sort(keyed.begin(), keyed.end(),
            [](const auto& a, const auto& b) { return a.first < b.first; });
  nodes.clear();
  for (size_t i = 0; i < keyed.size(); ++i) {
    if (i > 0 && keyed[i].first == keyed[i - 1].first) continue;
    nodes.push_back(keyed[i].second);
  }
}

}  // namespace qmdbxpath
