// Silences libxml2 for the duration of a call, and keeps its entity loading
// local. The error handlers are per thread in libxml2, so a guard touches only
// the calling thread. The entity loader is process-wide: it serves the
// contexts that this library made (tagged through their _private field) and
// hands every other request to the loader that was installed before.
#include "Errors.h"

#include <libxml/catalog.h>
#include <libxml/globals.h>
#include <libxml/parserInternals.h>
#include <libxml/uri.h>
#include <libxml/xmlIO.h>

#include <cstring>
#include <mutex>

namespace qmdbxml {

int gOwnParserTag = 0;

namespace {

void dropGeneric(void*, const char*, ...) {}

xmlExternalEntityLoader gPreviousLoader = nullptr;

// Whether `url` names something outside the local file system: any
// "scheme://" other than file://.
bool remote(const char* url) {
  if (url == nullptr) return false;
  const char* colon = strstr(url, "://");
  if (colon == nullptr) return false;
  for (const char* p = url; p < colon; ++p) {
    if (!((*p >= 'a' && *p <= 'z') || (*p >= 'A' && *p <= 'Z') || *p == '+' || *p == '-' ||
          *p == '.' || (p > url && *p >= '0' && *p <= '9'))) {
      return false;
    }
  }
  return strncasecmp(url, "file://", 7) != 0;
}

// Resolves the identifiers through the XML catalogs first (so that public
// identifiers of installed DTDs find their local copies), then opens a local
// file; a resource that is still remote after that is refused.
xmlParserInputPtr localLoader(const char* url, const char* id, xmlParserCtxtPtr context) {
  if (context == nullptr || context->_private != &gOwnParserTag) {
    return gPreviousLoader != nullptr ? gPreviousLoader(url, id, context) : nullptr;
  }
  xmlChar* resolved = nullptr;
  if (xmlCatalogGetDefaults() != XML_CATA_ALLOW_NONE) {
    resolved = xmlCatalogResolve(reinterpret_cast<const xmlChar*>(id),
                                 reinterpret_cast<const xmlChar*>(url));
  }
  if (resolved == nullptr && url != nullptr && remote(url)) {
    resolved = xmlCatalogResolveURI(reinterpret_cast<const xmlChar*>(url));
  }
  const char* resource = resolved != nullptr ? reinterpret_cast<const char*>(resolved) : url;
  // A refusal gives null, which libxml2 reports as a resource it could not load.
  xmlParserInputPtr input = nullptr;
  if (resource != nullptr && !remote(resource)) input = xmlNewInputFromFile(context, resource);
  if (resolved != nullptr) xmlFree(resolved);
  return input;
}

}  // namespace

ErrorGuard::ErrorGuard(xmlStructuredErrorFunc handler, void* context)
    : generic_(xmlGenericError),
      genericContext_(xmlGenericErrorContext),
      structured_(xmlStructuredError),
      structuredContext_(xmlStructuredErrorContext) {
  xmlSetGenericErrorFunc(nullptr, dropGeneric);
  xmlSetStructuredErrorFunc(context, handler);
}

ErrorGuard::~ErrorGuard() {
  xmlSetGenericErrorFunc(genericContext_, generic_);
  xmlSetStructuredErrorFunc(structuredContext_, structured_);
}

void installEntityLoader() {
  static std::once_flag once;
  std::call_once(once, [] {
    xmlInitParser();
    gPreviousLoader = xmlGetExternalEntityLoader();
    xmlSetExternalEntityLoader(localLoader);
  });
}

}  // namespace qmdbxml
