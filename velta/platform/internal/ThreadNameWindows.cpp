// SPDX-License-Identifier: MIT
#include "velta/platform/internal/ThreadName.h"

#include "velta/platform/internal/Win32.h"

namespace {

constexpr DWORD kThreadNameException = 0x406D1388;
constexpr DWORD kThreadNameType = 0x1000;
constexpr DWORD kParameters = 3;

#pragma pack(push, 8)
struct ThreadNameInfo {
  DWORD type;
  LPCSTR name;
  DWORD threadId;
  DWORD flags;
};
#pragma pack(pop)
static_assert(sizeof(ThreadNameInfo) == 24, "the layout that debuggers read");

LONG CALLBACK SwallowThreadName(EXCEPTION_POINTERS* pointers) {
  return pointers->ExceptionRecord->ExceptionCode == kThreadNameException
             ? EXCEPTION_CONTINUE_EXECUTION
             : EXCEPTION_CONTINUE_SEARCH;
}

}  // namespace

void Velta::Platform::AnnounceThreadName(std::uint32_t threadId, const char* name) noexcept {
  if (name == nullptr) {
    return;
  }
  // Last in the row, as a handler around the call would be: tools inside the process see it before.
  void* const handler = ::AddVectoredExceptionHandler(0, &SwallowThreadName);
  // Without a handler nobody continues the exception, and the process ends: then rather no name.
  if (handler == nullptr) {
    return;
  }
  const ThreadNameInfo info{kThreadNameType, name, threadId, 0};
  ::RaiseException(kThreadNameException, 0, kParameters, reinterpret_cast<const ULONG_PTR*>(&info));
  ::RemoveVectoredExceptionHandler(handler);
}
