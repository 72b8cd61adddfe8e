// SPDX-License-Identifier: MIT
#pragma once

#include "velta/errors/IThreadErrorHandler.h"
#include "velta/errors/MError.h"
#include "velta/errors/MException.h"
#include "velta/platform/internal/Win32.h"
#include "velta/threads/MCallbackFunctor.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <utility>

/// An event that one side of a test sets and the other waits for.
class TestEvent {
 public:
  explicit TestEvent(bool manualReset = true)
      : handle(::CreateEventW(nullptr, manualReset ? TRUE : FALSE, FALSE, nullptr)) {}
  TestEvent(const TestEvent&) = delete;
  TestEvent& operator=(const TestEvent&) = delete;
  ~TestEvent() { ::CloseHandle(handle); }

  void Set() const { ::SetEvent(handle); }
  void Wait() const { ::WaitForSingleObject(handle, INFINITE); }
  [[nodiscard]] HANDLE Handle() const { return handle; }

 private:
  HANDLE handle;
};

inline bool IsSignalled(HANDLE handle) { return ::WaitForSingleObject(handle, 0) == WAIT_OBJECT_0; }

inline bool IsClosed(HANDLE handle) {
  return ::WaitForSingleObject(handle, 0) == WAIT_FAILED &&
         ::GetLastError() == ERROR_INVALID_HANDLE;
}

/// A callback that runs whatever a test gives it.
class Callback final : public MCallbackFunctor {
 public:
  explicit Callback(std::function<void()> called) : action(std::move(called)) {}
  void operator()() override { action(); }

 private:
  std::function<void()> action;
};

/// Keeps the exception that ended a thread, and tells on which thread it was told.
class ErrorRecorder final : public IThreadErrorHandler {
 public:
  void OnSpontaneousError(const MException& exception) override {
    error = exception;
    threadId = ::GetCurrentThreadId();
    heard.Set();
  }
  void OnUnhandledException(std::uintptr_t /*argument*/) override {}

  TestEvent heard;
  std::optional<MException> error;
  DWORD threadId = 0;
};

inline MException ExceptionOf(const wchar_t* code) { return MException(MError(code)); }
