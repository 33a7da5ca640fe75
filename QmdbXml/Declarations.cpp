// Writes DTD declarations back as text from what libxml2's SAX2 interface
// reports of them. The loader keeps the internal subset this way, so the
// forms here are the ones a later parse must read to the same declarations.
#include "Declarations.h"

namespace qmdbxml {
namespace {

const char* text(const xmlChar* s) {
  return reinterpret_cast<const char*>(s);
}

std::string quoted(const xmlChar* s) {
  std::string value = s != nullptr ? text(s) : "";
  // A system literal cannot hold both quote characters; a " is written as
  // %22, which a URI reader takes for the same character.
  if (value.find('"') == std::string::npos) return "\"" + value + "\"";
  if (value.find('\'') == std::string::npos) return "'" + value + "'";
  std::string escaped;
  for (char c : value) escaped += c == '"' ? std::string("%22") : std::string(1, c);
  return "\"" + escaped + "\"";
}

// `value` with each character at an offset that `replaced` picks written as
// a decimal character reference.
template <typename Pick>
std::string withReferences(const std::string& value, Pick replaced) {
  std::string out;
  out.reserve(value.size());
  for (size_t i = 0; i < value.size(); ++i) {
    if (replaced(i)) {
      out += "&#" + std::to_string(static_cast<unsigned char>(value[i])) + ";";
    } else {
      out += value[i];
    }
  }
  return out;
}

void contentModel(xmlElementContentPtr content, std::string& out) {
  if (content == nullptr) return;
  switch (content->type) {
    case XML_ELEMENT_CONTENT_PCDATA:
      out += "#PCDATA";
      break;
    case XML_ELEMENT_CONTENT_ELEMENT:
      if (content->prefix != nullptr) out += std::string(text(content->prefix)) + ":";
      out += text(content->name);
      break;
    case XML_ELEMENT_CONTENT_SEQ:
    case XML_ELEMENT_CONTENT_OR: {
      // libxml2 keeps a list a|b|c as a right-leaning chain of binary nodes
      // of the same kind with single occurrence; a chain is one group.
      out += "(";
      const char* separator = content->type == XML_ELEMENT_CONTENT_SEQ ? "," : "|";
      xmlElementContentPtr link = content;
      while (true) {
        contentModel(link->c1, out);
        xmlElementContentPtr rest = link->c2;
        if (rest != nullptr && rest->type == content->type &&
            rest->ocur == XML_ELEMENT_CONTENT_ONCE) {
          out += separator;
          link = rest;
          continue;
        }
        if (rest != nullptr) {
          out += separator;
          contentModel(rest, out);
        }
        break;
      }
      out += ")";
      break;
    }
  }
  switch (content->ocur) {
    case XML_ELEMENT_CONTENT_OPT:
      out += "?";
      break;
    case XML_ELEMENT_CONTENT_MULT:
      out += "*";
      break;
    case XML_ELEMENT_CONTENT_PLUS:
      out += "+";
      break;
    default:
      break;
  }
}

}  // namespace

std::string replacementLiteral(const std::string& value) {
  // Character references stay references ("&#" is written "&#38;#"); entity
  // references are kept; % would start a parameter entity, " end the literal.
  auto special = [&](size_t i) {
    char c = value[i];
    return c == '%' || c == '"' || (c == '&' && i + 1 < value.size() && value[i + 1] == '#');
  };
  return "\"" + withReferences(value, special) + "\"";
}

std::string characterDataLiteral(const std::string& value) {
  // The replacement text is parsed again as content, so & < and CR first
  // become character references, which the literal then keeps unexpanded.
  return replacementLiteral(withReferences(
      value, [&](size_t i) { return value[i] == '&' || value[i] == '<' || value[i] == '\r'; }));
}

std::string escaped(const std::string& value, bool inAttribute) {
  // & and < would start markup, > could end a CDATA section, a CR would be
  // read back as a newline, and in an attribute value a parser would turn a
  // tab or newline into a space.
  std::string out;
  out.reserve(value.size() + 16);
  for (char c : value) {
    switch (c) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '\r':
        out += "&#13;";
        break;
      case '"':
        out += inAttribute ? "&quot;" : "\"";
        break;
      case '\t':
        out += inAttribute ? "&#9;" : "\t";
        break;
      case '\n':
        out += inAttribute ? "&#10;" : "\n";
        break;
      default:
        out += c;
    }
  }
  return out;
}

