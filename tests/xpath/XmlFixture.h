// Test documents for the XPath tests: XML text loaded by QmdbXml (elements as
// nodes, character data as strings, comments as "#comment" pis, entity
// references as entity objects), and results rendered as short strings for
// whole-result checks.
#ifndef QMDB_TESTS_XPATH_XMLFIXTURE_H
#define QMDB_TESTS_XPATH_XMLFIXTURE_H

#include <Qmdb/QmdbXPath>
#include <string>
#include <vector>

namespace qmdb::test {

/// Copies the document `xml` into `db` under the root; false when it is malformed.
/// With `splitText` every text longer than 3 bytes is stored as several adjacent strings.
bool loadXml(Qmdb& db, const std::string& xml, bool splitText = false);

/// A node rendered: element name, @name=value, 'text', ?target, !comment, / for the root.
std::string renderNode(Qmdb& db, const QmdbXPath::Node& node);

/// The result of `expression` from the root: a node-set as its rendered nodes
/// separated by spaces, a number as XPath writes it, a string in quotes,
/// a boolean as true/false, a failure as "ERROR@offset" (and " unexplained"
/// when it has no message).
std::string query(Qmdb& db, const std::string& expression, long context = 1,
                  const QmdbXPath::Variables& variables = {});

/// An expression and its expected result, as `query` writes it.
struct Case {
  const char* expression;
  const char* expected;
};

/// Checks each case from `context` with `variables`, naming the expression on a mismatch.
void expectAll(Qmdb& db, const std::vector<Case>& cases, long context = 1,
               const QmdbXPath::Variables& variables = {});

}  // namespace qmdb::test

#endif
