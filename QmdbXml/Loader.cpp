// Loading: libxml2's SAX2 push parser feeds a TreeBuilder, one chunk of input
// at a time, so memory stays flat in the size of the document (libxml2 builds
// only the DTD, never the document tree).
//
// Entity references: the parser runs without substituting entities. For an
// internal entity it reports the replacement's content as events at a depth
// above 0 (ctxt->depth) and then the reference itself; external parsed
// entities it only reports, and this loader parses them through the same
// handlers. Events above depth 0 are recorded per depth; when the reference
// arrives, its recording is either text only (it becomes one entity object
// with that text as value) or holds markup (it is replayed in the reference's
// place). Attribute values arrive with references unexpanded and are
// expanded here by libxml2's decoder, under its entity limits.
#include <Qmdb/QmdbXml>

#include "Declarations.h"
#include "Errors.h"
#include "TreeBuilder.h"

#include <libxml/SAX2.h>
#include <libxml/entities.h>
#include <libxml/parser.h>
#include <libxml/parserInternals.h>
#include <libxml/uri.h>
#include <libxml/valid.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <istream>
#include <algorithm>
#include <memory>
#include <mutex>
#include <set>

namespace qmdbxml {
namespace {

using QmdbXml::LoadOptions;
using QmdbXml::Result;

constexpr size_t kChunkSize = 256 * 1024;
constexpr size_t kMaxWarnings = 100;

const char* text(const xmlChar* s) {
  return reinterpret_cast<const char*>(s);
}
const xmlChar* xml(const char* s) {
  return reinterpret_cast<const xmlChar*>(s);
}

// One recorded event of an entity's replacement.
struct Item {
  enum Kind { Text, Start, End, Pi, Comment, Entity } kind;
  std::string name;
  std::string value;
  bool hasValue = true;
  long type = 0;
  Attributes attributes;
};

class Loader {
 public:
  Loader(Qmdb& db, const std::string& name, const std::string& base, const LoadOptions& options,
         long parent)
      : builder_(db, parent, options.comments), options_(options), name_(name), base_(base) {}

  xmlParserCtxtPtr context = nullptr;

  // --- what the handlers do ---

  // The attributes that the DTD supplies come last (`nbDefaulted` of them).
  void startElement(const xmlChar* localname, const xmlChar* prefix, int nbNamespaces,
                    const xmlChar** namespaces, int nbAttributes, int nbDefaulted,
                    const xmlChar** attributes) {
    if (!options_.defaultAttributes) nbAttributes -= nbDefaulted;
    std::string name = qualified(prefix, localname);
    Attributes list;
    for (int i = 0; i < nbNamespaces; ++i) {
      const xmlChar* p = namespaces[2 * i];
      const xmlChar* uri = namespaces[2 * i + 1];
      std::string value = uri != nullptr ? text(uri) : "";
      if (value.find('&') != std::string::npos) value = expand(value);
      list.emplace_back(p != nullptr ? "xmlns:" + std::string(text(p)) : "xmlns", std::move(value));
    }
    for (int i = 0; i < nbAttributes; ++i) {
      const xmlChar** a = attributes + 5 * i;
      std::string value(text(a[3]), static_cast<size_t>(a[4] - a[3]));
      if (value.find('&') != std::string::npos) value = expand(value);
      std::string attributeName = qualified(a[1], a[0]);
      if (!unparsedAttributes_.empty()) noteUnparsed(name, attributeName, value);
      list.emplace_back(std::move(attributeName), std::move(value));
    }
    if (depth() == 0) {
      builder_.startElement(name, list);
    } else {
      Item item{Item::Start, std::move(name), "", true, 0, std::move(list)};
      record(std::move(item));
    }
  }

  void endElement() {
    if (depth() == 0) {
      builder_.endElement();
    } else {
      record(Item{Item::End, "", "", true, 0, {}});
    }
  }

  void characters(const xmlChar* data, int length) {
    if (depth() == 0) {
      if (builder_.inElement()) builder_.text(text(data), static_cast<size_t>(length));
    } else {
      record(
          Item{Item::Text, "", std::string(text(data), static_cast<size_t>(length)), true, 0, {}});
    }
  }

