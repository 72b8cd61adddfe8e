// SPDX-License-Identifier: MIT
// std::type_info in the layout that the compiler writes in the Visual C++ ABI, and what is thrown
// with it.
#pragma once
#include <vcruntime_exception.h>
struct __std_type_info_data {
  const char* _UndecoratedName;
  const char _DecoratedName[1];
};
struct __type_info_node;
extern "C" {
__declspec(dllimport) int __cdecl __std_type_info_compare(const __std_type_info_data*,
                                                          const __std_type_info_data*);
__declspec(dllimport) size_t __cdecl __std_type_info_hash(const __std_type_info_data*);
__declspec(dllimport)
const char* __cdecl __std_type_info_name(__std_type_info_data*, __type_info_node*);
}
class type_info {  // in no namespace: the compiler looks for ::type_info's vtable
 public:
  type_info(const type_info&) = delete;
  type_info& operator=(const type_info&) = delete;
  virtual ~type_info() noexcept;
  size_t hash_code() const noexcept { return __std_type_info_hash(&data); }
  bool operator==(const type_info& other) const noexcept {
    return __std_type_info_compare(&data, &other.data) == 0;
  }
  bool operator!=(const type_info& other) const noexcept { return !(*this == other); }
  bool before(const type_info& other) const noexcept {
    return __std_type_info_compare(&data, &other.data) < 0;
  }
  const char* name() const noexcept;
  const char* raw_name() const noexcept { return data._DecoratedName; }

 private:
  mutable __std_type_info_data data;
};
namespace std {
using ::type_info;
class bad_cast : public exception {
 public:
  bad_cast() noexcept : exception("bad cast", 1) {}

 protected:
  bad_cast(const char* text, int) noexcept : exception(text, 1) {}
};
class bad_typeid : public exception {
 public:
  bad_typeid() noexcept : exception("bad typeid", 1) {}

 protected:
  bad_typeid(const char* text, int) noexcept : exception(text, 1) {}
};
class __non_rtti_object : public bad_typeid {};
}  // namespace std
