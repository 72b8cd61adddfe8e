// SPDX-License-Identifier: MIT
#pragma once

#include "velta/serialisation/FieldAccess.h"
#include "velta/serialisation/IInFilerTagged.h"
#include "velta/serialisation/IOutFilerTagged.h"
#include "velta/text/EnumNames.h"
#include "velta/text/MString.h"
#include "velta/text/TextOf.h"
#include "velta/text/Utf8.h"

#include <algorithm>
#include <array>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

namespace Velta {

/// How a type is stored as a named value or group. Specialise it for types of your own:
///
/// ```cpp
/// template <>
/// struct Velta::ValueOf<Colour> {
///   static bool Write(IOutFilerTagged& filer, const MString& tag, const Colour& value);
///   static bool Read(IInFilerTagged& filer, const MString& tag, Colour& value);
/// };
/// ```
///
/// `Write` returns whether the value was stored, `Read` whether it was found; a value that was not
/// is left as it was. A type that says its fields (`velta/serialisation/Described.h`), or that has
/// `bool Write(IOutFilerTagged&) const` and `bool Read(IInFilerTagged&)`, needs none: its values
/// are in a group of their own. `velta/serialisation/StandardValues.h` has more.
template <class T>
struct ValueOf;

template <class T>
concept Writable =
    requires(IOutFilerTagged& filer, const MString& tag, const std::decay_t<const T>& value) {
      { ValueOf<std::decay_t<const T>>::Write(filer, tag, value) } -> std::same_as<bool>;
    };

template <class T>
concept Readable = requires(IInFilerTagged& filer, const MString& tag, T& value) {
  { ValueOf<T>::Read(filer, tag, value) } -> std::same_as<bool>;
};

}  // namespace Velta

/// Writes a value of any type that can be stored (`Velta::ValueOf`): every integer type, bool,
/// char, enumerations, float and double (bit for bit), wide text, narrow text in UTF-8,
/// `std::optional`, containers, and more.
///
/// @return whether it was stored; never a changed value
///
/// Errors: "Utf8.FromUtf8:MalformedText" for narrow text; those of the filer.
template <Velta::Writable T>
[[nodiscard]] bool Write(IOutFilerTagged& filer, const MString& tag, const T& value) {
  return Velta::ValueOf<std::decay_t<const T>>::Write(filer, tag, value);
}

/// Reads a value that `Write` wrote, or one of the filers' own forms, into any type that can hold
/// it: a number may have been written by another integer type.
///
/// @param value  receives it; left as it is when the result is false
/// @return false when there is none, or one that is no such value or does not fit. Over XML it may
///         then have been passed over: what follows is found
///
/// Errors: those of the filer.
template <Velta::Readable T>
[[nodiscard]] bool Read(IInFilerTagged& filer, const MString& tag, T& value) {
  return Velta::ValueOf<T>::Read(filer, tag, value);
}

