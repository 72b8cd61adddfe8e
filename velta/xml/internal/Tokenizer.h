// SPDX-License-Identifier: MIT
#pragma once

#include "velta/xml/internal/Characters.h"
#include "velta/xml/internal/ErrorText.h"
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

/// Cuts a text into tokens, one a call, and goes on behind whatever is malformed.
///
/// The text must be followed by NUL, as a string's is, and stay as it is. It may contain NUL.
class Tokenizer {
 public:
  /// @param faults  where faults are reported; null when they have been before
  Tokenizer(const std::wstring& document, ErrorText* faults) noexcept
      : text(document.data()), next(text), end(text + document.size()), errors(faults) {}

  /// Goes on at another place, the beginning of a token or within a text.
  void MoveTo(std::int32_t offset) noexcept {
    next = text + offset;
    nextMarkup = nullptr;
  }

  /// The next token, text told apart from white space.
  [[nodiscard]] Token Next() {
    const wchar_t* const begin = next;
    const bool more = SkipText();
    if (next == begin) {
      return more ? ReadMarkup() : Token{TokenType::kEndOfText, end, end, false};
    }
    Token token{TokenType::kText, begin, next, false};
    if (IsAllSpaces(token.Text())) {
      token.type = TokenType::kWhitespace;
    }
    return token;
  }

  /// Moves to the next "<". False when there is none.
  bool SkipText() noexcept {
    if (nextMarkup != nullptr) {
      next = std::exchange(nextMarkup, nullptr);
      return true;
    }
    next = FindCharacter(next, end, L'<');
    return next != end;
  }

  /// The token that begins with the "<" at hand.
  [[nodiscard]] Token ReadMarkup() {
    const wchar_t* const begin = next;
    if (IsTagStart(begin[1])) {
      return ReadElementTag(begin);
    }
    if (begin[1] == L'/') {
      return ReadEndTag(begin);
    }
    const Token token = ReadOtherMarkup(begin);
    nextMarkup = nullptr;  // a tag inside of it may have found one that is inside too
    return token;
  }

 private:
  Token ReadElementTag(const wchar_t* begin) {
    wchar_t quote = L'\0';  // the one that hides what is at hand
    for (const wchar_t* block = begin + 2; block < end;) {
      const BlockMarks marks = FindMarks(block, end);
      for (unsigned mask = marks.closing; mask != 0; mask &= mask - 1) {
        const wchar_t* const at = block + std::countr_zero(mask);
        if (quote != L'\0') {
          if (*at == quote) {
            quote = L'\0';
          }
        } else if (*at == L'>') {
          next = at + 1;
          nextMarkup = FirstBehind(block, marks.less, mask);
          return {TokenType::kElement, begin, next, at[-1] == L'/' && IsEmptyTag(begin, at - 1)};
        } else if (FollowsEqualsSign(at)) {
          quote = *at;
        }
      }
      if (end - block <= kBlock) {
        break;
      }
      block += kBlock;
      if (quote != L'\0' && marks.closing == 0) {
        block = FindCharacter(block, end, quote);
      }
    }
    return Unterminated(TokenType::kElement, begin);
  }

  static const wchar_t* FirstBehind(const wchar_t* block, unsigned less, unsigned mask) noexcept {
    // Of the "<", those above the lowest bit of the mask.
    const unsigned behind = less & ~(mask ^ (mask - 1));
    return behind != 0 ? block + std::countr_zero(behind) : nullptr;
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
    const BlockMarks marks = FindMarks(at, end);
    if (marks.greater != 0) {
      nextMarkup = FirstBehind(at, marks.less, marks.greater);
      at += std::countr_zero(marks.greater);
    } else {
      at = FindCharacter(at, end, L'>');
      if (at == end) {
        return Unterminated(TokenType::kEndTag, begin);
      }
    }
    next = at + 1;
    return {TokenType::kEndTag, begin, next, false};
  }

  /// A token that ends with the mark, looked for from `from` on. The mark ends in ">".
  Token ReadUntil(TokenType type, const wchar_t* begin, const wchar_t* from,
                  std::wstring_view mark) {
    for (const wchar_t* at = from;; ++at) {
      at = FindCharacter(at, end, L'>');
      if (at == end) {
        return Unterminated(type, begin);
      }
      const auto behind = static_cast<std::size_t>(at + 1 - from);
      if (behind >= mark.size() && std::wstring_view(at + 1 - mark.size(), mark.size()) == mark) {
        next = at + 1;
        return {type, begin, next, false};
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

  const wchar_t* text;
  const wchar_t* next;
  const wchar_t* nextMarkup = nullptr;  // the "<" behind `next`, if it is known already
  const wchar_t* end;
  ErrorText* errors;
};

}  // namespace Velta::Xml
