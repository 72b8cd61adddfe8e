// SPDX-License-Identifier: MIT
#pragma once

/// What the framework exports. A consumer defines nothing: without a definition a name is imported.
///
/// `VELTA_BUILDING` is set by the framework's own build only, for the library's objects and for
/// tests that link those objects directly.
#if defined(_WIN32)
#if defined(VELTA_BUILDING)
#define VELTA_API __declspec(dllexport)
#else
#define VELTA_API __declspec(dllimport)
#endif
#elif defined(__GNUC__)
#define VELTA_API __attribute__((visibility("default")))
#else
#define VELTA_API
#endif