  void processingInstruction(const xmlChar* target, const xmlChar* data) {
    std::string t = text(target), d = data != nullptr ? text(data) : "";
    if (context->inSubset == 1) {
      subset_ += "<?" + t + (d.empty() ? "" : " " + d) + "?>\n";
    } else if (context->inSubset == 0) {
      if (depth() == 0) {
        builder_.pi(t, d);
      } else {
        record(Item{Item::Pi, t, d, true, 0, {}});
      }
    }
  }

  void comment(const xmlChar* data) {
    std::string d = text(data);
    if (context->inSubset == 1) {
      subset_ += "<!--" + d + "-->\n";
    } else if (context->inSubset == 0) {
      if (depth() == 0) {
        builder_.comment(d);
      } else {
        record(Item{Item::Comment, "", d, true, 0, {}});
      }
    }
  }

  void internalSubset(const xmlChar* name, const xmlChar* publicId, const xmlChar* systemId) {
    doctypeName_ = text(name);
    publicId_ = publicId != nullptr ? text(publicId) : "";
    systemId_ = systemId != nullptr ? absolute(systemId) : "";
    hasPublic_ = publicId != nullptr;
    hasSystem_ = systemId != nullptr;
    hasDoctype_ = true;
  }

  // Called once the internal subset has been read (before the external one).
  void endOfInternalSubset() {
    if (!hasDoctype_) return;
    std::string data = doctypeName_;
    if (hasPublic_ || hasSystem_) {
      data += " " + externalId(hasPublic_ ? xml(publicId_.c_str()) : nullptr,
                               hasSystem_ ? xml(systemId_.c_str()) : nullptr);
    }
    if (!subset_.empty()) data += " [\n" + subset_ + "]";
    builder_.doctype(data);
  }

  void declaration(const std::string& text) {
    if (context->inSubset == 1) subset_ += text + "\n";
  }

  void attributeType(const xmlChar* element, const xmlChar* name, int type) {
    if (type == XML_ATTRIBUTE_ENTITY || type == XML_ATTRIBUTE_ENTITIES) {
      unparsedAttributes_.insert(std::string(text(element)) + " " + text(name));
    }
  }

  void reference(const xmlChar* name);

  /// A system identifier made absolute against the document's location ("" for null).
  std::string absolute(const xmlChar* systemId) const {
    if (systemId == nullptr) return "";
    xmlChar* built = xmlBuildURI(systemId, xml(base_.c_str()));
    std::string out = text(built != nullptr ? built : systemId);
    if (built != nullptr) xmlFree(built);
    return out;
  }

  void error(xmlErrorPtr error) {
    if (error == nullptr || error->level == XML_ERR_NONE) return;
    // An undeclared entity gets a warning of its own where it is kept.
    if (error->code == XML_WAR_UNDECLARED_ENTITY) return;
    std::string where = error->file != nullptr ? text(xml(error->file)) : name_;
    if (where == base_) where = name_;
    std::string message = error->message != nullptr ? error->message : "error";
    while (!message.empty() && (message.back() == '\n' || message.back() == ' '))
      message.pop_back();
    std::string line = where + ":" + std::to_string(error->line) + ":" +
                       std::to_string(error->int2 > 0 ? error->int2 : 1) + ": " + message;
    if (error->level == XML_ERR_FATAL) {
      fail(line);
    } else {
      warn(line);
    }
  }

  // --- the outcome ---

  void fail(const std::string& message) {
    if (failure_.empty()) failure_ = message;
    if (context != nullptr) xmlStopParser(context);
  }
  void warn(const std::string& message) {
    if (result_.warnings.size() < kMaxWarnings) result_.warnings.push_back(message);
  }
  bool failed() {
    if (failure_.empty() && !builder_.refusal().empty()) fail(here() + builder_.refusal());
    return !failure_.empty();
  }

  Result finish() {
    builder_.flushText();
    failed();
    result_.ok = failure_.empty();
    result_.message = failure_;
    result_.counts = builder_.counts();
    return result_;
  }

 private:
  int depth() const { return context->depth; }

