// SPDX-License-Identifier: MIT
// The classification functions as templates, which libc++ expects of this runtime; Wine has macros.
#include_next <math.h>
#pragma once
#undef fpclassify
#undef signbit
#undef isinf
#undef isnan
#undef isnormal
#undef isfinite
#ifndef HUGE_VALF
#define HUGE_VALF __builtin_huge_valf()
#define HUGE_VALL __builtin_huge_vall()
#endif
typedef float float_t;
typedef double double_t;
#ifdef __cplusplus
extern "C++" {
template <class T>
bool isfinite(T value) noexcept {
  return __builtin_isfinite((double)value);
}
template <class T>
bool isinf(T value) noexcept {
  return __builtin_isinf((double)value);
}
template <class T>
bool isnan(T value) noexcept {
  return __builtin_isnan((double)value);
}
template <class T>
bool isnormal(T value) noexcept {
  return __builtin_isnormal((double)value);
}
template <class A, class B>
bool isgreater(A a, B b) noexcept {
  return __builtin_isgreater((double)a, (double)b);
}
template <class A, class B>
bool isgreaterequal(A a, B b) noexcept {
  return __builtin_isgreaterequal((double)a, (double)b);
}
template <class A, class B>
bool isless(A a, B b) noexcept {
  return __builtin_isless((double)a, (double)b);
}
template <class A, class B>
bool islessequal(A a, B b) noexcept {
  return __builtin_islessequal((double)a, (double)b);
}
template <class A, class B>
bool islessgreater(A a, B b) noexcept {
  return __builtin_islessgreater((double)a, (double)b);
}
template <class A, class B>
bool isunordered(A a, B b) noexcept {
  return __builtin_isunordered((double)a, (double)b);
}
}
#endif
