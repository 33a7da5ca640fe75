// Text of DTD declarations: how the loader writes the internal subset that it
// keeps in the #doctype pi, and how the saver declares the entities that a
// written document references. Each function gives one declaration in the
// form a parser reads back to the same meaning; none of them fails.
#ifndef QMDB_QMDBXML_DECLARATIONS_H
#define QMDB_QMDBXML_DECLARATIONS_H

#include <libxml/tree.h>

#include <string>

namespace qmdbxml {

/// `text` as a quoted literal of an entity declaration whose replacement text
/// is `text` itself: character references in it stay references, so `&` that
/// begins "&#" becomes "&#38;"; entity references are kept; % and " are
/// written as character references.
std::string replacementLiteral(const std::string& text);
/// `text` as a quoted literal whose replacement text, used in content, is the
/// character data `text`: < and & become references that survive the
/// declaration ("&#38;#60;"), % and " character references.
std::string characterDataLiteral(const std::string& text);
/// `text` escaped so that a parser reads it back unchanged as character
/// data or, with `inAttribute`, as an attribute value in double quotes.
std::string escaped(const std::string& text, bool inAttribute);
/// `text` as a quoted attribute default value.
std::string attributeLiteral(const std::string& text);

/// PUBLIC "p" "s", PUBLIC "p" or SYSTEM "s" (for a notation the system
/// identifier may be missing); "" when both are null.
std::string externalId(const xmlChar* publicId, const xmlChar* systemId);

/// <!ENTITY ...> for an entity declaration of any libxml2 entity type.
/// `content` is the replacement text of an internal entity and the notation
/// name of an unparsed one.
std::string entityDeclaration(const xmlChar* name, int type, const xmlChar* publicId,
                              const xmlChar* systemId, const xmlChar* content);
/// <!NOTATION ...>.
std::string notationDeclaration(const xmlChar* name, const xmlChar* publicId,
                                const xmlChar* systemId);
/// <!ELEMENT ...> with its content model.
std::string elementDeclaration(const xmlChar* name, int type, xmlElementContentPtr content);
/// <!ATTLIST ...> for one attribute.
std::string attributeDeclaration(const xmlChar* element, const xmlChar* name, int type, int def,
                                 const xmlChar* defaultValue, xmlEnumerationPtr values);

}  // namespace qmdbxml

#endif
