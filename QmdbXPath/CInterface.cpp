// The C function over evaluate: copies the value into malloc'd memory.
#include <cstdlib>
#include <cstring>

#include <Qmdb/QmdbXPath>

#include "qmdbxpath.h"

namespace {

char* copyString(const std::string& s) {
  char* out = static_cast<char*>(std::malloc(s.size() + 1));
  if (out != nullptr) std::memcpy(out, s.c_str(), s.size() + 1);
  return out;
}

}  // namespace

extern "C" int QmdbXPath_evaluate(Qmdb* db, const char* expression, long context,
                                  const char* const* names, const char* const* values,
                                  long variableCount, QmdbXPathResult* result) {
  if (db == nullptr || expression == nullptr || result == nullptr) return 0;
  std::memset(result, 0, sizeof *result);
  result->offset = -1;
  QmdbXPath::Variables variables;
  try {
    for (long i = 0; i < variableCount; ++i) {
      if (names == nullptr || values == nullptr || names[i] == nullptr || values[i] == nullptr) {
        continue;
      }
      variables[names[i]] = QmdbXPath::Value::ofString(values[i]);
    }
  } catch (...) {
    result->string = copyString("out of memory");
    return 0;
  }
  QmdbXPath::Result r = QmdbXPath::evaluate(*db, expression, context, variables);
  result->offset = r.offset;
  if (!r.ok) {
    result->string = copyString(r.message);
    return 0;
  }
  const QmdbXPath::Value& v = r.value;
  result->kind = static_cast<QmdbXPathKind>(v.kind);
  result->number = v.number;
  result->boolean = v.boolean ? 1 : 0;
  if (v.kind == QmdbXPath::Value::String) {
    result->string = copyString(v.string);
    if (result->string == nullptr) return 0;
  }
  if (v.kind == QmdbXPath::Value::NodeSet && !v.nodes.empty()) {
    result->nodes =
        static_cast<QmdbXPathNode*>(std::malloc(v.nodes.size() * sizeof(QmdbXPathNode)));
    if (result->nodes == nullptr) return 0;
    for (size_t i = 0; i < v.nodes.size(); ++i) {
      result->nodes[i].object = v.nodes[i].object;
      result->nodes[i].attribute = v.nodes[i].attribute;
    }
    result->count = static_cast<long>(v.nodes.size());
  }
  result->ok = 1;
  return 1;
}

extern "C" void QmdbXPath_free(QmdbXPathResult* result) {
  if (result == nullptr) return;
  std::free(result->string);
  std::free(result->nodes);
  std::memset(result, 0, sizeof *result);
  result->offset = -1;
}
