/*
 * qmdbxml.h: XML in and out of a Qmdb database, for callers without C++.
 *
 * The same loading and saving as <Qmdb/QmdbXml> (see there for what a loaded
 * document looks like in the database). Conventions: options are plain
 * structs that the *_defaults functions fill; a null options pointer means
 * the defaults; booleans are ints (0 false, other true); a function gives 1
 * on success and 0 on failure, and then copies the message
 * ("FILE:LINE:COLUMN: text" for a load) into `message` (at most
 * `messageSize` bytes, always zero-terminated; `message` may be null).
 * Texts are UTF-8. Nothing is printed.
 */
#ifndef QMDB_QMDBXML_H
#define QMDB_QMDBXML_H

#include <stddef.h>

#include <Qmdb/qmdb.h>

#ifdef __cplusplus
extern "C" {
#endif

#if defined(__GNUC__)
#define QMDBXML_C_API __attribute__((visibility("default")))
#else
#define QMDBXML_C_API
#endif

/** How a document is read (see QmdbXml::LoadOptions). */
typedef struct QmdbXmlLoadOptions {
  int comments;                /**< comments become pis with target "#comment" (1) */
  int loadDtd;                 /**< read the external DTD subset (1) */
  int defaultAttributes;       /**< add the attributes that the DTD supplies (1) */
  int externalEntities;        /**< resolve external entities from local files (1) */
  int unresolvedEntityIsError; /**< an unresolved entity reference fails the load (0) */
} QmdbXmlLoadOptions;

/** How a document is written (see QmdbXml::SaveOptions). */
typedef struct QmdbXmlSaveOptions {
  const char* encoding; /**< any name iconv knows; null means UTF-8 */
  int declaration;      /**< write the XML declaration (1) */
} QmdbXmlSaveOptions;

/** Fills `options` with the defaults (the values in parentheses above). */
QMDBXML_C_API void QmdbXml_loadDefaults(QmdbXmlLoadOptions* options);
/** Fills `options` with the defaults. */
QMDBXML_C_API void QmdbXml_saveDefaults(QmdbXmlSaveOptions* options);

/** Loads the XML file `path` as the content of `parent` (1: the top level of
 *  `db`). 1 on success, 0 on failure (malformed XML, unreadable file, a
 *  refusal of the database); what was stored before a failure stays. */
QMDBXML_C_API int QmdbXml_load(Qmdb* db, const char* path, const QmdbXmlLoadOptions* options,
                               long parent, char* message, size_t messageSize);
/** Writes `node` (1: the whole document) as XML to the file `path`. 1 on
 *  success, 0 on failure (unknown encoding, text that is not valid UTF-8,
 *  a file that cannot be written; the file is then removed). */
QMDBXML_C_API int QmdbXml_save(Qmdb* db, const char* path, const QmdbXmlSaveOptions* options,
                               long node, char* message, size_t messageSize);

#ifdef __cplusplus
}
#endif

#endif
