// SPDX-License-Identifier: MIT
#include "velta/platform/internal/SystemCalls.h"

#include <clocale>

namespace {

// Functions of our own: the address of an imported one is no constant on Windows.

DWORD WaitForSingle(HANDLE handle, DWORD timeoutMs) {
  return ::WaitForSingleObject(handle, timeoutMs);
}

DWORD WaitForAny(DWORD count, const HANDLE* handles, DWORD timeoutMs) {
  return ::WaitForMultipleObjects(count, handles, FALSE, timeoutMs);
}

DWORD WaitForAnyOrInput(DWORD count, const HANDLE* handles, DWORD timeoutMs) {
  return ::MsgWaitForMultipleObjectsEx(count, handles, timeoutMs, QS_ALLINPUT, MWMO_INPUTAVAILABLE);
}

HANDLE MakeEvent(BOOL manualReset, BOOL initialState) {
  return ::CreateEventW(nullptr, manualReset, initialState, nullptr);
}

std::uintptr_t BeginThread(unsigned (*entry)(void*), void* argument, unsigned* id) {
  return ::_beginthreadex(nullptr, 0, entry, argument, 0, id);
}

_locale_t CreateCLocale(const char* name) { return ::_create_locale(LC_ALL, name); }

}  // namespace

constinit SystemCalls systemCalls{&WaitForSingle, &WaitForAny,  &WaitForAnyOrInput,
                                  &MakeEvent,     &BeginThread, &CreateCLocale};
