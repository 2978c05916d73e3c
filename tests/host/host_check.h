/* Minimal checks for host test programs written in C: each failed check
   prints where and why; the program's exit code is the number of failures. */
#ifndef I2CZAVIK_HOST_CHECK_H
#define I2CZAVIK_HOST_CHECK_H

#include <stdio.h>
#include <string.h>

static int hostFailures = 0;

#define CHECK(cond)                                                          \
  do {                                                                       \
    if (!(cond)) {                                                           \
      fprintf(stderr, "%s:%d: check failed: %s\n", __FILE__, __LINE__, #cond); \
      ++hostFailures;                                                        \
    }                                                                        \
  } while (0)

#define CHECK_INT(actual, expected)                                                           \
  do {                                                                                        \
    long long a_ = (long long)(actual), e_ = (long long)(expected);                           \
    if (a_ != e_) {                                                                           \
      fprintf(stderr, "%s:%d: %s is %lld, expected %lld\n", __FILE__, __LINE__, #actual, a_, e_); \
      ++hostFailures;                                                                         \
    }                                                                                         \
  } while (0)

#define CHECK_STR(actual, expected)                                                                  \
  do {                                                                                               \
    const char* a_ = (actual);                                                                       \
    const char* e_ = (expected);                                                                     \
    if (a_ == NULL || strcmp(a_, e_) != 0) {                                                         \
      fprintf(stderr, "%s:%d: %s is \"%s\", expected \"%s\"\n", __FILE__, __LINE__, #actual,          \
              a_ ? a_ : "(null)", e_);                                                               \
      ++hostFailures;                                                                                \
    }                                                                                                \
  } while (0)

#define HOST_TEST_RESULT() (printf("%s\n", hostFailures ? "FAILED" : "PASSED"), hostFailures)

#endif