std::string attributeLiteral(const std::string& value) {
  return "\"" + escaped(value, true) + "\"";
}

std::string externalId(const xmlChar* publicId, const xmlChar* systemId) {
  if (publicId != nullptr) {
    std::string out = "PUBLIC " + quoted(publicId);
    if (systemId != nullptr) out += " " + quoted(systemId);
    return out;
  }
  if (systemId != nullptr) return "SYSTEM " + quoted(systemId);
  return "";
}

std::string entityDeclaration(const xmlChar* name, int type, const xmlChar* publicId,
                              const xmlChar* systemId, const xmlChar* content) {
  bool parameter = type == XML_INTERNAL_PARAMETER_ENTITY || type == XML_EXTERNAL_PARAMETER_ENTITY;
  std::string out = std::string("<!ENTITY ") + (parameter ? "% " : "") + text(name) + " ";
  if (type == XML_INTERNAL_GENERAL_ENTITY || type == XML_INTERNAL_PARAMETER_ENTITY) {
    out += replacementLiteral(content != nullptr ? text(content) : "");
  } else {
    out += externalId(publicId, systemId);
    if (type == XML_EXTERNAL_GENERAL_UNPARSED_ENTITY && content != nullptr) {
      out += std::string(" NDATA ") + text(content);
    }
  }
  return out + ">";
}

std::string notationDeclaration(const xmlChar* name, const xmlChar* publicId,
                                const xmlChar* systemId) {
  return std::string("<!NOTATION ") + text(name) + " " + externalId(publicId, systemId) + ">";
}

std::string elementDeclaration(const xmlChar* name, int type, xmlElementContentPtr content) {
  std::string out = std::string("<!ELEMENT ") + text(name) + " ";
  switch (type) {
    case XML_ELEMENT_TYPE_EMPTY:
      out += "EMPTY";
      break;
    case XML_ELEMENT_TYPE_ANY:
      out += "ANY";
      break;
    default: {
      std::string model;
      contentModel(content, model);
      // A model that is one name or #PCDATA alone still needs parentheses.
      if (model.empty() || model[0] != '(') {
        size_t end = model.find_first_of("?*+");
        model =
            "(" + model.substr(0, end) + ")" + (end == std::string::npos ? "" : model.substr(end));
      }
      out += model;
    }
  }
  return out + ">";
}

std::string attributeDeclaration(const xmlChar* element, const xmlChar* name, int type, int def,
                                 const xmlChar* defaultValue, xmlEnumerationPtr values) {
  std::string out = std::string("<!ATTLIST ") + text(element) + " " + text(name) + " ";
  switch (type) {
    case XML_ATTRIBUTE_ID:
      out += "ID";
      break;
    case XML_ATTRIBUTE_IDREF:
      out += "IDREF";
      break;
    case XML_ATTRIBUTE_IDREFS:
      out += "IDREFS";
      break;
    case XML_ATTRIBUTE_ENTITY:
      out += "ENTITY";
      break;
    case XML_ATTRIBUTE_ENTITIES:
      out += "ENTITIES";
      break;
    case XML_ATTRIBUTE_NMTOKEN:
      out += "NMTOKEN";
      break;
    case XML_ATTRIBUTE_NMTOKENS:
      out += "NMTOKENS";
      break;
    case XML_ATTRIBUTE_ENUMERATION:
    case XML_ATTRIBUTE_NOTATION: {
      if (type == XML_ATTRIBUTE_NOTATION) out += "NOTATION ";
      out += "(";
      for (xmlEnumerationPtr v = values; v != nullptr; v = v->next) {
        out += text(v->name);
        if (v->next != nullptr) out += "|";
      }
      out += ")";
      break;
    }
    default:
      out += "CDATA";
  }
  switch (def) {
    case XML_ATTRIBUTE_REQUIRED:
      out += " #REQUIRED";
      break;
    case XML_ATTRIBUTE_IMPLIED:
      out += " #IMPLIED";
      break;
    case XML_ATTRIBUTE_FIXED:
      out += " #FIXED " + attributeLiteral(defaultValue != nullptr ? text(defaultValue) : "");
      break;
    default:
      out += " " + attributeLiteral(defaultValue != nullptr ? text(defaultValue) : "");
  }
  return out + ">";
}

}  // namespace qmdbxml
