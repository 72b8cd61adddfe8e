// SPDX-License-Identifier: MIT
#include "velta/platform/internal/SystemCalls.h"

#include <clocale>

namespace Velta::Platform {

// Functions of our own: the address of an imported one is no constant on Windows.
constinit SystemCalls systemCalls{
    .waitForSingle =
        +[](HANDLE handle, DWORD timeoutMs) { return ::WaitForSingleObject(handle, timeoutMs); },
    .waitForAny =
        +[](DWORD count, const HANDLE* handles, DWORD timeoutMs) {
          return ::WaitForMultipleObjects(count, handles, FALSE, timeoutMs);
        },
    .waitForAnyOrInput =
        +[](DWORD count, const HANDLE* handles, DWORD timeoutMs) {
          return ::MsgWaitForMultipleObjectsEx(count, handles, timeoutMs, QS_ALLINPUT,
                                               MWMO_INPUTAVAILABLE);
        },
    .createEvent =
        +[](BOOL manualReset, BOOL initialState) {
          return ::CreateEventW(nullptr, manualReset, initialState, nullptr);
        },
    .beginThread =
        +[](unsigned (*entry)(void*), void* argument, unsigned* id) {
          return ::_beginthreadex(nullptr, 0, entry, argument, 0, id);
        },
    .createLocale = +[](const char* name) { return ::_create_locale(LC_ALL, name); },
};

}  // namespace Velta::Platform
