// Stores what the loader reports as objects of the database, in order.
#include "TreeBuilder.h"

namespace qmdbxml {

namespace {
constexpr QmdbAttributeType kType = static_cast<QmdbAttributeType>(QmdbXml::kAttributeType);
constexpr QmdbAttributeClass kClass = static_cast<QmdbAttributeClass>(QmdbXml::kAttributeClass);
}  // namespace

TreeBuilder::TreeBuilder(Qmdb& db, long parent, bool keepComments)
    : db_(db), keepComments_(keepComments) {
  // A heap string lies within one page: its text and zero byte, rounded up to 4.
  maxText_ = static_cast<size_t>(db.getPageSize() / 4 * 4 - 1);
  open_.push_back(parent);
}

void TreeBuilder::startElement(const std::string& name, const Attributes& attributes) {
  if (!refusal_.empty()) return;
  flushText();
  long node = db_.addNode(open_.back(), name.c_str());
  if (!check(node, "the element " + name)) return;
  ++counts_.elements;
  for (const auto& attribute : attributes) {
    long a =
        db_.addAttribute(node, attribute.first.c_str(), attribute.second.c_str(), kType, kClass);
    if (!check(a, "the attribute " + attribute.first)) return;
    ++counts_.attributes;
  }
  open_.push_back(node);
}

void TreeBuilder::endElement() {
  if (!refusal_.empty()) return;
  flushText();
  if (open_.size() > 1) open_.pop_back();
}

void TreeBuilder::pi(const std::string& target, const std::string& data) {
  if (!refusal_.empty()) return;
  flushText();
  if (check(db_.addPi(open_.back(), target.c_str(), data.c_str()), "a pi")) ++counts_.pis;
}

void TreeBuilder::comment(const std::string& data) {
  if (!refusal_.empty() || !keepComments_) return;
  flushText();
  if (check(db_.addPi(open_.back(), QmdbXml::kCommentTarget, data.c_str()), "a comment")) {
    ++counts_.comments;
  }
}

void TreeBuilder::entity(const std::string& name, const std::string* value, long type) {
  if (!refusal_.empty()) return;
  flushText();
  long made = db_.addEntity(open_.back(), name.c_str(), value != nullptr ? value->c_str() : nullptr,
                            static_cast<QmdbEntityType>(type));
  if (check(made, "the entity " + name)) ++counts_.entities;
}

void TreeBuilder::doctype(const std::string& data) {
  if (!refusal_.empty()) return;
  flushText();
  lastTop_ = db_.addPi(open_.back(), QmdbXml::kDoctypeTarget, data.c_str());
  check(lastTop_, "the doctype");
}

void TreeBuilder::unparsedEntity(const std::string& name, const std::string& systemId,
                                 const std::string& notation, const std::string& declaration) {
  if (!refusal_.empty()) return;
  long made = db_.insertEntity(open_.front(), lastTop_, name.c_str(), systemId.c_str(),
                               static_cast<QmdbEntityType>(QmdbXml::kExternalUnparsedEntity));
  if (!check(made, "the entity " + name)) return;
  ++counts_.entities;
  lastTop_ = made;
  if (!notation.empty()) check(db_.setNotation(made, notation.c_str()), "a notation");
  check(db_.addAttribute(made, "declaration", declaration.c_str(), kType, kClass), "a declaration");
}

void TreeBuilder::flushText() {
  if (text_.empty()) return;
  std::string text;
  text.swap(text_);
  if (open_.size() == 1) return;
  size_t begin = 0;
  while (begin < text.size() && refusal_.empty()) {
    size_t end = text.size();
    if (end - begin > maxText_) {
      end = begin + maxText_;
      while (end > begin + 1 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) --end;
    }
    if (check(db_.addString(open_.back(), text.substr(begin, end - begin).c_str()), "a text")) {
      ++counts_.texts;
    }
    begin = end;
  }
}

bool TreeBuilder::check(long handle, const std::string& what) {
  if (handle != 0) return true;
  if (refusal_.empty()) refusal_ = "cannot store " + what;
  return false;
}

}  // namespace qmdbxml
