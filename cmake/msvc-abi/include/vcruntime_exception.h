// SPDX-License-Identifier: MIT
// std::exception in the layout that vcruntime140.dll and msvcp140.dll use: a vtable, a pointer to
// the text and whether the text is to be freed.
#pragma once
#include <corecrt.h>
#include <eh.h>
struct __std_exception_data {
  const char* _What;
  bool _DoFree;
};
extern "C" {
__declspec(dllimport) void __cdecl __std_exception_copy(const __std_exception_data* from,
                                                        __std_exception_data* to);
__declspec(dllimport) void __cdecl __std_exception_destroy(__std_exception_data* data);
}
namespace std {
class exception {
 public:
  exception() noexcept : data{} {}
  explicit exception(const char* text) noexcept : data{} {
    const __std_exception_data given{text, true};
    __std_exception_copy(&given, &data);
  }
  exception(const char* text, int) noexcept : data{text, false} {}  // a constant: not copied
  exception(const exception& other) noexcept : data{} { __std_exception_copy(&other.data, &data); }
  exception& operator=(const exception& other) noexcept {
    if (this != &other) {
      __std_exception_destroy(&data);
      __std_exception_copy(&other.data, &data);
    }
    return *this;
  }
  virtual ~exception() noexcept { __std_exception_destroy(&data); }
  virtual const char* what() const noexcept {
    return data._What ? data._What : "Unknown exception";
  }

 private:
  __std_exception_data data;
};
class bad_exception : public exception {
 public:
  bad_exception() noexcept : exception("bad exception", 1) {}
};
class bad_alloc : public exception {
 public:
  bad_alloc() noexcept : exception("bad allocation", 1) {}

 protected:
  bad_alloc(const char* text, int) noexcept : exception(text, 1) {}
};
class bad_array_new_length : public bad_alloc {
 public:
  bad_array_new_length() noexcept : bad_alloc("bad array new length", 1) {}
};
}  // namespace std