  static std::string qualified(const xmlChar* prefix, const xmlChar* localname) {
    if (prefix == nullptr) return text(localname);
    return std::string(text(prefix)) + ":" + text(localname);
  }

  std::string here() const {
    return name_ + ":" + std::to_string(xmlSAX2GetLineNumber(context)) + ":" +
           std::to_string(xmlSAX2GetColumnNumber(context)) + ": ";
  }

  // An attribute value with its references expanded. libxml2 leaves "&#38;"
  // for & and "&name;" for entities when it does not substitute; the text an
  // entity brings has its whitespace normalized to spaces, as the parser does
  // for the literal value itself.
  std::string expand(const std::string& value) {
    std::string out;
    size_t begin = 0;
    while (begin < value.size()) {
      size_t amp = value.find('&', begin);
      size_t semicolon = amp == std::string::npos ? amp : value.find(';', amp);
      if (semicolon == std::string::npos) {
        out.append(value, begin, std::string::npos);
        break;
      }
      out.append(value, begin, amp - begin);
      std::string reference = value.substr(amp, semicolon + 1 - amp);
      begin = semicolon + 1;
      if (reference == "&#38;") {
        out += '&';
        continue;
      }
      xmlChar* decoded =
          xmlStringDecodeEntities(context, xml(reference.c_str()), XML_SUBSTITUTE_REF, 0, 0, 0);
      if (decoded == nullptr) continue;
      for (const xmlChar* c = decoded; *c != 0; ++c) {
        out += (*c == '\t' || *c == '\n' || *c == '\r') ? ' ' : static_cast<char>(*c);
      }
      xmlFree(decoded);
    }
    return out;
  }

  // Makes an entity object for each unparsed entity that an ENTITY or
  // ENTITIES attribute names, once per entity.
  void noteUnparsed(const std::string& element, const std::string& attribute,
                    const std::string& value) {
    if (unparsedAttributes_.count(element + " " + attribute) == 0) return;
    size_t begin = 0;
    while (begin < value.size()) {
      size_t end = value.find(' ', begin);
      if (end == std::string::npos) end = value.size();
      std::string name = value.substr(begin, end - begin);
      begin = end + 1;
      if (name.empty() || !unparsedMade_.insert(name).second) continue;
      xmlEntityPtr entity = xmlGetDocEntity(context->myDoc, xml(name.c_str()));
      if (entity == nullptr || entity->etype != XML_EXTERNAL_GENERAL_UNPARSED_ENTITY) continue;
      std::string notation = entity->content != nullptr ? text(entity->content) : "";
      std::string systemId = entity->URI != nullptr        ? text(entity->URI)
                             : entity->SystemID != nullptr ? text(entity->SystemID)
                                                           : "";
      std::string declarationText;
      xmlNotationPtr n = nullptr;
      if (context->myDoc->intSubset != nullptr) {
        n = xmlGetDtdNotationDesc(context->myDoc->intSubset, xml(notation.c_str()));
      }
      if (n == nullptr && context->myDoc->extSubset != nullptr) {
        n = xmlGetDtdNotationDesc(context->myDoc->extSubset, xml(notation.c_str()));
      }
      if (n != nullptr)
        declarationText = notationDeclaration(n->name, n->PublicID, n->SystemID) + "\n";
      declarationText += entityDeclaration(entity->name, entity->etype, entity->ExternalID,
                                           xml(systemId.c_str()), entity->content);
      builder_.unparsedEntity(name, systemId, notation, declarationText);
    }
  }

  void record(Item item) { keep(std::move(item), static_cast<size_t>(depth())); }

  // Keeps an item of a replacement at `level` (above 0) until its reference
  // comes. The replacement of a reference in the document itself (level 1)
  // is stored as it comes instead, once it shows markup or grows past what
  // one entity value can hold: it will be loaded in place anyway, and so a
  // large external entity does not have to fit in memory.
  void keep(Item item, size_t level) {
    if (level == 1 && !streaming_) {
      bool text = item.kind == Item::Text || (item.kind == Item::Entity && item.hasValue);
      kept_ += item.value.size();
      if (!text || kept_ > builder_.maxText()) {
        streaming_ = true;
        if (levels_.size() > 1) {
          std::vector<Item> before;
          before.swap(levels_[1]);
          store(before);
        }
      }
    }
    if (level == 1 && streaming_) {
      std::vector<Item> one;
      one.push_back(std::move(item));
      store(one);
      return;
    }
    if (levels_.size() <= level) levels_.resize(level + 1);
    levels_[level].push_back(std::move(item));
  }

