#pragma once

#include <gtest/gtest.h>

#include <ostream>

/// The base of every table's rows: the label names the case, to GoogleTest as well as to CTest.
struct Row {
  Row(const char* text) : label(text) {}
  const char* label;
};
inline std::ostream& operator<<(std::ostream& out, const Row& row) {
  return out << row.label;
}

/// Runs the suite's parametrised tests on each row of an array.
#define INSTANTIATE_ROWS(suite, rows) \
  INSTANTIATE_TEST_SUITE_P(Rows, suite, testing::ValuesIn(rows), testing::PrintToStringParamName())
