// SPDX-License-Identifier: MIT
#include "CrashFilter.h"

#include <csignal>
#include <cstdint>
#include <initializer_list>

namespace {

ICrashHandler* crashHandler = nullptr;

void OnSignal(int number) {
  crashHandler->OnUnhandledException(static_cast<std::uintptr_t>(number));
  // Not before: another thread that fails meanwhile must not end the process under the handler.
  std::signal(number, SIG_DFL);
  std::raise(number);  // the process ends, with a core file where wanted
}

}  // namespace

void InstallCrashFilter(ICrashHandler& handler) noexcept {
  crashHandler = &handler;
  struct sigaction action{};
  action.sa_handler = OnSignal;
  action.sa_flags = SA_NODEFER;
  for (const int number : {SIGABRT, SIGBUS, SIGFPE, SIGILL, SIGSEGV}) {
    ::sigaction(number, &action, nullptr);
  }
}
