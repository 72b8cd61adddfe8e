// SPDX-License-Identifier: MIT
#include "CrashFilter.h"

#include <csignal>

#include <windows.h>

namespace {

constexpr DWORD kAborted = 0x40000015;  // STATUS_FATAL_APP_EXIT

ICrashHandler* crashHandler = nullptr;

void ReportAndEnd(DWORD code) {
  crashHandler->OnUnhandledException(code);
  ::TerminateProcess(::GetCurrentProcess(), code);
}

LONG WINAPI OnException(EXCEPTION_POINTERS* exception) {
  ReportAndEnd(exception->ExceptionRecord->ExceptionCode);
  return EXCEPTION_EXECUTE_HANDLER;
}

void OnAbort(int) {
  std::signal(SIGABRT, OnAbort);  // has been reset: the next thread's abort must come here as well
  ReportAndEnd(kAborted);
}

}  // namespace

void InstallCrashFilter(ICrashHandler& handler) noexcept {
  crashHandler = &handler;
  ::SetUnhandledExceptionFilter(OnException);
  std::signal(SIGABRT, OnAbort);  // it ends the process past the filter
}
