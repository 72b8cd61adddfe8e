// SPDX-License-Identifier: MIT
#pragma once

#include "velta/platform/internal/Win32.h"

#include <ostream>

/// An event of its own for one test.
class Event {
 public:
  enum class Reset : bool { kManual, kAutomatic };
  static constexpr Reset kManual = Reset::kManual;
  static constexpr Reset kAutomatic = Reset::kAutomatic;

  explicit Event(Reset reset, bool signalled = false)
      : handle_(::CreateEventW(nullptr, reset == kManual ? TRUE : FALSE, signalled ? TRUE : FALSE,
                               nullptr)) {}
  Event(const Event&) = delete;
  Event& operator=(const Event&) = delete;
  ~Event() { ::CloseHandle(handle_); }

  operator HANDLE() const { return handle_; }

 private:
  const HANDLE handle_;
};

/// A handle that was valid once.
inline HANDLE ClosedHandle() {
  const HANDLE handle = ::CreateEventW(nullptr, TRUE, TRUE, nullptr);
  ::CloseHandle(handle);
  return handle;
}

inline bool IsSignalled(HANDLE handle) { return ::WaitForSingleObject(handle, 0) == WAIT_OBJECT_0; }

/// What a call returned and what it left as last error.
struct Outcome {
  DWORD result;
  DWORD lastError;

  bool operator==(const Outcome&) const = default;
  friend std::ostream& operator<<(std::ostream& out, const Outcome& outcome) {
    return out << "result " << outcome.result << ", last error " << outcome.lastError;
  }
};

inline constexpr DWORD kUntouched = 4711;

template <class Call>
Outcome OutcomeOf(Call call) {
  ::SetLastError(kUntouched);
  const auto result = static_cast<DWORD>(call());
  return {result, ::GetLastError()};
}

/// Lets the C runtime report a wrong argument, here and later, instead of ending the process.
inline void TolerateInvalidParameters() {
#if defined(_WIN32)
  ::_set_invalid_parameter_handler(
      [](const wchar_t*, const wchar_t*, const wchar_t*, unsigned, std::uintptr_t) {});
#endif
}
