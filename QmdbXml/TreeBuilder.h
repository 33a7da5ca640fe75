// Stores a document's content under one parent as the loader reports it:
// nodes with attributes, strings, pis, comments and entity objects. Character
// data is gathered until the next object so that adjacent pieces (text,
// CDATA, character references) become one text, then cut into strings of at
// most one heap page between UTF-8 sequences. The first refusal of the
// database is kept as the error; everything after it is ignored.
#ifndef QMDB_QMDBXML_TREEBUILDER_H
#define QMDB_QMDBXML_TREEBUILDER_H

#include <Qmdb/QmdbXml>

#include <string>
#include <utility>
#include <vector>

namespace qmdbxml {

using Attributes = std::vector<std::pair<std::string, std::string>>;

class TreeBuilder {
 public:
  TreeBuilder(Qmdb& db, long parent, bool keepComments);
  TreeBuilder(const TreeBuilder&) = delete;
  TreeBuilder& operator=(const TreeBuilder&) = delete;

  void text(const char* data, size_t length) { text_.append(data, length); }
  void startElement(const std::string& name, const Attributes& attributes);
  void endElement();
  void pi(const std::string& target, const std::string& data);
  void comment(const std::string& data);
  /// An entity object (no value when `value` is null) at the current place.
  void entity(const std::string& name, const std::string* value, long type);
  /// The #doctype pi with `data`, appended under the parent.
  void doctype(const std::string& data);
  /// A top-level entity object for an unparsed entity, after the #doctype pi
  /// and the unparsed entities made before it, with an attribute
  /// "declaration" holding `declaration`.
  void unparsedEntity(const std::string& name, const std::string& systemId,
                      const std::string& notation, const std::string& declaration);
  /// Stores the text gathered so far.
  void flushText();

  /// The longest text that fits one string.
  size_t maxText() const { return maxText_; }
  /// Whether an element is open (text outside the document element is dropped).
  bool inElement() const { return open_.size() > 1; }
  long parent() const { return open_.front(); }
  /// What the database refused first, or "" when nothing.
  const std::string& refusal() const { return refusal_; }
  const QmdbXml::Counts& counts() const { return counts_; }
  Qmdb& db() { return db_; }

 private:
  bool check(long handle, const std::string& what);

  Qmdb& db_;
  bool keepComments_;
  size_t maxText_;
  long lastTop_ = 0;        // the #doctype pi or the last unparsed entity after it
  std::vector<long> open_;  // the open elements; the parent at the bottom
  std::string text_;
  std::string refusal_;
  QmdbXml::Counts counts_;
};

}  // namespace qmdbxml

#endif
