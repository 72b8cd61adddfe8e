// SPDX-License-Identifier: MIT
// In front of libc++'s own sources: a field is called DeleteFileA for them, DeleteFile in Wine's
// header.
#pragma once
#include <windows.h>
#undef DeleteFile
#define DeleteFileA DeleteFile
