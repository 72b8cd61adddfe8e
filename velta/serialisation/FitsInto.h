// SPDX-License-Identifier: MIT
#pragma once

#include <concepts>
#include <limits>
#include <type_traits>

namespace Velta {

/// An arithmetic type whose values are numbers; neither a bool nor a character.
template <class T>
concept Number = std::is_arithmetic_v<T> && !std::same_as<T, bool> && !std::same_as<T, char> &&
                 !std::same_as<T, wchar_t> && !std::same_as<T, char8_t> &&
                 !std::same_as<T, char16_t> && !std::same_as<T, char32_t>;

/// Whether every value of `From` is the same value as a `To`.
template <class From, class To>
concept FitsInto =
    std::same_as<From, To> ||
    (Number<From> && Number<To> && (std::integral<From> || std::floating_point<To>) &&
     (std::is_unsigned_v<From> || std::is_signed_v<To>) &&
     std::numeric_limits<From>::digits <= std::numeric_limits<To>::digits);

/// An argument that a conversion to `To` would take, and might change.
template <class From, class To>
concept MayChangeIn = std::is_scalar_v<From> && !FitsInto<From, To>;

}  // namespace Velta
