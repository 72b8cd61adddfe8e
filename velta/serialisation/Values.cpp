// SPDX-License-Identifier: MIT
// How numbers and texts are stored beyond the filers' own types.
#include "velta/errors/MError.h"
#include "velta/errors/MException.h"
#include "velta/serialisation/FieldAccess.h"
#include "velta/serialisation/IInFilerTagged.h"
#include "velta/serialisation/IInFilerTaggedRegistry.h"
#include "velta/serialisation/IOutFilerTagged.h"
#include "velta/text/MLocale.h"
#include "velta/text/NumberText.h"
#include "velta/text/TextOf.h"
#include "velta/text/Utf8.h"
#include "velta/text/internal/DecimalText.h"

#include <bit>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <limits>
#include <optional>
#include <type_traits>

namespace Velta::Serialisation {
namespace {

constexpr std::wstring_view kHexDigits = L"0123456789abcdef";

IInFilerTaggedRegistry* RegistryOf(IInFilerTagged& filer) noexcept {
  return filer.HasUniqueGroupNames() ? dynamic_cast<IInFilerTaggedRegistry*>(&filer) : nullptr;
}

/// @return nothing unless all of `text` is digits and the number is at most `highest`
std::optional<std::uint64_t> ParseDigits(std::wstring_view text, std::uint64_t highest) noexcept {
  std::uint64_t number = 0;
  for (const wchar_t c : text) {
    if (c < L'0' || c > L'9') {
      return std::nullopt;
    }
    const auto digit = static_cast<std::uint64_t>(c - L'0');
    if (number > (highest - digit) / 10) {
      return std::nullopt;
    }
    number = number * 10 + digit;
  }
  return text.empty() ? std::nullopt : std::optional(number);
}

template <class Bits>
std::optional<Bits> ParseHexadecimal(std::wstring_view text) noexcept {
  if (text.size() != 2 * sizeof(Bits)) {
    return std::nullopt;
  }
  Bits bits = 0;
  for (const wchar_t c : text) {
    const std::size_t digit = kHexDigits.find(c);
    if (digit == std::wstring_view::npos) {
      return std::nullopt;
    }
    bits = static_cast<Bits>(static_cast<std::size_t>(bits) << 4 | digit);
  }
  return bits;
}

template <class Real>
using BitsOf =
    std::conditional_t<sizeof(Real) == sizeof(std::uint32_t), std::uint32_t, std::uint64_t>;

/// An integer that another type has written as a number. Over the registry there is but one kind.
std::optional<std::int64_t> ReadOtherInteger(IInFilerTagged& filer, const MString& tag) {
  std::int32_t number = 0;
  std::uint32_t positive = 0;
  std::uint8_t byte = 0;
  if (filer.HasUniqueGroupNames()) {
    return std::nullopt;
  }
  if (filer.ReadInt(tag, &number, 0)) {
    return number;
  }
  if (filer.ReadUnsignedInt(tag, &positive, 0u)) {
    return positive;
  }
  return filer.ReadByte(tag, &byte, byte) ? std::optional<std::int64_t>(byte) : std::nullopt;
}

constexpr std::wstring_view kNotANumber = L"nan:";

template <class Real>
MString TextOfNaN(Real value) {
  MString text = Text::HexadecimalText(std::bit_cast<BitsOf<Real>>(value));
  text.pop_back();  // the letter after the digits
  return MString(kNotANumber) + text;
}

/// Whether a text begins as a number that this system writes: the scanner also skips white space.
bool BeginsLikeNumber(std::wstring_view text) noexcept {
  const wchar_t first = text.empty() ? L'\0' : text.front();
  return (first >= L'0' && first <= L'9') || first == L'-' || first == L'+' || first == L'.' ||
         first == L'i';
}

template <class Real>
bool ParseReal(std::wstring_view text, Real& value) {
  if (text.starts_with(kNotANumber)) {
    const auto bits = ParseHexadecimal<BitsOf<Real>>(text.substr(kNotANumber.size()));
    if (!bits || !std::isnan(std::bit_cast<Real>(*bits))) {
      return false;
    }
    value = std::bit_cast<Real>(*bits);
    return true;
  }
  if (!BeginsLikeNumber(text)) {
    return false;
  }
  const MString terminated(text);
  const wchar_t* end = nullptr;
  const double number = ScanDouble(terminated.c_str(), &end, MLocale::GetClassic());
  const auto rounded = static_cast<Real>(number);
  const bool saturated = std::isinf(rounded) && text.find_first_of(L"0123456789") != text.npos;
  if (end != terminated.c_str() + terminated.size() || saturated || std::isnan(number)) {
    return false;
  }
  value = rounded;
  return true;
}

}  // namespace

bool WriteLong(IOutFilerTagged& filer, const MString& tag, std::int64_t value) {
  return filer.WriteString(tag, Text::DecimalText(value));
}

bool WriteLong(IOutFilerTagged& filer, const MString& tag, std::uint64_t value) {
  return filer.WriteString(tag, Text::DecimalText(value));
}

std::optional<std::int64_t> ParseSigned(std::wstring_view text) noexcept {
  constexpr auto kHighest = static_cast<std::uint64_t>((std::numeric_limits<std::int64_t>::max)());
  const bool negative = text.starts_with(L'-');
  const std::optional<std::uint64_t> magnitude =
      ParseDigits(text.substr(negative ? 1 : 0), kHighest + (negative ? 1 : 0));
  return magnitude
             ? std::optional(static_cast<std::int64_t>(negative ? 0 - *magnitude : *magnitude))
             : std::nullopt;
}

std::optional<std::uint64_t> ParseUnsigned(std::wstring_view text) noexcept {
  return ParseDigits(text, (std::numeric_limits<std::uint64_t>::max)());
}

std::optional<MString> ReadText(IInFilerTagged& filer, const MString& tag) {
  MString text;
  return filer.ReadString(tag, &text, MString()) ? std::optional(std::move(text)) : std::nullopt;
}

std::optional<std::string> ReadUtf8(IInFilerTagged& filer, const MString& tag) {
  const std::optional<MString> text = ReadText(filer, tag);
  if (!text) {
    return std::nullopt;
  }
  std::string utf8 = ToUtf8Lossy(*text);
  return FromUtf8(utf8) == *text ? std::optional(std::move(utf8)) : std::nullopt;
}

std::optional<std::int64_t> ReadSigned(IInFilerTagged& filer, const MString& tag,
                                       std::size_t size) {
  std::int32_t number = 0;
  if (IInFilerTaggedRegistry* const registry = RegistryOf(filer)) {
    const std::optional<std::uint32_t> stored = FieldAccess::ReadDword(*registry, tag);
    if (stored) {
      return static_cast<std::int32_t>(*stored);
    }
  } else if (size <= sizeof number && filer.ReadInt(tag, &number, 0)) {
    return number;
  }
  if (const std::optional<MString> text = ReadText(filer, tag)) {
    return ParseSigned(*text);
  }
  return ReadOtherInteger(filer, tag);
}

std::optional<std::uint64_t> ReadUnsigned(IInFilerTagged& filer, const MString& tag,
                                          std::size_t size) {
  std::uint32_t number = 0;
  std::uint8_t byte = 0;
  if (IInFilerTaggedRegistry* const registry = RegistryOf(filer)) {
    const std::optional<std::uint32_t> stored = FieldAccess::ReadDword(*registry, tag);
    if (stored) {
      return *stored;
    }
  } else if (size == sizeof byte && filer.ReadByte(tag, &byte, byte)) {
    return byte;
  } else if (size <= sizeof number && filer.ReadUnsignedInt(tag, &number, 0u)) {
    return number;
  }
  if (const std::optional<MString> text = ReadText(filer, tag)) {
    return ParseUnsigned(*text);
  }
  const std::optional<std::int64_t> other = ReadOtherInteger(filer, tag);
  return other && *other >= 0 ? std::optional(static_cast<std::uint64_t>(*other)) : std::nullopt;
}

std::optional<bool> ReadTruth(IInFilerTagged& filer, const MString& tag) {
  if (IInFilerTaggedRegistry* const registry = RegistryOf(filer)) {
    const std::optional<std::uint32_t> stored = FieldAccess::ReadDword(*registry, tag);
    return stored ? std::optional(*stored != 0) : std::nullopt;
  }
  bool value = false;
  return filer.ReadBool(tag, &value, false) ? std::optional(value) : std::nullopt;
}

std::optional<char> ReadCharacter(IInFilerTagged& filer, const MString& tag) {
  if (IInFilerTaggedRegistry* const registry = RegistryOf(filer)) {
    const std::optional<std::uint32_t> stored = FieldAccess::ReadDword(*registry, tag);
    return stored && *stored <= 0xFF
               ? std::optional(static_cast<char>(static_cast<unsigned char>(*stored)))
               : std::nullopt;
  }
  char value = '\0';
  return filer.ReadChar(tag, &value, '\0') ? std::optional(value) : std::nullopt;
}

MString ExactText(double value) {
  return std::isnan(value) ? TextOfNaN(value) : Text::RealText(value);
}

MString ExactText(float value) {
  if (std::isnan(value)) {
    return TextOfNaN(value);
  }
  // The shortest text is read as a double first, and 7.038531e-26 is then rounded twice.
  MString text = Text::RealText(value);
  float back = 0;
  return ParseReal(text, back) && back == value ? text : Text::RealText(double{value});
}

bool ParseExact(std::wstring_view text, double& value) { return ParseReal(text, value); }

bool ParseExact(std::wstring_view text, float& value) { return ParseReal(text, value); }

bool ReadExact(IInFilerTagged& filer, const MString& tag, double& value) {
  if (const std::optional<MString> text = ReadText(filer, tag)) {
    return ParseReal(*text, value);
  }
  return filer.ReadDouble(tag, &value, value);
}

bool ReadExact(IInFilerTagged& filer, const MString& tag, float& value) {
  if (const std::optional<MString> text = ReadText(filer, tag)) {
    return ParseReal(*text, value);
  }
  return filer.ReadFloat(tag, &value, value);
}

bool WriteBytes(IOutFilerTagged& filer, const MString& tag, const std::byte* bytes,
                std::size_t count) {
  MString text;
  text.reserve(2 * count);
  for (std::size_t i = 0; i < count; ++i) {
    const auto byte = std::to_integer<unsigned>(bytes[i]);
    text += kHexDigits[byte >> 4];
    text += kHexDigits[byte & 0xF];
  }
  return filer.WriteString(tag, text);
}

std::optional<std::vector<std::byte>> ReadBytes(IInFilerTagged& filer, const MString& tag) {
  const std::optional<MString> text = ReadText(filer, tag);
  if (!text || text->size() % 2 != 0) {
    return std::nullopt;
  }
  std::vector<std::byte> bytes;
  bytes.reserve(text->size() / 2);
  for (std::size_t i = 0; i < text->size(); i += 2) {
    const auto byte = ParseHexadecimal<std::uint8_t>(std::wstring_view(*text).substr(i, 2));
    if (!byte) {
      return std::nullopt;
    }
    bytes.push_back(static_cast<std::byte>(*byte));
  }
  return bytes;
}

void NameItem(MString& tag, std::wstring_view what, std::uint32_t index) {
  wchar_t digits[10];
  wchar_t* begin = std::end(digits);
  do {
    *--begin = static_cast<wchar_t>(L'0' + index % 10);
    index /= 10;
  } while (index != 0);
  tag.assign(what).append(begin, std::end(digits));
}

}  // namespace Velta::Serialisation
