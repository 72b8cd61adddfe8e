// SPDX-License-Identifier: MIT
#pragma once

#include "velta/xml/internal/Characters.h"
#include "velta/xml/internal/ErrorText.h"
#include "velta/xml/internal/Measures.h"
#include "velta/xml/internal/Search.h"

#include <bit>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

namespace Velta::Xml {

/// What one token is: the values of `MXmlNodeType`, and three of its own.
enum class TokenType : std::int32_t {
  kEndOfText = -2,
  kMalformed = -1,
  kEndTag = 0,
  kElement = 1,
  kText = 2,
  kWhitespace = 4,
  kCData = 8,
  kProcessingInstruction = 16,
  kComment = 32,
  kDocumentType = 64,
};

struct Token {
  TokenType type;
  const wchar_t* begin;
  const wchar_t* end;
  bool isEmptyTag;  // of an element: it ends in "/>"

  [[nodiscard]] std::wstring_view Text() const noexcept {
    return {begin, static_cast<std::size_t>(end - begin)};
  }
};

/// Cuts a text into tokens, one a call, and goes on after whatever is malformed.
///
/// The text must be followed by NUL, as a string's is, and stay as it is. It may contain NUL.
class Tokenizer {
 public:
  /// @param errors  where faults are reported; null when an earlier parse has reported them
  Tokenizer(const std::wstring& text, ErrorText* errors) noexcept
      : text_(text.data()), next_(text_), end_(text_ + text.size()), errors_(errors) {}

  /// Continues at another place, the beginning of a token or within a text.
  void MoveTo(Offset offset) noexcept {
    next_ = text_ + ToInt(offset);
    nextMarkup_ = nullptr;
  }

  /// The next token, text told apart from white space.
  [[nodiscard]] Token Next() {
    const wchar_t* const begin = next_;
    const bool more = SkipText();
    if (next_ == begin) {
      return more ? ReadMarkup() : Token{TokenType::kEndOfText, end_, end_, false};
    }
    Token token{TokenType::kText, begin, next_, false};
    if (IsAllSpaces(token.Text())) {
      token.type = TokenType::kWhitespace;
    }
    return token;
  }

  /// Moves to the next "<". False when there is none.
  bool SkipText() noexcept {
    if (nextMarkup_ != nullptr) {
      next_ = std::exchange(nextMarkup_, nullptr);
      return true;
    }
    next_ = FindCharacter(next_, end_, L'<');
    return next_ != end_;
  }

  /// The token that begins here, with a "<".
  [[nodiscard]] Token ReadMarkup() {
    const wchar_t* const begin = next_;
    if (IsTagStart(begin[1])) {
      return ReadElementTag(begin);
    }
    if (begin[1] == L'/') {
      return ReadEndTag(begin);
    }
    const Token token = ReadOtherMarkup(begin);
    nextMarkup_ = nullptr;  // a tag inside it may have found one that is inside too
    return token;
  }

 private:
  Token ReadElementTag(const wchar_t* begin) {
    wchar_t quote = L'\0';  // of the value that is being read, if any
    for (const wchar_t* block = begin + 2; block < end_;) {
      const BlockMarks marks = FindMarks(block, end_);
      for (unsigned mask = marks.closing; mask != 0; mask &= mask - 1) {
        const wchar_t* const at = block + std::countr_zero(mask);
        if (quote == L'\0' && *at == L'>') {
          next_ = at + 1;
          nextMarkup_ = FirstAfter(block, marks.less, mask);
          return {TokenType::kElement, begin, next_, at[-1] == L'/' && IsEmptyTag(begin, at - 1)};
        }
        quote = QuoteAfter(at, quote);
      }
      if (end_ - block <= kBlock) {
        break;
      }
      block += kBlock;
      if (quote != L'\0' && marks.closing == 0) {
        block = FindCharacter(block, end_, quote);
      }
    }
    return Unterminated(TokenType::kElement, begin);
  }

  static const wchar_t* FirstAfter(const wchar_t* block, unsigned less, unsigned mask) noexcept {
    // Of the "<", those above the lowest bit of the mask.
    const unsigned after = less & ~(mask ^ (mask - 1));
    return after != 0 ? block + std::countr_zero(after) : nullptr;
  }

  /// The quote of the value that goes on after a mark, or NUL.
  ///
  /// @param quote  the one before the mark, or NUL: the mark is then a quote itself
  static wchar_t QuoteAfter(const wchar_t* mark, wchar_t quote) noexcept {
    if (quote != L'\0') {
      return *mark == quote ? L'\0' : quote;
    }
    return FollowsEqualsSign(mark) ? *mark : L'\0';
  }

  /// Only there does a quote hide what follows.
  static bool FollowsEqualsSign(const wchar_t* quote) noexcept {
    do {
      --quote;
    } while (IsSpace(*quote));
    return *quote == L'=';
  }

  static bool IsEmptyTag(const wchar_t* begin, const wchar_t* slash) noexcept {
    if (IsIn(kSpaces | kQuotes, slash[-1])) {
      return true;
    }
    const std::wstring_view name = NameAt(begin + 1);
    return name.data() + name.size() == slash;
  }

  Token ReadEndTag(const wchar_t* begin) {
    const wchar_t* at = begin + 2;
    const BlockMarks marks = FindMarks(at, end_);
    if (marks.greater != 0) {
      nextMarkup_ = FirstAfter(at, marks.less, marks.greater);
      at += std::countr_zero(marks.greater);
    } else {
      at = FindCharacter(at, end_, L'>');
      if (at == end_) {
        return Unterminated(TokenType::kEndTag, begin);
      }
    }
    next_ = at + 1;
    return {TokenType::kEndTag, begin, next_, false};
  }

  /// A token that ends with the mark, looked for from `from` on. The mark ends in ">".
  Token ReadUntil(TokenType type, const wchar_t* begin, const wchar_t* from,
                  std::wstring_view mark) {
    for (const wchar_t* at = from;; ++at) {
      at = FindCharacter(at, end_, L'>');
      if (at == end_) {
        return Unterminated(type, begin);
      }
      const auto length = static_cast<std::size_t>(at + 1 - from);
      if (length >= mark.size() && std::wstring_view(at + 1 - mark.size(), mark.size()) == mark) {
        next_ = at + 1;
        return {type, begin, next_, false};
      }
    }
  }

  Token ReadOtherMarkup(const wchar_t* begin);
  Token ReadDeclaration(const wchar_t* begin);
  Token ReadDocumentType(const wchar_t* begin);
  Token ReadMarkupDeclaration(const wchar_t* begin);
  Token ReadNested(const wchar_t* begin);

  Token Incorrect(const wchar_t* what, const wchar_t* begin, const wchar_t* fault);
  Token Unterminated(TokenType type, const wchar_t* begin);
  Token UnterminatedUnknown(const wchar_t* begin);
  Token ReportUnterminated(const wchar_t* what, const wchar_t* begin);

  const wchar_t* text_;
  const wchar_t* next_;
  const wchar_t* nextMarkup_ = nullptr;  // the first "<" from `next_` on, if it is known
  const wchar_t* end_;
  ErrorText* errors_;
};

}  // namespace Velta::Xml
