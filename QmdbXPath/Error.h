// The one failure of this component: a message and the offset in the
// expression it concerns. It is thrown inside the component only and caught
// by the entry points, which turn it into a Result.
#ifndef QMDBXPATH_ERROR_H
#define QMDBXPATH_ERROR_H

#include <string>

namespace qmdbxpath {

struct XPathError {
  std::string message;
  long offset = -1;
};

[[noreturn]] inline void fail(const std::string& message, long offset) {
  throw XPathError{message, offset};
}

}  // namespace qmdbxpath

#endif
