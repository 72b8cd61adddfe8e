// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

namespace Velta::Logging {

/// The page that `view` writes, made of view/ by the build; "@TITLE@" and "@DATA@" stand where the
/// log's own parts go.
[[nodiscard]] std::string_view ViewPage() noexcept;

}  // namespace Velta::Logging
