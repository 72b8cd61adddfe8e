// SPDX-License-Identifier: MIT
#pragma once

// Loading modules by hand, in the terms of either platform.

#if defined(_WIN32)
#include "velta/platform/internal/Win32.h"
#define VELTA_TEST_EXPORT extern "C" __declspec(dllexport)
#else
#include <dlfcn.h>
#define VELTA_TEST_EXPORT extern "C" __attribute__((visibility("default")))
#endif

/// A module loaded for the length of a scope.
class Module {
 public:
  explicit Module(const char* path) noexcept
#if defined(_WIN32)
      : handle(::LoadLibraryA(path)){}
#else
      : handle(::dlopen(path, RTLD_NOW | RTLD_LOCAL)) {
  }
#endif
        Module(const Module&) = delete;
  Module& operator=(const Module&) = delete;

  ~Module() {
    if (handle == nullptr) {
      return;
    }
#if defined(_WIN32)
    ::FreeLibrary(handle);
#else
    ::dlclose(handle);
#endif
  }

  explicit operator bool() const noexcept { return handle != nullptr; }

  /// The module's function of that name; null when it has none.
  template <class Function>
  Function* Find(const char* name) const noexcept {
#if defined(_WIN32)
    return reinterpret_cast<Function*>(reinterpret_cast<void*>(::GetProcAddress(handle, name)));
#else
    return reinterpret_cast<Function*>(::dlsym(handle, name));
#endif
  }

  /// Whether the process has a module of that file name, whoever loaded it.
  static bool IsLoaded(const char* fileName) noexcept {
#if defined(_WIN32)
    return ::GetModuleHandleA(fileName) != nullptr;
#else
    void* found = ::dlopen(fileName, RTLD_NOW | RTLD_NOLOAD);
    if (found != nullptr) {
      ::dlclose(found);
    }
    return found != nullptr;
#endif
  }

 private:
#if defined(_WIN32)
  HMODULE handle;
#else
  void* handle;
#endif
};
