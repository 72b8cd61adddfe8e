// SPDX-License-Identifier: MIT
#pragma once

/// The part of Win32 and of Microsoft's C runtime that the framework calls, for POSIX systems.
///
/// Names, argument orders, results, last errors and constants are those of Windows; `README.md` in
/// this folder lists where behaviour differs. What is not declared here may not be used.

#include "velta/platform/Types.h"
#include "velta/platform/internal/Assert.h"
#include "velta/platform/posix/Atomic.h"

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include <locale.h>

// Calling conventions: there is only one here.
#define __stdcall
#define WINAPI

// ---- types and constants ------------------------------------------------------------------------

using BOOL = int;
using BYTE = unsigned char;
using DWORD = std::uint32_t;
using LONG = std::int32_t;
using HRESULT = std::int32_t;
using LPCWSTR = const wchar_t*;
using errno_t = int;
using __time64_t = std::int64_t;

struct SECURITY_ATTRIBUTES;
using LPSECURITY_ATTRIBUTES = SECURITY_ATTRIBUTES*;

struct LARGE_INTEGER {
  std::int64_t QuadPart;
};

inline constexpr BOOL FALSE = 0;
inline constexpr BOOL TRUE = 1;

inline constexpr DWORD INFINITE = 0xFFFFFFFF;
inline constexpr DWORD MAXIMUM_WAIT_OBJECTS = 64;
inline constexpr DWORD WAIT_OBJECT_0 = 0;
inline constexpr DWORD WAIT_ABANDONED = 128;
inline constexpr DWORD WAIT_ABANDONED_0 = 128;
inline constexpr DWORD WAIT_TIMEOUT = 258;
inline constexpr DWORD WAIT_FAILED = 0xFFFFFFFF;
inline constexpr DWORD STILL_ACTIVE = 259;

// Signed, as Windows has them: they are compared with last errors and with results.
inline constexpr LONG ERROR_SUCCESS = 0;
inline constexpr LONG ERROR_FILE_NOT_FOUND = 2;
inline constexpr LONG ERROR_PATH_NOT_FOUND = 3;
inline constexpr LONG ERROR_TOO_MANY_OPEN_FILES = 4;
inline constexpr LONG ERROR_ACCESS_DENIED = 5;
inline constexpr LONG ERROR_INVALID_HANDLE = 6;
inline constexpr LONG ERROR_NOT_ENOUGH_MEMORY = 8;
inline constexpr LONG ERROR_GEN_FAILURE = 31;
inline constexpr LONG ERROR_SHARING_VIOLATION = 32;
inline constexpr LONG ERROR_LOCK_VIOLATION = 33;
inline constexpr LONG ERROR_NOT_SUPPORTED = 50;
inline constexpr LONG ERROR_FILE_EXISTS = 80;
inline constexpr LONG ERROR_INVALID_PARAMETER = 87;
inline constexpr LONG ERROR_DISK_FULL = 112;
inline constexpr LONG ERROR_BAD_PATHNAME = 161;
inline constexpr LONG ERROR_BUSY = 170;
inline constexpr LONG ERROR_FILENAME_EXCED_RANGE = 206;
inline constexpr LONG ERROR_BAD_FILE_TYPE = 222;
inline constexpr LONG ERROR_FILE_TOO_LARGE = 223;
inline constexpr LONG ERROR_MORE_DATA = 234;
inline constexpr LONG ERROR_REGISTRY_CORRUPT = 1015;
inline constexpr LONG ERROR_KEY_DELETED = 1018;
inline constexpr LONG ERROR_IO_DEVICE = 1117;
inline constexpr LONG ERROR_USER_MAPPED_FILE = 1224;
inline constexpr LONG ERROR_NO_SYSTEM_RESOURCES = 1450;
inline constexpr LONG ERROR_CANT_RESOLVE_FILENAME = 1921;
inline constexpr LONG ERROR_NOT_A_REPARSE_POINT = 4390;

inline constexpr DWORD QS_ALLINPUT = 0x04FF;
inline constexpr DWORD MWMO_INPUTAVAILABLE = 0x0004;

inline constexpr HRESULT S_OK = 0;
inline constexpr HRESULT S_FALSE = 1;
inline constexpr HRESULT E_INVALIDARG = static_cast<HRESULT>(0x80070057);
inline constexpr DWORD COINIT_MULTITHREADED = 0;

inline constexpr errno_t STRUNCATE = 80;
inline constexpr std::size_t _TRUNCATE = SIZE_MAX;