  // Puts the items of a replacement at depth `d`: kept again one level
  // down, or stored when `d` is 0.
  void place(std::vector<Item>& items, int d) {
    if (d == 0) {
      store(items);
      return;
    }
    for (Item& item : items) keep(std::move(item), static_cast<size_t>(d));
  }

  // Stores items in the database.
  void store(std::vector<Item>& items) {
    for (Item& item : items) {
      switch (item.kind) {
        case Item::Text:
          if (builder_.inElement()) builder_.text(item.value.data(), item.value.size());
          break;
        case Item::Start:
          builder_.startElement(item.name, item.attributes);
          break;
        case Item::End:
          builder_.endElement();
          break;
        case Item::Pi:
          builder_.pi(item.name, item.value);
          break;
        case Item::Comment:
          builder_.comment(item.value);
          break;
        case Item::Entity:
          builder_.entity(item.name, item.hasValue ? &item.value : nullptr, item.type);
          break;
      }
    }
  }

  void unresolved(const std::string& name, long type, const std::string& why, int d) {
    std::string message = here() + "unresolved entity &" + name + "; (" + why + ")";
    if (options_.unresolvedEntityIsError) {
      fail(message);
      return;
    }
    warn(message);
    std::vector<Item> items;
    items.push_back(Item{Item::Entity, name, "", false, type, {}});
    place(items, d);
  }

