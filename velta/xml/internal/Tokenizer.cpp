// SPDX-License-Identifier: MIT
#include "velta/xml/internal/Tokenizer.h"

namespace Velta::Xml {
namespace {

/// "<!ELEMENT", "<!ATTLIST", "<!ENTITY" and "<!NOTATION" are known by one letter.
bool BeginsMarkupDeclaration(wchar_t c) noexcept { return c == L'E' || c == L'A' || c == L'N'; }

}  // namespace

Token Tokenizer::ReadOtherMarkup(const wchar_t* begin) {
  switch (begin[1]) {
    case L'?':
      return ReadUntil(TokenType::kProcessingInstruction, begin, begin + 2, L"?>");
    case L'!':
      return ReadDeclaration(begin);
    default:
      if (begin + 1 == end_) {
        return UnterminatedUnknown(begin);
      }
      return Incorrect(L"tag name character", begin, begin + 1);
  }
}

Token Tokenizer::ReadDeclaration(const wchar_t* begin) {
  const wchar_t* const kind = begin + 2;
  if (kind == end_) {
    return UnterminatedUnknown(begin);
  }
  switch (*kind) {
    case L'-':
      if (kind + 1 == end_) {
        return UnterminatedUnknown(begin);
      }
      if (kind[1] != L'-') {
        return Incorrect(L"comment tag", begin, kind + 1);
      }
      return ReadUntil(TokenType::kComment, begin, kind + 2, L"-->");
    case L'[':
      if (kind + 1 == end_) {
        return UnterminatedUnknown(begin);
      }
      if (kind[1] != L'C') {
        return Incorrect(L"tag", begin, kind + 1);
      }
      return ReadUntil(TokenType::kCData, begin, kind + 2, L"]]>");
    case L'D':
      return ReadDocumentType(begin);
    default:
      return Incorrect(L"! tag", begin, kind);
  }
}

Token Tokenizer::ReadDocumentType(const wchar_t* begin) {
  constexpr LowSet kStops = kNul | kQuotes | SetOf(L"<>");
  for (const wchar_t* at = begin + 3;;) {
    while (!IsIn(kStops, *at)) {
      ++at;
    }
    if (*at == L'>') {
      next_ = at + 1;
      return {TokenType::kDocumentType, begin, next_, false};
    }
    if (*at == L'<') {
      const Token nested = ReadNested(at);
      if (nested.type == TokenType::kMalformed) {
        return {nested.type, begin, nested.end, false};
      }
      at = nested.end;
      continue;
    }
    if (IsQuote(*at)) {
      at = FindCharacter(at + 1, end_, *at);
    }
    if (at == end_) {
      return Unterminated(TokenType::kDocumentType, begin);
    }
    ++at;  // a closing quote, or a NUL in the text
  }
}

/// What a "<" inside a document type opens. A second document type there nests no further.
Token Tokenizer::ReadNested(const wchar_t* begin) {
  next_ = begin;
  if (begin[1] == L'!' && (BeginsMarkupDeclaration(begin[2]) || begin[2] == L'D')) {
    return ReadMarkupDeclaration(begin);
  }
  return ReadMarkup();
}

Token Tokenizer::ReadMarkupDeclaration(const wchar_t* begin) {
  constexpr LowSet kStops = kNul | kQuotes | SetOf(L">");
  for (const wchar_t* at = begin + 3;; ++at) {
    while (!IsIn(kStops, *at)) {
      ++at;
    }
    if (*at == L'>') {
      next_ = at + 1;
      return {TokenType::kDocumentType, begin, next_, false};
    }
    if (IsQuote(*at)) {
      at = FindCharacter(at + 1, end_, *at);
    }
    if (at == end_) {
      return Unterminated(TokenType::kDocumentType, begin);
    }
  }
}

Token Tokenizer::Incorrect(const wchar_t* what, const wchar_t* begin, const wchar_t* fault) {
  if (errors_ != nullptr) {
    const Offset offset = OffsetAt(static_cast<std::size_t>(begin - text_));
    errors_->AddAt(offset, {L"Incorrect ", what, L" at offset ", offset});
  }
  next_ = fault;
  while (next_ != end_ && *next_ != L'<') {
    if (*next_++ == L'>') {
      break;
    }
  }
  return {TokenType::kMalformed, begin, next_, false};
}

Token Tokenizer::Unterminated(TokenType type, const wchar_t* begin) {
  switch (type) {
    case TokenType::kElement:
      return ReportUnterminated(L"Element tag", begin);
    case TokenType::kEndTag:
      return ReportUnterminated(L"Element end tag", begin);
    case TokenType::kCData:
      return ReportUnterminated(L"CDATA Section", begin);
    case TokenType::kProcessingInstruction:
      return ReportUnterminated(L"Processing instruction", begin);
    case TokenType::kComment:
      return ReportUnterminated(L"Comment", begin);
    case TokenType::kDocumentType:
      return ReportUnterminated(L"Doctype", begin);
    default:
      return UnterminatedUnknown(begin);
  }
}

/// The text ends before it says what kind of token it is.
Token Tokenizer::UnterminatedUnknown(const wchar_t* begin) {
  return ReportUnterminated(L"tag", begin);
}

Token Tokenizer::ReportUnterminated(const wchar_t* what, const wchar_t* begin) {
  if (errors_ != nullptr) {
    const Offset offset = OffsetAt(static_cast<std::size_t>(begin - text_));
    errors_->AddAt(offset, {what, L" at offset ", offset, L" unterminated"});
  }
  next_ = end_;
  return {TokenType::kMalformed, begin, end_, false};
}

}  // namespace Velta::Xml
