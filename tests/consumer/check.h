/* CHECK for the C test programs: a failed condition is reported with its line
 * and counted in `failed`, and the program goes on; main returns non-zero when
 * `failed` is. */
#ifndef QMDB_TESTS_CONSUMER_CHECK_H
#define QMDB_TESTS_CONSUMER_CHECK_H

#include <stdio.h>

static int failed = 0;

#define CHECK(condition)                                                      \
  do {                                                                        \
    if (!(condition)) {                                                       \
      ++failed;                                                               \
      fprintf(stderr, "%s:%d: failed: %s\n", __FILE__, __LINE__, #condition); \
    }                                                                         \
  } while (0)

#endif
