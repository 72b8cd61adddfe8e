// SPDX-License-Identifier: MIT
#pragma once

#include "velta/xml/internal/Measures.h"

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
    Piece(const wchar_t* literal) : text(literal) {}                 // NOLINT
    Piece(std::wstring_view name) : text(name) {}                    // NOLINT
    Piece(Offset offset) : number(ToInt(offset)), isNumber(true) {}  // NOLINT
    std::wstring_view text;
    std::int32_t number = 0;
    bool isNumber = false;
  };

  static constexpr std::size_t kLimit = 16384;
  static constexpr std::wstring_view kCutMark = L" ... (cut)";

  ErrorText() { text_.reserve(kReserved); }

  [[nodiscard]] const std::wstring& Text() const noexcept { return text_; }

  /// Of the first fault of the current parse that has a place, or kNowhere.
  [[nodiscard]] Offset FirstOffset() const noexcept { return firstOffset_; }

  /// Whether there is no room for more: what is added is left out.
  [[nodiscard]] bool IsCut() const noexcept { return cut_; }

  /// Begins a parse: its messages go after those of earlier ones.
  void BeginParse() noexcept;

  /// The messages that the last parse began with: a parse in its place begins with them too.
  [[nodiscard]] ErrorText BeforeParse() const;

  void Clear() noexcept;

  /// Adds a message about the document as a whole.
  void Add(std::initializer_list<Piece> message);

  /// Adds a message about a place.
  void AddAt(Offset offset, std::initializer_list<Piece> message);

  /// Replaces the current parse's messages by one, without asking for memory: where there is no
  /// room, older text is dropped.
  void ReplaceBy(std::wstring_view message) noexcept;

 private:
  static constexpr std::size_t kReserved = 64;

  void DropParse() noexcept;
  void Append(std::wstring_view part);

  std::wstring text_;
  std::size_t keptLength_ = 0;  // of the messages of earlier parses
  Offset firstOffset_ = Offset::kNowhere;
  bool cut_ = false;
  bool keptCut_ = false;
};

}  // namespace Velta::Xml