// ---- last error and thread ids ------------------------------------------------------------------

// A library that the host loads late still finds room for these few bytes beside the thread's own,
// and reads them without a call. Hidden: the accesses need no indirection.
#if defined(__GNUC__)
#define VELTA_POSIX_HIDDEN __attribute__((visibility("hidden")))
#define VELTA_POSIX_EARLY_TLS __attribute__((tls_model("initial-exec")))
#else
#define VELTA_POSIX_HIDDEN
#define VELTA_POSIX_EARLY_TLS
#endif

namespace Velta::Posix {

VELTA_POSIX_HIDDEN VELTA_POSIX_EARLY_TLS extern constinit thread_local DWORD lastError;
/// 0 until asked for, and again in a forked child.
VELTA_POSIX_HIDDEN VELTA_POSIX_EARLY_TLS extern constinit thread_local DWORD cachedThreadId;

DWORD FetchThreadId() noexcept;

}  // namespace Velta::Posix

inline DWORD GetLastError() noexcept { return Velta::Posix::lastError; }
inline void SetLastError(DWORD error) noexcept { Velta::Posix::lastError = error; }

/// The kernel's id of the calling thread, as shown by ps and gdb.
inline DWORD GetCurrentThreadId() noexcept {
  const DWORD id = Velta::Posix::cachedThreadId;
  return id != 0 ? id : Velta::Posix::FetchThreadId();
}

// ---- events, waits, threads ---------------------------------------------------------------------

/// Unnamed events only: a name gives null and `ERROR_NOT_SUPPORTED`. Attributes are ignored.
HANDLE CreateEventW(LPSECURITY_ATTRIBUTES attributes, BOOL manualReset, BOOL initialState,
                    LPCWSTR name) noexcept;
BOOL SetEvent(HANDLE handle) noexcept;
BOOL ResetEvent(HANDLE handle) noexcept;
/// For events and threads. Whoever waits on a closed event waits on, for its other handles.
BOOL CloseHandle(HANDLE handle) noexcept;

DWORD WaitForSingleObject(HANDLE object, DWORD milliseconds) noexcept;
/// Waits for any of 1 to 64 objects; `waitAll` is refused with `ERROR_INVALID_PARAMETER`.
DWORD WaitForMultipleObjects(DWORD count, const HANDLE* objects, BOOL waitAll,
                             DWORD milliseconds) noexcept;
/// There is no window input here: a wait for any of 0 to 63 objects.
DWORD MsgWaitForMultipleObjectsEx(DWORD count, const HANDLE* objects, DWORD milliseconds,
                                  DWORD wakeMask, DWORD flags) noexcept;

/// `flags` must be 0. The handle is signalled as the thread's last act, after the destructors of
/// its thread-local objects; it may be closed before. On failure 0, with the reason in `errno`.
std::uintptr_t _beginthreadex(void* security, unsigned stackSize, unsigned (*entry)(void*),
                              void* argument, unsigned flags, unsigned* threadId) noexcept;
BOOL GetExitCodeThread(HANDLE handle, DWORD* exitCode) noexcept;

void Sleep(DWORD milliseconds) noexcept;

// ---- critical sections --------------------------------------------------------------------------

/// A recursive lock.
///
/// | its word               | becomes                | by                                         |
/// |------------------------|------------------------|--------------------------------------------|
/// | 0: free                | an owner's id          | who comes first                            |
/// | an owner's id          | that and kSleepersBit  | who finds it, before going to sleep        |
/// | 0                      | own id and kSleepersBit | who has waited: others may sleep still    |
/// | an owner's id          | 0                      | the owner                                  |
/// | that and kSleepersBit  | 0                      | the owner, which then wakes one            |
struct CRITICAL_SECTION {
  Velta::Posix::Atomic<std::uint32_t> word{0};
  std::uint32_t recursion = 0;  // the owner's further entries; only the owner looks at it
};

namespace Velta::Posix {

inline constexpr std::uint32_t kSleepersBit = 0x80000000;

void EnterContended(CRITICAL_SECTION* section, std::uint32_t self) noexcept;
void LeaveContended(CRITICAL_SECTION* section) noexcept;

}  // namespace Velta::Posix

inline void InitializeCriticalSection(CRITICAL_SECTION* section) noexcept {
  section->word.store(0, std::memory_order_relaxed);
  section->recursion = 0;
}

