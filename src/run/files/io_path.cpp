#include "run/deck.hpp"
#include "run/files/file_table_owner.hpp"
#include "run/line_writer.hpp"

namespace tessaron {

namespace {

/// Applies what was given: directories first, so that a log goes to the new one wherever it stands in the
/// block.
Status apply(const KeyTable<3>& keys) {
  if (keys.seen("input")) filetab_store.inpath = keys.value("input");
  if (keys.seen("output")) filetab_store.outpath = keys.value("output");
  if (!keys.seen("logfile")) return ok;
  if (filetab.logopen) {
    if (const Status status = close_log(); status != ok) return status;
  }
  return open_log(keys.value("logfile").view());
}

}  // namespace

Status iopath() {
  KeyTable<3> keys({"input", "output", "logfile"});
  Status status = keys.read();
  if (status == ok) status = apply(keys);
  if (status != ok) msgout("error in file io");
  return status;
}

}  // namespace tessaron
