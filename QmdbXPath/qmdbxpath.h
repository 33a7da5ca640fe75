/*
 * QmdbXPath from C: one call evaluates an XPath 1.0 expression over a
 * database made by Qmdb_new, one call frees what it gave.
 *
 * Text is UTF-8 here (the database's own form). Variables are bound as
 * strings (names without '$'). The result owns its string and node array;
 * QmdbXPath_free releases them, also after a failure.
 */
#ifndef QMDB_QMDBXPATH_H
#define QMDB_QMDBXPATH_H

#include <Qmdb/qmdb.h>

#ifdef __cplusplus
extern "C" {
#endif

/** The kind of a result value. */
typedef enum QmdbXPathKind {
  QmdbXPathNodeSet = 0,
  QmdbXPathNumber = 1,
  QmdbXPathString = 2,
  QmdbXPathBoolean = 3
} QmdbXPathKind;

/** One node: an object handle, and an attribute handle for attribute nodes (else 0). */
typedef struct QmdbXPathNode {
  long object;
  long attribute;
} QmdbXPathNode;

/** What QmdbXPath_evaluate gives. */
typedef struct QmdbXPathResult {
  int ok;               /**< 1 on success, 0 on failure */
  QmdbXPathKind kind;   /**< the kind of the value when ok */
  double number;        /**< for QmdbXPathNumber */
  int boolean;          /**< for QmdbXPathBoolean */
  char* string;         /**< for QmdbXPathString; on failure the message (malloc'd) */
  QmdbXPathNode* nodes; /**< for QmdbXPathNodeSet, in document order (malloc'd) */
  long count;           /**< the number of nodes */
  long offset;          /**< on a malformed expression, the offset of the fault, else -1 */
} QmdbXPathResult;

/** Evaluates `expression` with `context` (1: the root node) as the context
 *  node; `names` and `values` bind `variableCount` string variables (both may
 *  be null when the count is 0). Fills `result` and gives result->ok; 0 also
 *  for a null database, expression or result (then `result` is left alone). */
QMDB_API int QmdbXPath_evaluate(Qmdb* db, const char* expression, long context,
                                const char* const* names, const char* const* values,
                                long variableCount, QmdbXPathResult* result);

/** Frees the string and nodes of a result and clears it; null is accepted. */
QMDB_API void QmdbXPath_free(QmdbXPathResult* result);

#ifdef __cplusplus
}
#endif

#endif
