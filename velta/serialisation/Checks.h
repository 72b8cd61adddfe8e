// SPDX-License-Identifier: MIT
#pragma once

#include "velta/text/MString.h"
#include "velta/text/TextOf.h"

#include <concepts>
#include <cstddef>
#include <utility>

namespace Velta {

/// What a field's value must be: see `Velta::Fields`. A check of your own has the same two
/// operations: `Accepts`, and `GetText`, which says what is allowed ("1 to 64").
template <class Lowest, class Highest>
class Between {
 public:
  /// Both bounds are allowed.
  constexpr Between(Lowest lowest, Highest highest) : lowest_(lowest), highest_(highest) {}

  template <class Value>
  [[nodiscard]] constexpr bool Accepts(const Value& value) const {
    return AtLeast(value, lowest_) && AtLeast(highest_, value);
  }

  [[nodiscard]] MString GetText() const {
    return TextOf<Lowest>::Make(lowest_) + L" to " + TextOf<Highest>::Make(highest_);
  }

 private:
  template <class Left, class Right>
  static constexpr bool AtLeast(const Left& left, const Right& right) {
    if constexpr (std::integral<Left> && std::integral<Right>) {
      return std::cmp_greater_equal(left, right);
    } else {
      return left >= right;
    }
  }

  Lowest lowest_;
  Highest highest_;
};

/// A text or a container of so many characters or items at most.
class LengthUpTo {
 public:
  explicit constexpr LengthUpTo(std::size_t most) : most_(most) {}

  template <class Value>
  [[nodiscard]] constexpr bool Accepts(const Value& value) const {
    return value.size() <= most_;
  }

  [[nodiscard]] MString GetText() const {
    return L"a length up to " + TextOf<std::size_t>::Make(most_);
  }

 private:
  std::size_t most_;
};

/// What a predicate accepts.
template <class Predicate>
class Where {
 public:
  /// @param text  what is allowed, a literal
  constexpr Where(Predicate predicate, const wchar_t* text) : predicate_(predicate), text_(text) {}

  template <class Value>
  [[nodiscard]] constexpr bool Accepts(const Value& value) const {
    return predicate_(value);
  }

  [[nodiscard]] MString GetText() const { return text_; }

 private:
  Predicate predicate_;
  const wchar_t* text_;
};

/// The field must be stored.
struct Required {};

}  // namespace Velta
