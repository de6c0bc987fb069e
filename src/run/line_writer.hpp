#pragma once
#include <string_view>

#include "common/freeform.hpp"

namespace tessaron {

/// The line writer: writes one line to the console and, while it is open, to the log. A line begins with the
/// one blank of a free-form record; the text is cut to `width` characters and loses its trailing blanks, and
/// a text of blanks gives an empty line. Only the master of the process group writes.
void msgout(std::string_view text, int width = 72);

/// The same for a record of numbers and texts, formatted free-form into the 72-character line first (so such
/// a line begins with two blanks).
inline void msgout(const FreeForm& record) { msgout(record.view()); }

}  // namespace tessaron
