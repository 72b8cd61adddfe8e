// SPDX-License-Identifier: MIT
// The allocation functions, which Visual C++ declares outside its C++ library.
#pragma once
#include <corecrt.h>
extern "C++" {
namespace std {
struct nothrow_t {
  explicit nothrow_t() = default;
};
extern const nothrow_t nothrow;
enum class align_val_t : size_t {};
typedef void(__cdecl* new_handler)();
new_handler __cdecl set_new_handler(new_handler) noexcept;
new_handler __cdecl get_new_handler() noexcept;
}  // namespace std
[[nodiscard]] void* __cdecl operator new(size_t);
[[nodiscard]] void* __cdecl operator new[](size_t);
[[nodiscard]] void* __cdecl operator new(size_t, const std::nothrow_t&) noexcept;
[[nodiscard]] void* __cdecl operator new[](size_t, const std::nothrow_t&) noexcept;
[[nodiscard]] void* __cdecl operator new(size_t, std::align_val_t);
[[nodiscard]] void* __cdecl operator new[](size_t, std::align_val_t);
[[nodiscard]] void* __cdecl operator new(size_t, std::align_val_t, const std::nothrow_t&) noexcept;
[[nodiscard]] void* __cdecl operator new[](size_t, std::align_val_t,
                                           const std::nothrow_t&) noexcept;
void __cdecl operator delete(void*) noexcept;
void __cdecl operator delete[](void*) noexcept;
void __cdecl operator delete(void*, size_t) noexcept;
void __cdecl operator delete[](void*, size_t) noexcept;
void __cdecl operator delete(void*, const std::nothrow_t&) noexcept;
void __cdecl operator delete[](void*, const std::nothrow_t&) noexcept;
void __cdecl operator delete(void*, std::align_val_t) noexcept;
void __cdecl operator delete[](void*, std::align_val_t) noexcept;
void __cdecl operator delete(void*, size_t, std::align_val_t) noexcept;
void __cdecl operator delete[](void*, size_t, std::align_val_t) noexcept;
void __cdecl operator delete(void*, std::align_val_t, const std::nothrow_t&) noexcept;
void __cdecl operator delete[](void*, std::align_val_t, const std::nothrow_t&) noexcept;
[[nodiscard]] inline void* __cdecl operator new(size_t, void* place) noexcept { return place; }
[[nodiscard]] inline void* __cdecl operator new[](size_t, void* place) noexcept { return place; }
inline void __cdecl operator delete(void*, void*) noexcept {}
inline void __cdecl operator delete[](void*, void*) noexcept {}
}
