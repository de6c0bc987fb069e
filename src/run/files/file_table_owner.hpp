#pragma once
#include <string_view>

#include "run/files/file_table.hpp"

namespace tessaron {

/// The file table as its writers see it: run/files/file_table.cpp and the reader of `io_path`.
extern FileTable filetab_store;

/// Opens the log `name` under `outpath`; `logopen` becomes true on success.
[[nodiscard]] Status open_log(std::string_view name);
/// Closes the log; `logopen` becomes false in any case.
[[nodiscard]] Status close_log();

}  // namespace tessaron
