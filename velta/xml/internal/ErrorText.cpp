// SPDX-License-Identifier: MIT
#include "velta/xml/internal/ErrorText.h"

#include <algorithm>
#include <charconv>
#include <iterator>

namespace Velta::Xml {

void ErrorText::BeginParse() noexcept {
  keptLength_ = text_.size();
  keptCut_ = cut_;
  firstOffset_ = Offset::kNowhere;
}

ErrorText ErrorText::BeforeParse() const {
  ErrorText before;  // with its reserved room, which a copy would not have
  before.text_.append(text_, 0, keptLength_);
  before.cut_ = keptCut_;
  before.BeginParse();
  return before;
}

void ErrorText::Clear() noexcept {
  text_.clear();
  keptLength_ = 0;
  firstOffset_ = Offset::kNowhere;
  cut_ = keptCut_ = false;
}

void ErrorText::Add(std::initializer_list<Piece> message) {
  if (cut_) {
    return;
  }
  if (!text_.empty()) {
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

void ErrorText::AddAt(Offset offset, std::initializer_list<Piece> message) {
  if (firstOffset_ == Offset::kNowhere) {
    firstOffset_ = offset;
  }
  Add(message);
}

void ErrorText::ReplaceBy(std::wstring_view message) noexcept {
  DropParse();
  const std::size_t room = text_.capacity();  // never less than what is reserved at first
  const std::wstring_view separator = text_.empty() ? L"" : L", ";
  if (room - text_.size() < separator.size() + message.size()) {
    text_.resize((std::min)(text_.size(), room - separator.size() - message.size()));
  }
  text_.append(separator).append(message);
}

void ErrorText::DropParse() noexcept {
  text_.resize(keptLength_);
  cut_ = keptCut_;
  firstOffset_ = Offset::kNowhere;
}

void ErrorText::Append(std::wstring_view part) {
  if (cut_) {
    return;
  }
  // The message of ReplaceBy may have gone past the limit.
  const std::size_t room = kLimit - (std::min)(text_.size(), kLimit);
  if (part.size() > room) {
    text_.append(part.substr(0, room)).append(kCutMark);
    cut_ = true;
  } else {
    text_.append(part);
  }
}

}  // namespace Velta::Xml