namespace Velta {
namespace Serialisation {

/// Reads a value that may hold others. With `problems`, what is wrong inside is said there and
/// keeps its default, where the type can tell.
template <class T>
bool ReadNested(IInFilerTagged& filer, const MString& tag, T& value, FieldProblems* problems) {
  if constexpr (requires { ValueOf<T>::Read(filer, tag, value, problems); }) {
    return ValueOf<T>::Read(filer, tag, value, problems);
  } else {
    return ValueOf<T>::Read(filer, tag, value);
  }
}

template <class T>
bool Assign(const std::optional<T>& read, T& value) {
  if (read) {
    value = *read;
  }
  return read.has_value();
}

template <class T>
concept Integer = std::integral<T> && !Character<T> && !std::same_as<T, bool>;

template <Integer T>
bool WriteInteger(IOutFilerTagged& filer, const MString& tag, T value) {
  if constexpr (sizeof(T) > sizeof(std::uint32_t)) {
    using Long = std::conditional_t<std::is_signed_v<T>, std::int64_t, std::uint64_t>;
    return WriteLong(filer, tag, static_cast<Long>(value));
  } else if constexpr (std::is_signed_v<T>) {
    return sizeof(T) > sizeof(std::int16_t)
               ? filer.WriteInt(tag, static_cast<std::int32_t>(value))
               : filer.WriteShort(tag, static_cast<std::int16_t>(value));
  } else if constexpr (sizeof(T) == sizeof(std::uint32_t)) {
    return filer.WriteUnsignedInt(tag, static_cast<std::uint32_t>(value));
  } else if constexpr (sizeof(T) == sizeof(std::uint16_t)) {
    return filer.WriteUnsignedShort(tag, static_cast<std::uint16_t>(value));
  } else {
    return filer.WriteByte(tag, static_cast<std::uint8_t>(value));
  }
}

template <Integer T>
bool ReadInteger(IInFilerTagged& filer, const MString& tag, T& value) {
  const auto read = [&] {
    if constexpr (std::is_signed_v<T>) {
      return ReadSigned(filer, tag, sizeof(T));
    } else {
      return ReadUnsigned(filer, tag, sizeof(T));
    }
  }();
  if (!read || !std::in_range<T>(*read)) {
    return false;
  }
  value = static_cast<T>(*read);
  return true;
}

template <class Content>
bool WriteGroup(IOutFilerTagged& filer, const MString& tag, const Content& content) {
  if (!filer.BeginGroup(tag)) {
    return false;
  }
  const bool written = content();
  return filer.EndGroup() && written;
}

/// The group is left also when its content cannot be read.
template <class Content>
bool ReadGroup(IInFilerTagged& filer, const MString& tag, const Content& content) {
  if (!FieldAccess::BeginGroup(filer, tag)) {
    return false;
  }
  const bool read = content();
  return filer.EndGroup() && read;
}

inline const wchar_t kCountTag[] = L"Count";
inline constexpr std::wstring_view kItem = L"Item";
inline constexpr std::wstring_view kKey = L"Key";
inline constexpr std::wstring_view kMapped = L"Value";

/// Calls `read` with the number of each item, as long as it returns true.
template <class ReadOne>
bool ReadItems(IInFilerTagged& filer, const ReadOne& read) {
  const std::optional<std::uint64_t> count = ReadUnsigned(filer, kCountTag, sizeof(std::uint32_t));
  if (!count || *count > (std::numeric_limits<std::uint32_t>::max)()) {
    return false;
  }
  for (std::uint32_t i = 0; i < *count; ++i) {
    if (!read(i)) {
      return false;
    }
  }
  return true;
}

template <class T>
concept Text = TextLike<T, std::wstring_view> || TextLike<T, std::string_view> ||
               TextLike<T, std::u8string_view>;

template <class T>
concept Container = !Text<T> && requires(const T& container) {
  typename T::value_type;
  container.begin();
  container.end();
  { container.size() } -> std::convertible_to<std::size_t>;
};

template <class T>
concept Map = Container<T> && requires {
  typename T::key_type;
  typename T::mapped_type;
};

template <class T>
concept Growing = Container<T> && requires(T& container, typename T::value_type& item) {
  container.insert(container.end(), std::move(item));
};

template <class T>
concept SelfStoring =
    requires(const T& value, T& target, IOutFilerTagged& out, IInFilerTagged& in) {
      { value.Write(out) } -> std::same_as<bool>;
      { target.Read(in) } -> std::same_as<bool>;
    };

}  // namespace Serialisation

template <Serialisation::Integer T>
struct ValueOf<T> {
  static bool Write(IOutFilerTagged& filer, const MString& tag, T value) {
    return Serialisation::WriteInteger(filer, tag, value);
  }
  static bool Read(IInFilerTagged& filer, const MString& tag, T& value) {
    return Serialisation::ReadInteger(filer, tag, value);
  }
};

template <>
struct ValueOf<bool> {
  static bool Write(IOutFilerTagged& filer, const MString& tag, bool value) {
    return filer.WriteBool(tag, value);
  }
  static bool Read(IInFilerTagged& filer, const MString& tag, bool& value) {
    return Serialisation::Assign(Serialisation::ReadTruth(filer, tag), value);
  }
};

template <>
struct ValueOf<char> {
  static bool Write(IOutFilerTagged& filer, const MString& tag, char value) {
    return filer.WriteChar(tag, value);
  }
  static bool Read(IInFilerTagged& filer, const MString& tag, char& value) {
    return Serialisation::Assign(Serialisation::ReadCharacter(filer, tag), value);
  }
};

/// The name of the value, and none without a name; the number where there are no names.
template <class T>
  requires std::is_enum_v<T>
struct ValueOf<T> {
  static bool Write(IOutFilerTagged& filer, const MString& tag, T value) {
    if constexpr (NamedEnum<T>) {
      const wchar_t* const name = NameOf(value);
      return name != nullptr && filer.WriteString(tag, name);
    } else {
      using Number = std::underlying_type_t<T>;
      return Serialisation::WriteInteger(filer, tag, static_cast<Number>(value));
    }
  }
  static bool Read(IInFilerTagged& filer, const MString& tag, T& value) {
    if constexpr (NamedEnum<T>) {
      const std::optional<MString> name = Serialisation::ReadText(filer, tag);
      const T* const named = name ? ValueNamed<T>(*name) : nullptr;
      if (named != nullptr) {
        value = *named;
      }
      return named != nullptr;
    } else {
      std::underlying_type_t<T> number{};
      const bool read = Serialisation::ReadInteger(filer, tag, number);
      if (read) {
        value = static_cast<T>(number);
      }
      return read;
    }
  }
};

/// The shortest text that reads back as the same number, with all bits of what is not a number.
template <class T>
  requires std::same_as<T, float> || std::same_as<T, double>
struct ValueOf<T> {
  static bool Write(IOutFilerTagged& filer, const MString& tag, T value) {
    return filer.WriteString(tag, Serialisation::ExactText(value));
  }
  static bool Read(IInFilerTagged& filer, const MString& tag, T& value) {
    return Serialisation::ReadExact(filer, tag, value);
  }
};

/// A null pointer to text is an empty text.
template <class T>
  requires TextLike<T, std::wstring_view>
struct ValueOf<T> {
  static bool Write(IOutFilerTagged& filer, const MString& tag, const T& value) {
    if constexpr (std::same_as<T, MString>) {
      return filer.WriteString(tag, value);
    } else {
      return filer.WriteString(tag, TextOf<T>::Make(value));
    }
  }
  static bool Read(IInFilerTagged& filer, const MString& tag, T& value)
    requires std::same_as<T, MString>
  {
    return filer.ReadString(tag, &value, value);
  }
};

template <class T>
  requires TextLike<T, std::string_view>
struct ValueOf<T> {
  static bool Write(IOutFilerTagged& filer, const MString& tag, const T& value) {
    if constexpr (std::is_pointer_v<T>) {
      return filer.WriteString(tag, value != nullptr ? FromUtf8(value) : MString());
    } else {
      return filer.WriteString(tag, FromUtf8(std::string_view(value)));
    }
  }
  static bool Read(IInFilerTagged& filer, const MString& tag, T& value)
    requires std::same_as<T, std::string>
  {
    return Serialisation::Assign(Serialisation::ReadUtf8(filer, tag), value);
  }
};

/// A group with "Count", 0 or 1, and the value as "Item0".
template <class T>
struct ValueOf<std::optional<T>> {
  static bool Write(IOutFilerTagged& filer, const MString& tag, const std::optional<T>& value) {
    return Serialisation::WriteGroup(filer, tag, [&] {
      return filer.WriteUnsignedInt(Serialisation::kCountTag, value ? 1u : 0u) &&
             (!value || ValueOf<T>::Write(filer, L"Item0", *value));
    });
  }
  static bool Read(IInFilerTagged& filer, const MString& tag, std::optional<T>& value,
                   FieldProblems* problems = nullptr) {
    std::optional<T> read;
    const bool isRead = Serialisation::ReadGroup(filer, tag, [&] {
      return Serialisation::ReadItems(filer, [&](std::uint32_t index) {
        return index == 0 && Serialisation::ReadNested(filer, L"Item0", read.emplace(), problems);
      });
    });
    if (isRead) {
      value = std::move(read);
    }
    return isRead;
  }
};

/// A group with "Count" and the items as "Item0", "Item1", ...; of a map, "Key0", "Value0", ...
template <Serialisation::Container T>
struct ValueOf<T> {
  static bool Write(IOutFilerTagged& filer, const MString& tag, const T& items) {
    if (!std::in_range<std::uint32_t>(items.size())) {
      return false;
    }
    return Serialisation::WriteGroup(filer, tag, [&] {
      bool written = filer.WriteUnsignedInt(Serialisation::kCountTag,
                                            static_cast<std::uint32_t>(items.size()));
      std::uint32_t index = 0;
      MString name;
      for (auto item = items.begin(); written && item != items.end(); ++item, ++index) {
        if constexpr (Serialisation::Map<T>) {
          Serialisation::NameItem(name, Serialisation::kKey, index);
          written = ValueOf<typename T::key_type>::Write(filer, name, item->first);
          Serialisation::NameItem(name, Serialisation::kMapped, index);
          written = written && ValueOf<typename T::mapped_type>::Write(filer, name, item->second);
        } else {
          const typename T::value_type& value = *item;
          Serialisation::NameItem(name, Serialisation::kItem, index);
          written = ValueOf<typename T::value_type>::Write(filer, name, value);
        }
      }
      return written;
    });
  }

