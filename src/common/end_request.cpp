#include "common/end_request.hpp"

#include <csignal>

namespace tessaron {

namespace {

constinit std::atomic<int> noted_signal{0};
static_assert(std::atomic<int>::is_always_lock_free);  // a handler may store it

void (*end_hook)() = nullptr;

/// What the signals do from here on. One that the process was told to ignore, as in the background of a
/// shell, stays ignored. While the handler runs, both wait.
void on_signals(void (*handler)(int)) {
  struct sigaction action {
  }, present{};
  action.sa_handler = handler;
  action.sa_flags = SA_RESTART;
  sigemptyset(&action.sa_mask);
  for (const int signal : {SIGTERM, SIGINT}) sigaddset(&action.sa_mask, signal);
  for (const int signal : {SIGTERM, SIGINT}) {
    if (::sigaction(signal, nullptr, &present) != 0 || present.sa_handler == SIG_IGN) continue;
    ::sigaction(signal, &action, nullptr);
  }
}

void note(int signal) {
  const bool second = noted_signal.exchange(signal) != 0;  // two threads can have taken one each
  on_signals(SIG_DFL);
  if (second) ::raise(signal);  // it takes effect behind the handler
}

}  // namespace

constinit const std::atomic<int>& end_signal = noted_signal;

void catch_end_signals() { on_signals(note); }

void request_end(int signal) { noted_signal.store(signal, std::memory_order_relaxed); }

std::string_view end_signal_name() { return end_signal.load() == SIGINT ? "SIGINT" : "SIGTERM"; }

void obey_end_request() {
  if (end_requested() && end_hook != nullptr) end_hook();
}

void set_end_hook(void (*hook)()) { end_hook = hook; }

}  // namespace tessaron
