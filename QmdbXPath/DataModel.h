// XPath's view of a database: what kind of node an object or attribute is,
// its name, parent and string-value, and the document order of nodes.
//
// Invariants: a text node is named by the first string or entity of a run of
// adjacent ones (firstOfRun); `#doctype` pis are Hidden and never reach a
// node-set; namespace declarations are not attributes. Everything is read
// through the public Qmdb interface, one record at a time.
#ifndef QMDBXPATH_DATAMODEL_H
#define QMDBXPATH_DATAMODEL_H

#include <string>
#include <unordered_map>
#include <vector>

#include <Qmdb/QmdbXPath>

namespace qmdbxpath {

using QmdbXPath::Node;

enum class NodeKind { None, Root, Element, Text, Comment, Pi, Attribute, Hidden };

/// The kind of the object h (Root for 1, None for 0 or a non-object).
NodeKind objectKind(Qmdb& db, long h);
/// The kind of an XPath node.
NodeKind kindOf(Qmdb& db, const Node& node);
/// True when the attribute is a namespace declaration (xmlns, xmlns:p).
bool isNamespaceDeclaration(const char* name);
/// The first string or entity of the run of adjacent ones that holds h.
long firstOfRun(Qmdb& db, long h);
/// The parent node (the owner for an attribute, 1 for a top-level object);
/// object 0 when there is none.
Node parentOf(Qmdb& db, const Node& node);
/// Appends the text of one string or entity object (an entity's value).
void appendObjectText(Qmdb& db, long h, std::string& out);
/// The XPath string-value of a node.
std::string stringValueOf(Qmdb& db, const Node& node);
/// The XPath name (gid, attribute name or pi target; empty otherwise).
std::string nameOf(Qmdb& db, const Node& node);
/// The namespace URI of the node's name, from the xmlns declarations in scope.
std::string namespaceUriOf(Qmdb& db, const Node& node);

/// Sorts nodes into document order and drops duplicates. Each node is keyed by
/// its path of sibling ranks; ranks are remembered only for the nodes sorted
/// (and their ancestors), so the memory is that of the set, not the document.
class DocumentOrder {
 public:
  explicit DocumentOrder(Qmdb& db) : db_(db) {}
  DocumentOrder(const DocumentOrder&) = delete;
  DocumentOrder& operator=(const DocumentOrder&) = delete;
  /// Sorts `nodes` and removes duplicates.
  void sort(std::vector<Node>& nodes);

 private:
  std::vector<long> key(const Node& node);
  long rank(long h);
  Qmdb& db_;
  std::unordered_map<long, long> ranks_;
};

}  // namespace qmdbxpath

#endif
