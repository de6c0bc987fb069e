#pragma once
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/temp_folder.hpp"

namespace tessaron::test {

/// What an operation writes to the console, line by line.
template <class Operation>
std::vector<std::string> console_of(Operation operation) {
  testing::internal::CaptureStdout();
  operation();
  return split_lines(testing::internal::GetCapturedStdout());
}

/// The same as one text, a ';' between the lines.
template <class Operation>
std::string said_by(Operation operation) {
  return joined(console_of(operation));
}

}  // namespace tessaron::test
