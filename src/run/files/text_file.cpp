#include "run/files/text_file.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace tessaron {

namespace {

/// The code of a failed system call, never 0.
Status code_of_failure() { return errno != 0 ? errno : failed; }

/// Pipes and devices can make a reader wait for ever: only regular files are read.
Status demand_regular_file(int descriptor) {
  struct stat info;
  if (::fstat(descriptor, &info) != 0) return code_of_failure();
  if (S_ISDIR(info.st_mode)) return EISDIR;
  return S_ISREG(info.st_mode) ? ok : EINVAL;
}

/// True if the descriptor is open on this file.
bool same_file(int descriptor, const struct stat& file) {
  struct stat info;
  return ::fstat(descriptor, &info) == 0 && info.st_dev == file.st_dev && info.st_ino == file.st_ino;
}

}  // namespace

void TextFile::start(int descriptor, bool writing) {
  descriptor_ = descriptor;
  open_ = true;
  writing_ = writing;
  line_number_ = 0;
  failure_ = last_failure_ = ok;
  lost_lines_ = 0;
  begin_ = end_ = 0;
}

Status TextFile::open_to_read(const char* path, bool& created) {
  created = false;
  // O_NONBLOCK: opening a pipe must not wait for its writer; it means nothing for a regular file.
  constexpr int flags = O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY;
  int descriptor = ::open(path, flags);
  if (descriptor < 0 && errno == ENOENT) {
    descriptor = ::open(path, flags | O_CREAT, 0666);
    created = descriptor >= 0;
  }
  if (descriptor < 0) return code_of_failure();
  if (const Status status = demand_regular_file(descriptor); status != ok) {
    ::close(descriptor);
    return status;
  }
  start(descriptor, false);
  return ok;
}

bool TextFile::holds(const struct stat& file) const { return open_ && same_file(descriptor_, file); }

Status TextFile::open_to_write(const char* path, std::span<const TextFile> others) {
  const int descriptor = ::open(path, O_WRONLY | O_CREAT | O_NONBLOCK | O_CLOEXEC | O_NOCTTY, 0666);
  if (descriptor < 0) return code_of_failure();
  struct stat file;
  Status status = ::fstat(descriptor, &file) == 0 ? ok : code_of_failure();
  if (status == ok && S_ISREG(file.st_mode)) {
    if (same_file(STDOUT_FILENO, file) || same_file(STDERR_FILENO, file) ||
        std::any_of(others.begin(), others.end(), [&](const TextFile& other) { return other.holds(file); })) {
      status = EBUSY;
    } else if (::ftruncate(descriptor, 0) != 0) {
      status = code_of_failure();
    }
  }
  if (status != ok) {
    ::close(descriptor);
    return status;
  }
  ::fcntl(descriptor, F_SETFL, 0);  // from here on a slow reader is waited for
  start(descriptor, true);
  return ok;
}

Status TextFile::fill() {
  for (;;) {
    const ssize_t n = ::read(descriptor_, buffer_.data() + end_, buffer_.size() - end_);
    if (n >= 0) {
      end_ += static_cast<std::size_t>(n);
      return ok;
    }
    if (errno != EINTR) return code_of_failure();
  }
}

Status TextFile::skip_rest_of_line() {
  for (;;) {
    begin_ = end_ = longest_line;  // the kept part of the line stays ahead of the bytes that are read now
    if (const Status status = fill(); status != ok) return status;
    if (end_ == begin_) return ok;
    const char* first = buffer_.data() + begin_;
    if (const void* newline = std::memchr(first, '\n', end_ - begin_)) {
      begin_ += static_cast<std::size_t>(static_cast<const char*>(newline) - first) + 1;
      return ok;
    }
  }
}

Status TextFile::read_line(std::string_view& line, bool& at_end) {
  line = {};
  at_end = false;
  if (!open_ || writing_) return EBADF;
  std::size_t searched = 0;
  for (;;) {
    const char* first = buffer_.data() + begin_;
    const std::size_t size = end_ - begin_;
    const void* newline = std::memchr(first + searched, '\n', size - searched);
    if (newline != nullptr) {
      line = {first, static_cast<std::size_t>(static_cast<const char*>(newline) - first)};
      begin_ += line.size() + 1;
      break;
    }
    if (size == buffer_.size()) {
      line = {first, longest_line};
      ++line_number_;
      return skip_rest_of_line();
    }
    searched = size;
    std::memmove(buffer_.data(), first, size);
    begin_ = 0;
    end_ = size;
    if (const Status status = fill(); status != ok) return status;
    if (end_ == size) {  // the end of the file; what is left is a last line without its end
      at_end = size == 0;
      line = {buffer_.data(), size};
      begin_ = end_;
      break;
    }
  }
  if (at_end) return ok;
  ++line_number_;
  if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
  line = line.substr(0, longest_line);
  return ok;
}

Status TextFile::write(std::initializer_list<std::string_view> parts) {
  if (!open_ || !writing_) return EBADF;
  std::size_t size = 0;
  for (const std::string_view part : parts) size += part.size();
  if (end_ + size > buffer_.size()) (void)flush();
  if (end_ + size > buffer_.size()) {
    ++lost_lines_;
    return failure_ != ok ? failure_ : EMSGSIZE;
  }
  for (const std::string_view part : parts) {
    std::copy(part.begin(), part.end(), buffer_.data() + end_);
    end_ += part.size();
  }
  return failure_ != ok ? flush() : ok;
}

Status TextFile::flush() {
  if (!open_ || !writing_) return EBADF;
  failure_ = ok;
  std::size_t done = 0;
  while (done < end_ && failure_ == ok) {
    const ssize_t n = ::write(descriptor_, buffer_.data() + done, end_ - done);
    if (n > 0) {
      done += static_cast<std::size_t>(n);
    } else if (n == 0 || errno != EINTR) {
      failure_ = last_failure_ = n < 0 ? code_of_failure() : ENOSPC;
    }
  }
  std::memmove(buffer_.data(), buffer_.data() + done, end_ - done);
  end_ -= done;
  return failure_;
}

Status TextFile::rewind() {
  if (!open_ || !writing_) return EBADF;
  // A device has neither a length nor a place.
  if (::ftruncate(descriptor_, 0) != 0 && errno != EINVAL) return code_of_failure();
  end_ = 0;
  lost_lines_ = 0;
  failure_ = ok;
  return ::lseek(descriptor_, 0, SEEK_SET) < 0 && errno != ESPIPE ? code_of_failure() : ok;
}

Status TextFile::close() {
  if (!open_) return EBADF;
  const Status written = writing_ ? flush() : ok;
  if (writing_) lost_lines_ += std::count(buffer_.data(), buffer_.data() + end_, '\n');
  open_ = false;
  if (::close(descriptor_) != 0 && written == ok) return code_of_failure();
  return written;
}

}  // namespace tessaron
