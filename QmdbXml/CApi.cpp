// The flat C functions: each converts its options and forwards to the C++
// interface, copying a failure's message into the caller's buffer.
#include <Qmdb/QmdbXml>
#include <Qmdb/qmdbxml.h>

#include <cstring>

namespace {

int report(const QmdbXml::Result& result, char* message, size_t size) {
  if (message != nullptr && size > 0) {
    size_t n = result.ok ? 0 : std::min(size - 1, result.message.size());
    memcpy(message, result.message.data(), n);
    message[n] = '\0';
  }
  return result.ok ? 1 : 0;
}

// Runs `call` for a C caller: a missing database or path, or an exception,
// is a failure like any other.
template <typename Call>
int guarded(Qmdb* db, const char* path, char* message, size_t size, Call call) {
  QmdbXml::Result result;
  if (db == nullptr || path == nullptr) {
    result.ok = false;
    result.message = "no database or no path";
  } else {
    try {
      result = call();
    } catch (...) {
      result.ok = false;
      result.message = std::string(path) + ": out of memory";
    }
  }
  return report(result, message, size);
}

}  // namespace

extern "C" {

void QmdbXml_loadDefaults(QmdbXmlLoadOptions* options) {
  if (options == nullptr) return;
  QmdbXml::LoadOptions defaults;
  options->comments = defaults.comments;
  options->loadDtd = defaults.loadDtd;
  options->defaultAttributes = defaults.defaultAttributes;
  options->externalEntities = defaults.externalEntities;
  options->unresolvedEntityIsError = defaults.unresolvedEntityIsError;
}

void QmdbXml_saveDefaults(QmdbXmlSaveOptions* options) {
  if (options == nullptr) return;
  options->encoding = nullptr;
  options->declaration = 1;
}

int QmdbXml_load(Qmdb* db, const char* path, const QmdbXmlLoadOptions* options, long parent,
                 char* message, size_t messageSize) {
  QmdbXml::LoadOptions o;
  if (options != nullptr) {
    o.comments = options->comments != 0;
    o.loadDtd = options->loadDtd != 0;
    o.defaultAttributes = options->defaultAttributes != 0;
    o.externalEntities = options->externalEntities != 0;
    o.unresolvedEntityIsError = options->unresolvedEntityIsError != 0;
  }
  return guarded(db, path, message, messageSize,
                 [&] { return QmdbXml::loadFile(*db, path, o, parent); });
}

int QmdbXml_save(Qmdb* db, const char* path, const QmdbXmlSaveOptions* options, long node,
                 char* message, size_t messageSize) {
  QmdbXml::SaveOptions o;
  if (options != nullptr) {
    if (options->encoding != nullptr) o.encoding = options->encoding;
    o.declaration = options->declaration != 0;
  }
  return guarded(db, path, message, messageSize,
                 [&] { return QmdbXml::saveFile(*db, path, o, node); });
}

}  // extern "C"