  TreeBuilder builder_;
  const LoadOptions& options_;
  std::string name_;  // the document's name in messages
  std::string base_;  // its absolute location, against which references resolve
  Result result_;
  std::string failure_;
  std::vector<std::vector<Item>> levels_;  // kept replacements, by depth
  bool streaming_ = false;                 // the replacement at level 1 is being stored as it comes
  size_t kept_ = 0;                        // bytes of text kept at level 1
  bool hasDoctype_ = false, hasPublic_ = false, hasSystem_ = false;
  std::string doctypeName_, publicId_, systemId_, subset_;
  std::set<std::string> unparsedAttributes_;  // "element attribute" of type ENTITY(IES)
  std::set<std::string> unparsedMade_;
};

void Loader::reference(const xmlChar* nameText) {
  std::string name = text(nameText);
  int d = depth();
  std::vector<Item> content;
  size_t inner = static_cast<size_t>(d) + 1;
  if (levels_.size() > inner) {
    content.swap(levels_[inner]);
    levels_.resize(inner);
  }
  xmlEntityPtr entity = xmlGetDocEntity(context->myDoc, nameText);
  if (entity == nullptr) {
    unresolved(name, QmdbXml::kUndeclaredEntity, "not declared", d);
    return;
  }
  // Within a replacement, libxml2 has already reported a nested internal
  // entity's content among its own (the depth does not tell them apart), so
  // the nested reference stands expanded there.
  if (entity->etype == XML_INTERNAL_GENERAL_ENTITY && d > 0) return;
  long type = QmdbXml::kInternalEntity;
  if (entity->etype == XML_EXTERNAL_GENERAL_PARSED_ENTITY) {
    type = QmdbXml::kExternalParsedEntity;
    if (!options_.externalEntities) {
      unresolved(name, type, "external entities are not loaded", d);
      return;
    }
    // libxml2 reports an external entity without reading it; read it here
    // through the same handlers, one depth up.
    size_t warnings = result_.warnings.size();
    context->depth++;
    int status = xmlParseCtxtExternalEntity(context, entity->URI, entity->ExternalID, nullptr);
    context->depth--;
    if (failed()) return;
    if (levels_.size() > inner) {
      content.swap(levels_[inner]);
      levels_.resize(inner);
    }
    if (status != 0) {
      std::string why =
          result_.warnings.size() > warnings ? result_.warnings.back() : "cannot read";
      if (result_.warnings.size() > warnings) result_.warnings.pop_back();
      size_t colon = why.find(": ", why.find(':', why.find(':') + 1) + 1);
      unresolved(name, type, colon != std::string::npos ? why.substr(colon + 2) : why, d);
      return;
    }
  }
  if (d == 0 && streaming_) {
    // Stored as it came: only what follows the last stored item is left.
    streaming_ = false;
    kept_ = 0;
    store(content);
    return;
  }
  if (d == 0) kept_ = 0;
  bool textOnly = true;
  std::string value;
  for (const Item& item : content) {
    if (item.kind == Item::Text || (item.kind == Item::Entity && item.hasValue)) {
      value += item.value;
    } else {
      textOnly = false;
      break;
    }
  }
  if (textOnly && value.size() <= builder_.maxText()) {
    std::vector<Item> items;
    items.push_back(Item{Item::Entity, name, std::move(value), true, type, {}});
    place(items, d);
  } else {
    place(content, d);
  }
}

// --- libxml2's handlers, each forwarding to the Loader ---

Loader& loader(void* context) {
  return *static_cast<Loader*>(context);
}

xmlSAXHandler gDefaults;  // libxml2's own SAX2 handlers, which build the DTD

void onStartElement(void* ctx, const xmlChar* localname, const xmlChar* prefix, const xmlChar*,
                    int nbNamespaces, const xmlChar** namespaces, int nbAttributes, int nbDefaulted,
                    const xmlChar** attributes) {
  if (loader(ctx).failed()) return;
  loader(ctx).startElement(localname, prefix, nbNamespaces, namespaces, nbAttributes, nbDefaulted,
                           attributes);
}
void onEndElement(void* ctx, const xmlChar*, const xmlChar*, const xmlChar*) {
  if (!loader(ctx).failed()) loader(ctx).endElement();
}
void onCharacters(void* ctx, const xmlChar* data, int length) {
  if (!loader(ctx).failed()) loader(ctx).characters(data, length);
}
void onPi(void* ctx, const xmlChar* target, const xmlChar* data) {
  if (!loader(ctx).failed()) loader(ctx).processingInstruction(target, data);
}
void onComment(void* ctx, const xmlChar* data) {
  if (!loader(ctx).failed()) loader(ctx).comment(data);
}
void onReference(void* ctx, const xmlChar* name) {
  if (!loader(ctx).failed()) loader(ctx).reference(name);
}
void onError(void* ctx, xmlErrorPtr error) {
  loader(ctx).error(error);
}

// The DTD handlers let libxml2 build the DTD as usual, and note the internal
// subset's declarations as text.
xmlParserCtxtPtr parserOf(void* ctx) {
  return loader(ctx).context;
}

void onInternalSubset(void* ctx, const xmlChar* name, const xmlChar* publicId,
                      const xmlChar* systemId) {
  gDefaults.internalSubset(parserOf(ctx), name, publicId, systemId);
  loader(ctx).internalSubset(name, publicId, systemId);
}
void onExternalSubset(void* ctx, const xmlChar* name, const xmlChar* publicId,
                      const xmlChar* systemId) {
  loader(ctx).endOfInternalSubset();
  gDefaults.externalSubset(parserOf(ctx), name, publicId, systemId);
}
void onEntityDecl(void* ctx, const xmlChar* name, int type, const xmlChar* publicId,
                  const xmlChar* systemId, xmlChar* content) {
  std::string resolved = loader(ctx).absolute(systemId);
  loader(ctx).declaration(entityDeclaration(
      name, type, publicId, systemId != nullptr ? xml(resolved.c_str()) : nullptr, content));
  gDefaults.entityDecl(parserOf(ctx), name, type, publicId, systemId, content);
}
void onUnparsedEntityDecl(void* ctx, const xmlChar* name, const xmlChar* publicId,
                          const xmlChar* systemId, const xmlChar* notation) {
  std::string resolved = loader(ctx).absolute(systemId);
  loader(ctx).declaration(entityDeclaration(name, XML_EXTERNAL_GENERAL_UNPARSED_ENTITY, publicId,
                                            systemId != nullptr ? xml(resolved.c_str()) : nullptr,
                                            notation));
  gDefaults.unparsedEntityDecl(parserOf(ctx), name, publicId, systemId, notation);
}
void onNotationDecl(void* ctx, const xmlChar* name, const xmlChar* publicId,
                    const xmlChar* systemId) {
  loader(ctx).declaration(notationDeclaration(name, publicId, systemId));
  gDefaults.notationDecl(parserOf(ctx), name, publicId, systemId);
}
void onElementDecl(void* ctx, const xmlChar* name, int type, xmlElementContentPtr content) {
  loader(ctx).declaration(elementDeclaration(name, type, content));
  gDefaults.elementDecl(parserOf(ctx), name, type, content);
}
void onAttributeDecl(void* ctx, const xmlChar* element, const xmlChar* name, int type, int def,
                     const xmlChar* defaultValue, xmlEnumerationPtr values) {
  loader(ctx).declaration(attributeDeclaration(element, name, type, def, defaultValue, values));
  loader(ctx).attributeType(element, name, type);
  gDefaults.attributeDecl(parserOf(ctx), element, name, type, def, defaultValue, values);
}
xmlEntityPtr onGetEntity(void* ctx, const xmlChar* name) {
  return gDefaults.getEntity(parserOf(ctx), name);
}
xmlEntityPtr onGetParameterEntity(void* ctx, const xmlChar* name) {
  return gDefaults.getParameterEntity(parserOf(ctx), name);
}
xmlParserInputPtr onResolveEntity(void* ctx, const xmlChar* publicId, const xmlChar* systemId) {
  return gDefaults.resolveEntity(parserOf(ctx), publicId, systemId);
}
void onStartDocument(void* ctx) {
  gDefaults.startDocument(parserOf(ctx));
}
int onIsStandalone(void* ctx) {
  return gDefaults.isStandalone(parserOf(ctx));
}
int onHasInternalSubset(void* ctx) {
  return gDefaults.hasInternalSubset(parserOf(ctx));
}
int onHasExternalSubset(void* ctx) {
  return gDefaults.hasExternalSubset(parserOf(ctx));
}

xmlSAXHandler makeHandler() {
  static std::once_flag once;
  std::call_once(once, [] { xmlSAXVersion(&gDefaults, 2); });
  xmlSAXHandler sax;
  memset(&sax, 0, sizeof sax);
  sax.initialized = XML_SAX2_MAGIC;
  sax.startDocument = onStartDocument;
  sax.isStandalone = onIsStandalone;
  sax.hasInternalSubset = onHasInternalSubset;
  sax.hasExternalSubset = onHasExternalSubset;
  sax.internalSubset = onInternalSubset;
  sax.externalSubset = onExternalSubset;
  sax.entityDecl = onEntityDecl;
  sax.unparsedEntityDecl = onUnparsedEntityDecl;
  sax.notationDecl = onNotationDecl;
  sax.elementDecl = onElementDecl;
  sax.attributeDecl = onAttributeDecl;
  sax.getEntity = onGetEntity;
  sax.getParameterEntity = onGetParameterEntity;
  sax.resolveEntity = onResolveEntity;
  sax.startElementNs = onStartElement;
  sax.endElementNs = onEndElement;
  sax.characters = onCharacters;
  sax.ignorableWhitespace = onCharacters;
  sax.cdataBlock = onCharacters;
  sax.processingInstruction = onPi;
  sax.comment = onComment;
  sax.reference = onReference;
  sax.serror = onError;
  return sax;
}

// The absolute location of a document named `name` ("" stays "").
std::string absoluteName(const std::string& name) {
  if (name.empty() || name[0] == '/' || name.find("://") != std::string::npos) return name;
  char cwd[4096];
  if (getcwd(cwd, sizeof cwd) == nullptr) return name;
  return std::string(cwd) + "/" + name;
}

// Reads the next piece of input into `buffer`; gives its size, 0 at the end,
// or -1 (with `error` set) on a read failure.
using Reader = std::function<long(char* buffer, size_t size, std::string& error)>;

Result run(Qmdb& db, const Reader& read, long long total, const std::string& name,
           const LoadOptions& options, long parent) {
  installEntityLoader();
  std::string base = absoluteName(name);
  Loader loader(db, name, base, options, parent);
  ErrorGuard guard(onError, &loader);
  xmlSAXHandler sax = makeHandler();

  std::unique_ptr<char[]> buffer(new (std::nothrow) char[kChunkSize]);
  if (!buffer) {
    loader.fail(name + ":0:0: out of memory");
    return loader.finish();
  }
  std::string readError;
  long got = read(buffer.get(), 4, readError);
  if (got < 0) {
    loader.fail(name + ":0:0: " + readError);
    return loader.finish();
  }
  xmlParserCtxtPtr context =
      xmlCreatePushParserCtxt(&sax, &loader, buffer.get(), static_cast<int>(got), base.c_str());
  if (context == nullptr) {
    loader.fail(name + ":0:0: cannot make a parser");
    return loader.finish();
  }
  loader.context = context;
  context->_private = &gOwnParserTag;
  // Defaults of the internal subset come anyway; those of the external one
  // need it loaded with its defaults (which the handler may then drop).
  int parserOptions = XML_PARSE_NONET;
  if (options.loadDtd) parserOptions |= XML_PARSE_DTDLOAD | XML_PARSE_DTDATTR;
  xmlCtxtUseOptions(context, parserOptions);

  long long done = got;
  bool end = got == 0;
  while (!end && !loader.failed()) {
    got = read(buffer.get(), kChunkSize, readError);
    if (got < 0) {
      loader.fail(name + ":" + std::to_string(xmlSAX2GetLineNumber(context)) + ":0: " + readError);
      break;
    }
    end = got == 0;
    done += got;
    xmlParseChunk(context, buffer.get(), static_cast<int>(got), end ? 1 : 0);
    if (options.progress) options.progress(done, total);
  }
  if (!loader.failed() && !context->wellFormed) loader.fail(name + ":0:0: not well-formed");
  Result result = loader.finish();
  loader.context = nullptr;
  if (context->myDoc != nullptr) xmlFreeDoc(context->myDoc);
  context->myDoc = nullptr;
  xmlFreeParserCtxt(context);
  return result;
}

}  // namespace
}  // namespace qmdbxml

