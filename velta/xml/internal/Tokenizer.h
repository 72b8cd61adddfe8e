// SPDX-License-Identifier: MIT
#pragma once

#include "velta/xml/internal/Characters.h"
#include "velta/xml/internal/ErrorText.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

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
  void MoveTo(std::int32_t offset) noexcept { next = text + offset; }

  /// The next token, text told apart from white space.
  [[nodiscard]] Token Next() {
    const wchar_t* const begin = next;
    const bool more = SkipText();
    if (next == begin) {
      return more ? ReadMarkup() : Token{TokenType::kEndOfText, end, end, false};
    }
    Token token{TokenType::kText, begin, next, false};
    if (IsAllSpaces(token.Text())) token.type = TokenType::kWhitespace;
    return token;
  }

  /// Moves to the next "<". False when there is none.
  bool SkipText() noexcept {
    next = FindCharacter(next, end, L'<');
    return next != end;
  }

  /// The token that begins with the "<" at hand.
  [[nodiscard]] Token ReadMarkup() {
    const wchar_t* const begin = next;
    if (IsTagStart(begin[1])) return ReadElementTag(begin);
    if (begin[1] == L'/') return ReadUntil(TokenType::kEndTag, begin, begin + 2, L">");
    return ReadOtherMarkup(begin);
  }

 private:
  static constexpr LowSet kTagStops = kNul | SetOf(L"=>");

  Token ReadElementTag(const wchar_t* begin) {
    const wchar_t* at = begin + 1;
    while (!IsNameEnd(*at)) ++at;
    const wchar_t* const nameEnd = at;
    for (;;) {
      while (!IsIn(kTagStops, *at)) ++at;
      if (*at == L'>') break;
      if (*at == L'=') {
        do {
          ++at;
        } while (IsSpace(*at));
        if (!IsQuote(*at)) continue;
        at = FindCharacter(at + 1, end, *at);
        if (at != end) {
          ++at;
          continue;
        }
      } else if (at != end) {  // a NUL in the text
        ++at;
        continue;
      }
      return Unterminated(TokenType::kElement, begin);
    }
    const bool isEmptyTag =
        at[-1] == L'/' && (at - 1 == nameEnd || IsIn(kSpaces | kQuotes, at[-2]));
    next = at + 1;
    return {TokenType::kElement, begin, next, isEmptyTag};
  }

  /// A token that ends with the mark, looked for from `from` on. The mark ends in ">".
  Token ReadUntil(TokenType type, const wchar_t* begin, const wchar_t* from,
                  std::wstring_view mark) {
    for (const wchar_t* at = from;; ++at) {
      at = FindCharacter(at, end, L'>');
      if (at == end) return Unterminated(type, begin);
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
  const wchar_t* end;
  ErrorText* errors;
};

}  // namespace Velta::Xml