  static bool Read(IInFilerTagged& filer, const MString& tag, T& items,
                   FieldProblems* problems = nullptr)
    requires Serialisation::Map<T> || Serialisation::Growing<T>
  {
    T read;
    MString name;
    const bool isRead = Serialisation::ReadGroup(filer, tag, [&] {
      return Serialisation::ReadItems(filer, [&](std::uint32_t index) {
        if constexpr (Serialisation::Map<T>) {
          typename T::key_type key{};
          typename T::mapped_type mapped{};
          Serialisation::NameItem(name, Serialisation::kKey, index);
          bool found = Serialisation::ReadNested(filer, name, key, problems);
          Serialisation::NameItem(name, Serialisation::kMapped, index);
          found = found && Serialisation::ReadNested(filer, name, mapped, problems);
          return found && (read.emplace(std::move(key), std::move(mapped)), true);
        } else {
          typename T::value_type item{};
          Serialisation::NameItem(name, Serialisation::kItem, index);
          return Serialisation::ReadNested(filer, name, item, problems) &&
                 (read.insert(read.end(), std::move(item)), true);
        }
      });
    });
    if (isRead) {
      items = std::move(read);
    }
    return isRead;
  }
};

/// As a container, whose number of items must be the array's.
template <class T, std::size_t Size>
struct ValueOf<std::array<T, Size>> {
  static bool Write(IOutFilerTagged& filer, const MString& tag, const std::array<T, Size>& items) {
    return ValueOf<std::vector<T>>::Write(filer, tag, {items.begin(), items.end()});
  }
  static bool Read(IInFilerTagged& filer, const MString& tag, std::array<T, Size>& items,
                   FieldProblems* problems = nullptr) {
    std::vector<T> read;
    if (!ValueOf<std::vector<T>>::Read(filer, tag, read, problems) || read.size() != Size) {
      return false;
    }
    std::move(read.begin(), read.end(), items.begin());
    return true;
  }
};

/// A text of two hexadecimal digits for each byte.
template <>
struct ValueOf<std::vector<std::byte>> {
  static bool Write(IOutFilerTagged& filer, const MString& tag,
                    const std::vector<std::byte>& bytes) {
    return Serialisation::WriteBytes(filer, tag, bytes.data(), bytes.size());
  }
  static bool Read(IInFilerTagged& filer, const MString& tag, std::vector<std::byte>& bytes) {
    return Serialisation::Assign(Serialisation::ReadBytes(filer, tag), bytes);
  }
};

/// A group, in which the value stores itself.
template <Serialisation::SelfStoring T>
struct ValueOf<T> {
  static bool Write(IOutFilerTagged& filer, const MString& tag, const T& value) {
    return Serialisation::WriteGroup(filer, tag, [&] { return value.Write(filer); });
  }
  static bool Read(IInFilerTagged& filer, const MString& tag, T& value) {
    T read;
    const bool isRead = Serialisation::ReadGroup(filer, tag, [&] { return read.Read(filer); });
    if (isRead) {
      value = std::move(read);
    }
    return isRead;
  }
};

}  // namespace Velta
