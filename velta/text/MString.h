// SPDX-License-Identifier: MIT
#pragma once

#include "velta/platform/Api.h"

#include <string>

/// The framework's wide text: UTF-16 code units on Windows, UTF-32 on Linux.
///
/// The framework counts code units and never interprets them, so text passes through unchanged
/// whether or not it is well formed.
using MString = std::wstring;

/// The type name "MString", there from start-up on.
VELTA_API extern const wchar_t MStringTypeName[];
