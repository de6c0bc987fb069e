#include "run/refusal.hpp"

namespace tessaron {

namespace {

Refusal first_refusal;

Status refuse(std::string_view word, const FilePlace& place, bool in_data_file) {
  if (first_refusal.position.blank()) first_refusal = {word, position_text(place), in_data_file};
  return failed;
}

}  // namespace

const Refusal& refusal() { return first_refusal; }

void refini() { first_refusal = {}; }

Status refuse_word(std::string_view word, const FilePlace& place) { return refuse(word, place, false); }

Status refuse_data(int stream, std::string_view word) { return refuse(word, file_place(stream), true); }

}  // namespace tessaron
