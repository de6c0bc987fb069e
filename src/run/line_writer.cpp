#include "run/line_writer.hpp"

#include <algorithm>

#include "common/console.hpp"
#include "group/process_group.hpp"
#include "run/files/file_table.hpp"

namespace tessaron {

void msgout(std::string_view text, int width) {
  if (!pgflags().master) return;
  text = text.substr(0, static_cast<std::size_t>(std::max(width, 0)));
  text = text.substr(0, text.find_last_not_of(' ') + 1);
  console_line(text);
  log_line(text);
}

}  // namespace tessaron