inline BOOL TryEnterCriticalSection(CRITICAL_SECTION* section) noexcept {
  const std::uint32_t self = GetCurrentThreadId();
  std::uint32_t seen = 0;
  if (section->word.compare_exchange_strong(seen, self, std::memory_order_acquire,
                                            std::memory_order_relaxed)) {
    return TRUE;
  }
  if ((seen & ~Velta::Posix::kSleepersBit) != self) {
    return FALSE;
  }
  ++section->recursion;
  return TRUE;
}

inline void EnterCriticalSection(CRITICAL_SECTION* section) noexcept {
  if (TryEnterCriticalSection(section) == FALSE) {
    Velta::Posix::EnterContended(section, GetCurrentThreadId());
  }
}

inline void LeaveCriticalSection(CRITICAL_SECTION* section) noexcept {
  if (section->recursion != 0) {
    --section->recursion;
    return;
  }
  const std::uint32_t was = section->word.exchange(0, std::memory_order_release);
  VELTA_ASSERT((was & ~Velta::Posix::kSleepersBit) == GetCurrentThreadId());
  if ((was & Velta::Posix::kSleepersBit) != 0) {
    Velta::Posix::LeaveContended(section);
  }
}

/// A section has nothing but its memory.
inline void DeleteCriticalSection(CRITICAL_SECTION* /*section*/) noexcept {}

// ---- time ---------------------------------------------------------------------------------------

namespace Velta::Posix {

enum class CounterSource : std::uint32_t { kUndecided, kTimeStamp, kMonotonicClock };

VELTA_POSIX_HIDDEN extern constinit std::atomic<CounterSource> counterSource;

std::int64_t ReadCounterSlowPath() noexcept;

/// The processor's own counter; 0 where none is known.
inline std::int64_t ReadTimeStamp() noexcept {
  // Not ordered with the loads before it: that would double the price, and the log pays it for
  // every event. Readings of two threads compare to well within a microsecond.
#if defined(__x86_64__)
  return static_cast<std::int64_t>(__builtin_ia32_rdtsc());
#elif defined(__aarch64__)
  std::int64_t ticks = 0;
  __asm__ __volatile__("mrs %0, cntvct_el0" : "=r"(ticks));
  return ticks;
#else
  return 0;
#endif
}

}  // namespace Velta::Posix

/// The processor's time-stamp counter where it and the kernel vouch for it, else nanoseconds of the
/// monotonic clock. The first call of this or the next function takes some milliseconds to choose.
inline BOOL QueryPerformanceCounter(LARGE_INTEGER* counter) noexcept {
  counter->QuadPart = Velta::Posix::counterSource.load(std::memory_order_relaxed) ==
                              Velta::Posix::CounterSource::kTimeStamp
                          ? Velta::Posix::ReadTimeStamp()
                          : Velta::Posix::ReadCounterSlowPath();
  return TRUE;
}

/// Counts per second: the same for the life of the process.
BOOL QueryPerformanceFrequency(LARGE_INTEGER* frequency) noexcept;

struct __timeb64 {
  __time64_t time;
  unsigned short millitm;
  short timezone;
  short dstflag;
};

errno_t _ftime64_s(__timeb64* now) noexcept;
/// Local time as in "Sat Nov 14 16:46:34 2026\n"; needs room for 26 characters.
errno_t _ctime64_s(char* buffer, std::size_t size, const __time64_t* time) noexcept;

// ---- COM ----------------------------------------------------------------------------------------

/// Nothing to set up; the results count the nesting as COM does.
HRESULT CoInitializeEx(void* reserved, DWORD model) noexcept;
void CoUninitialize() noexcept;

// ---- changes of folders -------------------------------------------------------------------------

// `Velta::Platform::storageCalls.watchFolder` opens a notification: the name of a folder need be no
// text here, so there is no call that takes it as one.

/// Resets the handle and waits for the next change; one that came since the last makes the handle
/// signalled at once. `ERROR_PATH_NOT_FOUND` when the folder has gone.
BOOL FindNextChangeNotification(HANDLE handle) noexcept;
BOOL FindCloseChangeNotification(HANDLE handle) noexcept;

// ---- registry -----------------------------------------------------------------------------------

// A store of its own in the file system: a folder per key, a file per value, below
// $VELTA_REGISTRY, else $XDG_CONFIG_HOME/velta/registry, else $HOME/.config/velta/registry. It
// outlives the process and is shared with every process of the user.
//
// Access follows the permissions of the folders. A value is replaced as a whole: a process killed
// while it writes leaves the old value or the new one. "Software" is there from the start.

using LSTATUS = LONG;
using REGSAM = DWORD;

