// SPDX-License-Identifier: MIT
#include "velta/xml/internal/ErrorText.h"

#include <algorithm>
#include <charconv>
#include <iterator>

namespace Velta::Xml {

void ErrorText::BeginParse() noexcept {
  keptLength = text.size();
  keptCut = cut;
  firstOffset = -1;
}

ErrorText ErrorText::BeforeParse() const {
  ErrorText before;  // with its reserve, which a copy would not have
  before.text.append(text, 0, keptLength);
  before.cut = keptCut;
  before.BeginParse();
  return before;
}

void ErrorText::Clear() noexcept {
  text.clear();
  keptLength = 0;
  firstOffset = -1;
  cut = keptCut = false;
}

void ErrorText::Add(std::initializer_list<Piece> message) {
  if (cut) {
    return;
  }
  if (!text.empty()) {
    Append(L", ");
  }
  for (const Piece& piece : message) {
    if (!piece.isNumber) {
      Append(piece.text);
      continue;
    }
    char digits[12];
    const auto result = std::to_chars(std::begin(digits), std::end(digits), piece.number);
    wchar_t wide[std::size(digits)];
    std::copy(std::begin(digits), result.ptr, wide);
    Append({wide, static_cast<std::size_t>(result.ptr - digits)});
  }
}

void ErrorText::AddAt(std::int32_t offset, std::initializer_list<Piece> message) {
  if (firstOffset < 0) {
    firstOffset = offset;
  }
  Add(message);
}

void ErrorText::ReplaceBy(std::wstring_view message) noexcept {
  DropParse();
  const std::size_t room = text.capacity();  // never less than what is reserved at first
  const std::wstring_view separator = text.empty() ? L"" : L", ";
  if (room - text.size() < separator.size() + message.size()) {
    text.resize((std::min)(text.size(), room - separator.size() - message.size()));
  }
  text.append(separator).append(message);
}

void ErrorText::DropParse() noexcept {
  text.resize(keptLength);
  cut = keptCut;
  firstOffset = -1;
}

void ErrorText::Append(std::wstring_view part) {
  if (cut) {
    return;
  }
  // A message that must not fail may have gone past the limit.
  const std::size_t room = kLimit - (std::min)(text.size(), kLimit);
  if (part.size() > room) {
    text.append(part.substr(0, room)).append(kCutMark);
    cut = true;
  } else {
    text.append(part);
  }
}

}  // namespace Velta::Xml
