#pragma once
#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <string_view>

#include "common/freeform.hpp"
#include "lattice/lattice_definition.hpp"
#include "lattice/lattice_record_owner.hpp"
#include "run/deck.hpp"
#include "run/files/file_table.hpp"
#include "support/capture.hpp"

namespace tessaron::test {

/// Reads a lattice block, "{ ... }", as a deck would give it. Returns its status; `console` gets its lines.
inline Status read_lattice(std::string_view block, std::vector<std::string>* console = nullptr) {
  WorkingFolder folder;
  folder.write("tessar.in", block);
  Status status = failed;
  const auto lines = console_of([&] {
    close_all_files();
    if (fiinit("tessar.in") == ok && rdinit() == ok) status = lattice();
    close_all_files();
  });
  if (console != nullptr) *console = lines;
  return status;
}

/// A deck text with each % replaced by the next number, in all its digits.
inline std::string filled(std::string_view text, std::initializer_list<double> numbers) {
  std::string deck;
  auto number = numbers.begin();
  for (const char c : text) {
    if (c == '%' && number != numbers.end()) {
      deck += FreeForm(*number++).items();
    } else {
      deck += c;
    }
  }
  return deck;
}

}  // namespace tessaron::test
