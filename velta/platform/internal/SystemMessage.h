// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

namespace Velta::Platform {

/// The system's text for an error code or an `HRESULT`, in the user's language, without its closing
/// full stop; empty when it has none. Keeps the thread's last error.
///
/// Errors: `std::bad_alloc`.
[[nodiscard]] std::wstring SystemMessage(std::uint32_t code);

}  // namespace Velta::Platform
