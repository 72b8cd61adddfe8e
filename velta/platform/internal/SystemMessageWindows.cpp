// SPDX-License-Identifier: MIT
#include "velta/platform/internal/SystemMessage.h"

#include "velta/platform/internal/Win32.h"

std::wstring Velta::Platform::SystemMessage(std::uint32_t code) {
  const DWORD lastError = ::GetLastError();
  wchar_t text[512];  // the longest of the system's own is shorter; a longer one is left out
  DWORD length = ::FormatMessageW(
      FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_MAX_WIDTH_MASK,
      nullptr, code, 0, text, sizeof text / sizeof text[0], nullptr);
  ::SetLastError(lastError);
  while (length > 0 && (text[length - 1] == L' ' || text[length - 1] == L'.')) {
    --length;
  }
  return {text, length};
}
