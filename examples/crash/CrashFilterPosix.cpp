// SPDX-License-Identifier: MIT
#include "CrashFilter.h"

#include <csignal>
#include <initializer_list>

namespace {

ICrashHandler* crashHandler = nullptr;

void OnSignal(int number) {
  crashHandler->OnUnhandledException(static_cast<std::uintptr_t>(number));
  std::raise(number);  // its default action now: the process ends, with a core file where wanted
}

}  // namespace

void InstallCrashFilter(ICrashHandler& handler) noexcept {
  crashHandler = &handler;
  struct sigaction action{};
  action.sa_handler = OnSignal;
  action.sa_flags = static_cast<int>(SA_RESETHAND | SA_NODEFER);
  for (const int number : {SIGABRT, SIGBUS, SIGFPE, SIGILL, SIGSEGV}) {
    ::sigaction(number, &action, nullptr);
  }
}
