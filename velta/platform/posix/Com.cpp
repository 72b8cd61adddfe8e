// SPDX-License-Identifier: MIT
#include "velta/platform/posix/Win32Subset.h"

namespace {

constinit thread_local int nesting = 0;

}  // namespace

HRESULT CoInitializeEx(void* reserved, DWORD /*model*/) noexcept {
  if (reserved != nullptr) {
    return E_INVALIDARG;
  }
  return nesting++ == 0 ? S_OK : S_FALSE;
}

void CoUninitialize() noexcept {
  if (nesting > 0) {
    --nesting;
  }
}
