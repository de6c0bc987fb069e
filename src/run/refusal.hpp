#pragma once
#include <string_view>

#include "common/status.hpp"
#include "common/text.hpp"
#include "run/files/file_table.hpp"

namespace tessaron {

/// The word that a reader could not take, for the diagnosis of a failed run on standard error: the first that
/// was met, with its place. Owner: run/refusal.cpp.
struct Refusal {
  Text<80> word;      ///< blank where a line as a whole is at fault
  Position position;  ///< blank if nothing was refused
  bool in_data_file = false;
};
const Refusal& refusal();

/// Nothing has been refused: the start of a run.
void refini();
/// Refuses a word of the deck, read at `place`. \return failed
Status refuse_word(std::string_view word, const FilePlace& place = deck_place());
/// Refuses a word of an open data file, read from its present line; with a blank word the line. \return
/// failed
Status refuse_data(int stream, std::string_view word = {});

}  // namespace tessaron