namespace QmdbXml {

Result loadFile(Qmdb& db, const std::string& path, const LoadOptions& options, long parent) {
  FILE* in = fopen(path.c_str(), "rb");
  if (in == nullptr) {
    Result result;
    result.ok = false;
    result.message = path + ":0:0: " + strerror(errno);
    return result;
  }
  long long total = 0;
  if (fseek(in, 0, SEEK_END) == 0) total = ftell(in);
  rewind(in);
  auto read = [in](char* buffer, size_t size, std::string& error) -> long {
    size_t got = fread(buffer, 1, size, in);
    if (got == 0 && ferror(in)) {
      error = strerror(errno);
      return -1;
    }
    return static_cast<long>(got);
  };
  Result result = qmdbxml::run(db, read, total, path, options, parent);
  fclose(in);
  return result;
}

Result loadMemory(Qmdb& db, const char* data, size_t size, const std::string& name,
                  const LoadOptions& options, long parent) {
  size_t offset = 0;
  auto read = [&](char* buffer, size_t want, std::string&) -> long {
    size_t n = std::min(want, size - offset);
    if (n > 0) memcpy(buffer, data + offset, n);
    offset += n;
    return static_cast<long>(n);
  };
  return qmdbxml::run(db, read, static_cast<long long>(size), name, options, parent);
}

Result loadStream(Qmdb& db, std::istream& in, const std::string& name, const LoadOptions& options,
                  long parent) {
  auto read = [&](char* buffer, size_t size, std::string& error) -> long {
    if (!in.good()) return 0;
    in.read(buffer, static_cast<std::streamsize>(size));
    if (in.bad()) {
      error = "cannot read";
      return -1;
    }
    return static_cast<long>(in.gcount());
  };
  return qmdbxml::run(db, read, 0, name, options, parent);
}

}  // namespace QmdbXml
