// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

/// What the "type" attribute of a value says. It tells the kind of a number, not its width.
namespace Velta::Serialisation::ValueTypes {

inline constexpr std::wstring_view kAttribute = L"type";
inline constexpr std::wstring_view kChar = L"char";
inline constexpr std::wstring_view kString = L"string";
inline constexpr std::wstring_view kFloat = L"float";
inline constexpr std::wstring_view kBool = L"bool";
inline constexpr std::wstring_view kByte = L"byte";
inline constexpr std::wstring_view kUnsigned = L"uint";
inline constexpr std::wstring_view kSigned = L"int";

}  // namespace Velta::Serialisation::ValueTypes