#define HKEY_CURRENT_USER (reinterpret_cast<HKEY>(std::uintptr_t{0xFFFFFFFF80000001}))
#define HKEY_LOCAL_MACHINE (reinterpret_cast<HKEY>(std::uintptr_t{0xFFFFFFFF80000002}))

inline constexpr REGSAM KEY_QUERY_VALUE = 0x0001;
inline constexpr REGSAM KEY_SET_VALUE = 0x0002;
inline constexpr REGSAM KEY_CREATE_SUB_KEY = 0x0004;
inline constexpr REGSAM KEY_NOTIFY = 0x0010;
inline constexpr REGSAM KEY_READ = 0x20019;
inline constexpr REGSAM KEY_WRITE = 0x20006;

inline constexpr DWORD REG_OPTION_NON_VOLATILE = 0;
inline constexpr DWORD REG_CREATED_NEW_KEY = 1;
inline constexpr DWORD REG_OPENED_EXISTING_KEY = 2;

inline constexpr DWORD REG_NOTIFY_CHANGE_NAME = 1;
inline constexpr DWORD REG_NOTIFY_CHANGE_LAST_SET = 4;
inline constexpr DWORD REG_NOTIFY_THREAD_AGNOSTIC = 0x10000000;

inline constexpr DWORD REG_SZ = 1;
inline constexpr DWORD REG_BINARY = 3;
inline constexpr DWORD REG_DWORD = 4;

/// `subKey` names a path with "\\" between its parts; null or empty is `key` itself.
LSTATUS RegOpenKeyExW(HKEY key, LPCWSTR subKey, DWORD options, REGSAM access,
                      HKEY* result) noexcept;
/// Opens or creates, the keys on the way included. Class, security and `options` other than
/// `REG_OPTION_NON_VOLATILE` are not supported: `ERROR_INVALID_PARAMETER` for such options.
LSTATUS RegCreateKeyExW(HKEY key, LPCWSTR subKey, DWORD reserved, wchar_t* className, DWORD options,
                        REGSAM access, LPSECURITY_ATTRIBUTES attributes, HKEY* result,
                        DWORD* disposition) noexcept;
/// Text counts in bytes, its terminator included; a character has `sizeof(wchar_t)` of them.
LSTATUS RegSetValueExW(HKEY key, LPCWSTR name, DWORD reserved, DWORD type, const BYTE* data,
                       DWORD size) noexcept;
LSTATUS RegQueryValueExW(HKEY key, LPCWSTR name, DWORD* reserved, DWORD* type, BYTE* data,
                         DWORD* size) noexcept;
/// Sets `event` on the first change from now on, or from the end of the last notification of `key`;
/// also when the key is closed. For a key that was opened with `KEY_NOTIFY`, and asynchronous only.
LSTATUS RegNotifyChangeKeyValue(HKEY key, BOOL watchSubtree, DWORD filter, HANDLE event,
                                BOOL asynchronous) noexcept;
LSTATUS RegCloseKey(HKEY key) noexcept;

// ---- C runtime locales and text -----------------------------------------------------------------

using _locale_t = locale_t;

/// `name` is one that the system's `newlocale` accepts ("C", "de_DE.UTF-8"); null if it does not.
_locale_t _create_locale(int category, const char* name) noexcept;
void _free_locale(_locale_t locale) noexcept;

double _wcstod_l(const wchar_t* text, wchar_t** end, _locale_t locale) noexcept;

/// The number of characters that `format` would produce, without a terminator; negative on error.
/// Formats use what both platforms agree on: `%ls`, `%hs`, `%lld`, never `%s` or `%I64d`.
int CountFormattedWide(const wchar_t* format, _locale_t locale, va_list arguments) noexcept;
/// Reads by a format for numbers; returns how many fields were converted, negative without any
/// text.
int ScanFormattedWide(const wchar_t* text, const wchar_t* format, _locale_t locale,
                      va_list arguments) noexcept;
/// Writes at most `maxCount` characters (`_TRUNCATE`: what fits) and a terminator; returns how
/// many, or -1 when the text was cut or could not be formatted.
int _vsnwprintf_s_l(wchar_t* buffer, std::size_t size, std::size_t maxCount, const wchar_t* format,
                    _locale_t locale, va_list arguments) noexcept;

/// Converts by the current C locale. `EILSEQ` and an empty text for what is not valid in it.
errno_t mbstowcs_s(std::size_t* converted, wchar_t* buffer, std::size_t size, const char* text,
                   std::size_t maxCount) noexcept;
