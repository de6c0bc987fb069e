#pragma once
#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "support/temp_folder.hpp"

namespace tessaron::test {

/// The banner as it stands on the console.
inline constexpr std::string_view banner_text =
    " ------------------------------------------------------\n"
    " Tessaron\n"
    "    rel1.2   0001                   from 06.02.06\n"
    "    maxprt=  300000\n"
    "    solver: fld3f3_13_no_wint2  from 17.03.05\n"
    "            rel1_projected           17.03.05\n"
    " ------------------------------------------------------\n";

/// What a run of the program left behind.
struct ProgramRun {
  std::string console;   ///< standard output, whole
  std::string errors;    ///< standard error, whole
  int exit_status = -1;  ///< -1 if a signal ended it
  int signal = 0;        ///< the signal that ended it
  long peak_memory = 0;  ///< largest resident size [kB]
  bool hung = false;     ///< it did not end by itself in time and was killed

  std::vector<std::string> lines() const { return split_lines(console); }
  /// It ended by itself as every run should, however bad its input.
  bool orderly() const { return !hung && signal == 0 && exit_status == 0; }
  /// The console lines without the banners as one text, a ';' between them.
  std::string told(int& banners) const {
    std::string text = console;
    banners = 0;
    for (std::size_t at; (at = text.find(banner_text)) != text.npos; ++banners)
      text.erase(at, banner_text.size());
    return joined(split_lines(text));
  }
  std::string told() const {
    int banners = 0;
    return told(banners);
  }
};

/// A working directory to run the program in: write its deck and files, run it, read what it wrote.
///     RunFolder folder;
///     folder.write("tessar.in", "lattice { }");
///     const ProgramRun run = folder.run();
class RunFolder : public TempFolder {
 public:
  /// Runs the program with an empty standard input. It is killed when `timeout` seconds are over.
  ProgramRun run(double timeout = 60) const { return run_command({TESSARON_PROGRAM}, timeout); }
  /// The same for any command, its name searched for as a shell does. As soon as the console holds `told` the
  /// signals are sent, all of them while the process stands still.
  ProgramRun run_command(const std::vector<std::string>& command, double timeout = 60,
                         std::vector<int> signals = {}, std::string_view told = {}) const {
    const TempFolder streams;
    const std::string out = streams.path("out"), err = streams.path("err");
    const pid_t child = ::fork();
    if (child == 0) start(command, out, err);
    ProgramRun result;
    int status = 0;
    rusage usage{};
    const auto watch = [&] {
      if (signals.empty() || !streams.exists("out") || streams.read("out").find(told) == told.npos) return;
      ::kill(child, SIGSTOP);
      ::waitpid(child, nullptr, WUNTRACED);
      for (const int signal : signals) ::kill(child, signal);
      ::kill(child, SIGCONT);
      signals.clear();
    };
    if (!wait_for(child, timeout, status, usage, watch)) {
      result.hung = true;
      ::kill(child, SIGKILL);
      ::waitpid(child, &status, 0);
    }
    result.peak_memory = usage.ru_maxrss;
    if (WIFEXITED(status)) result.exit_status = WEXITSTATUS(status);
    if (WIFSIGNALED(status)) result.signal = WTERMSIG(status);
    result.console = streams.read("out");
    result.errors = streams.read("err");
    return result;
  }
  /// The same for a deck.
  ProgramRun run_deck(std::string_view deck, double timeout = 60) const {
    write("tessar.in", deck);
    return run(timeout);
  }

 private:
  /// In the child: becomes the program.
  [[noreturn]] void start(const std::vector<std::string>& command, const std::string& out,
                          const std::string& err) const {
    std::vector<char*> words;
    for (const std::string& word : command) words.push_back(const_cast<char*>(word.c_str()));
    words.push_back(nullptr);
    ::dup2(::open("/dev/null", O_RDONLY), STDIN_FILENO);
    ::dup2(::open(out.c_str(), O_WRONLY | O_CREAT, 0600), STDOUT_FILENO);
    ::dup2(::open(err.c_str(), O_WRONLY | O_CREAT, 0600), STDERR_FILENO);
    if (::chdir(path().c_str()) == 0) ::execvp(words[0], words.data());
    ::_exit(127);
  }

  template <class Watch>
  static bool wait_for(pid_t child, double timeout, int& status, rusage& usage, Watch&& watch) {
    using Clock = std::chrono::steady_clock;
    const auto end = Clock::now() + std::chrono::duration<double>(timeout);
    // Most runs take a few milliseconds: look often at first, then seldom.
    for (auto nap = std::chrono::microseconds(200);;
         nap = std::min(nap * 2, std::chrono::microseconds(20000))) {
      if (::wait4(child, &status, WNOHANG, &usage) == child) return true;
      if (Clock::now() > end) return false;
      watch();
      std::this_thread::sleep_for(nap);
    }
  }
};

}  // namespace tessaron::test
