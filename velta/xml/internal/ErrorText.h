// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>

namespace Velta::Xml {

/// The messages of a document's parses, joined with ", " and bounded: a million unclosed tags are a
/// million messages.
class ErrorText {
 public:
  /// A part of a message: a text, or an offset in decimal.
  struct Piece {
    Piece(const wchar_t* literal) : text(literal) {}                // NOLINT
    Piece(std::wstring_view name) : text(name) {}                   // NOLINT
    Piece(std::int32_t offset) : number(offset), isNumber(true) {}  // NOLINT
    std::wstring_view text;
    std::int32_t number = 0;
    bool isNumber = false;
  };

  static constexpr std::size_t kLimit = 16384;
  static constexpr std::wstring_view kCutMark = L" ... (cut)";

  ErrorText() { text.reserve(kReserved); }

  [[nodiscard]] const std::wstring& Text() const noexcept { return text; }

  /// Of the first fault of the current parse that has a place, or -1.
  [[nodiscard]] std::int32_t FirstOffset() const noexcept { return firstOffset; }

  /// Whether there is no room for more: what is added is left out.
  [[nodiscard]] bool IsCut() const noexcept { return cut; }

  /// Begins a parse: its messages go behind those that are there.
  void BeginParse() noexcept;

  /// What the last parse began with: for another one in its place.
  [[nodiscard]] ErrorText BeforeParse() const;

  void Clear() noexcept;

  /// Adds a message about the document as a whole.
  void Add(std::initializer_list<Piece> message);

  /// Adds a message about a place.
  void AddAt(std::int32_t offset, std::initializer_list<Piece> message);

  /// Replaces the current parse's messages by one that must not fail, dropping older text for it if
  /// there is no room.
  void ReplaceBy(std::wstring_view message) noexcept;

 private:
  static constexpr std::size_t kReserved = 64;

  void DropParse() noexcept;
  void Append(std::wstring_view part);

  std::wstring text;
  std::size_t keptLength = 0;  // what was there before the current parse
  std::int32_t firstOffset = -1;
  bool cut = false;
  bool keptCut = false;
};

}  // namespace Velta::Xml
