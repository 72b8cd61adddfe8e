// SPDX-License-Identifier: MIT
#pragma once

#include <exception>  // the runtime's own macros; Visual C++'s <version> lacks some of them

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

/// Stand around exported classes that have fields or bases of types which are not exported: the
/// program has the same ones, of the one C++ runtime that is asked for below.
#if defined(_MSC_VER)
#define VELTA_EXPORTS_BEGIN __pragma(warning(push)) __pragma(warning(disable : 4251 4275))
#define VELTA_EXPORTS_END __pragma(warning(pop))
#else
#define VELTA_EXPORTS_BEGIN
#define VELTA_EXPORTS_END
#endif

// Strings, streams and exceptions cross the library's boundary: a program must be built with the
// C++ runtime that the library was built with. So every object that includes a header of the
// framework asks for a symbol named after its own runtime; with another one the program does not
// link, and the linker names what was asked for.
#if defined(_LIBCPP_VERSION) && _LIBCPP_ABI_VERSION == 1
#define VELTA_CXX_RUNTIME velta_is_built_for_libcxx_abi_1
#elif defined(_LIBCPP_VERSION)
#define VELTA_CXX_RUNTIME velta_is_built_for_libcxx_unstable_abi
#elif defined(__GLIBCXX__) && _GLIBCXX_USE_CXX11_ABI
#define VELTA_CXX_RUNTIME velta_is_built_for_libstdcxx_cxx11_abi
#elif defined(__GLIBCXX__)
#define VELTA_CXX_RUNTIME velta_is_built_for_libstdcxx_old_abi
#elif !defined(_ITERATOR_DEBUG_LEVEL)
#error "Velta knows libc++, libstdc++ and Visual C++'s library, and this is none of them"
#elif !defined(_DLL)
#error "Velta shares memory and exceptions with the program: compile with /MD or /MDd, not /MT"
#elif !defined(_DEBUG) && _ITERATOR_DEBUG_LEVEL == 0
#define VELTA_CXX_RUNTIME velta_is_built_for_msvc_dll
#elif !defined(_DEBUG)
#define VELTA_CXX_RUNTIME velta_is_built_for_msvc_dll_with_iterator_debugging
#elif _ITERATOR_DEBUG_LEVEL == 0
#define VELTA_CXX_RUNTIME velta_is_built_for_msvc_debug_dll
#else
#define VELTA_CXX_RUNTIME velta_is_built_for_msvc_debug_dll_with_iterator_debugging
#endif

#if defined(VELTA_BUILDING)
extern "C" VELTA_API void VELTA_CXX_RUNTIME() noexcept;
#elif defined(_MSC_VER)
#define VELTA_TEXT_EXPANDED(text) #text
#define VELTA_TEXT(text) VELTA_TEXT_EXPANDED(text)
#pragma comment(linker, "/include:" VELTA_TEXT(VELTA_CXX_RUNTIME))
#undef VELTA_TEXT
#undef VELTA_TEXT_EXPANDED
#undef VELTA_CXX_RUNTIME
#else
extern "C" void VELTA_CXX_RUNTIME() noexcept;
namespace Velta {
__attribute__((used)) static void (*const cxxRuntime)() noexcept = &VELTA_CXX_RUNTIME;
}
#undef VELTA_CXX_RUNTIME
#endif
