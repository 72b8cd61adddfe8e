// SPDX-License-Identifier: MIT
#pragma once

#include "Files.h"

#include <charconv>
#include <concepts>
#include <cstdint>
#include <string>
#include <string_view>

namespace Velta::Logging {

/// Writes JSON to an output piece by piece.
///
/// The caller closes what it opens and gives every member of an object a key. The text is safe in
/// the script element of a page: "<" is always escaped.
class JsonWriter {
 public:
  explicit JsonWriter(Output& output) : output_(output) {}
  JsonWriter(const JsonWriter&) = delete;
  JsonWriter& operator=(const JsonWriter&) = delete;

  JsonWriter& BeginObject() { return Open('{'); }
  JsonWriter& EndObject() { return Shut('}'); }
  JsonWriter& BeginArray() { return Open('['); }
  JsonWriter& EndArray() { return Shut(']'); }

  JsonWriter& Key(std::string_view name);
  JsonWriter& String(std::string_view utf8);
  JsonWriter& Number(std::integral auto number) {
    char digits[24];
    return Raw({digits, std::to_chars(digits, digits + sizeof digits, number).ptr});
  }
  JsonWriter& Bool(bool value) { return Raw(value ? "true" : "false"); }

  /// A key and its value.
  JsonWriter& Member(std::string_view name, std::string_view utf8) {
    return Key(name).String(utf8);
  }
  JsonWriter& Member(std::string_view name, std::integral auto number) {
    return Key(name).Number(number);
  }

  /// An address, as a string of 16 digits: as a number it would lose its low bits in a script.
  JsonWriter& Address(std::uint64_t object);

  /// Ends a line; the next value is a document of its own.
  void EndLine();

 private:
  JsonWriter& Open(char bracket);
  JsonWriter& Shut(char bracket);
  JsonWriter& Raw(std::string_view text);
  void Separate();
  void Escape(std::string_view utf8);

  Output& output_;
  bool needsComma_ = false;
};

}  // namespace Velta::Logging
