// A library to preload ahead of the program: it makes one of its system calls fail.
//
//   FAULT_CALL    write, open, close, ftruncate or lseek
//   FAULT_NUMBER  which of these calls fails, counted from 1; console and standard error do not count
//   FAULT_LASTS   "yes": all later ones fail too
//   FAULT_MARK    a file that is made when a call has failed
//
// A close that fails has closed its file, as Linux has it.

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>

namespace {

/// True if this call, one more of its kind, is to fail.
bool fails(const char* call) {
  static const char* const wanted = std::getenv("FAULT_CALL");
  static const char* const number = std::getenv("FAULT_NUMBER");
  static const char* const lasts = std::getenv("FAULT_LASTS");
  static const char* const mark = std::getenv("FAULT_MARK");
  static long calls = 0;
  if (wanted == nullptr || number == nullptr || std::strcmp(call, wanted) != 0) return false;
  const long first = std::atol(number);
  ++calls;
  if (calls < first || (calls > first && (lasts == nullptr || std::strcmp(lasts, "yes") != 0))) return false;
  if (mark != nullptr && calls == first)
    ::syscall(SYS_close, ::syscall(SYS_openat, AT_FDCWD, mark, O_CREAT | O_WRONLY, 0600));
  return true;
}

bool is_file(int descriptor) { return descriptor > 2; }

template <class Result>
Result failure(int code) {
  errno = code;
  return -1;
}

int open_file(const char* path, int flags, unsigned mode) {
  if (fails("open")) return failure<int>(EMFILE);
  return static_cast<int>(::syscall(SYS_openat, AT_FDCWD, path, flags, mode));
}

int cut_file(int descriptor, off_t size) {
  if (fails("ftruncate")) return failure<int>(EIO);
  return static_cast<int>(::syscall(SYS_ftruncate, descriptor, size));
}

off_t seek_file(int descriptor, off_t offset, int whence) {
  if (fails("lseek")) return failure<off_t>(EIO);
  return ::syscall(SYS_lseek, descriptor, offset, whence);
}

unsigned mode_of(int flags, va_list& arguments) {
  return (flags & O_CREAT) != 0 ? va_arg(arguments, unsigned) : 0;
}

}  // namespace

extern "C" {

ssize_t write(int descriptor, const void* data, size_t size) {
  if (is_file(descriptor) && fails("write")) return failure<ssize_t>(ENOSPC);
  return ::syscall(SYS_write, descriptor, data, size);
}

int close(int descriptor) {
  const bool failed = is_file(descriptor) && fails("close");
  const auto result = static_cast<int>(::syscall(SYS_close, descriptor));
  return failed ? failure<int>(EIO) : result;
}

int open(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const unsigned mode = mode_of(flags, arguments);
  va_end(arguments);
  return open_file(path, flags, mode);
}

int ftruncate(int descriptor, off_t size) noexcept { return cut_file(descriptor, size); }
off_t lseek(int descriptor, off_t offset, int whence) noexcept {
  return seek_file(descriptor, offset, whence);
}
}
