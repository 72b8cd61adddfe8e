// SPDX-License-Identifier: MIT
#include "velta/xml/internal/Parser.h"

#include "velta/xml/internal/Search.h"
#include "velta/xml/internal/Tokenizer.h"

#include <algorithm>
#include <cstddef>
#include <map>
#include <string_view>

namespace Velta::Xml {
namespace {

struct NameOrder {
  bool ignoreCase;

  bool operator()(std::wstring_view left, std::wstring_view right) const noexcept {
    if (!ignoreCase) {
      return left < right;
    }
    return std::lexicographical_compare(left.begin(), left.end(), right.begin(), right.end(),
                                        [](wchar_t a, wchar_t b) { return Fold(a) < Fold(b); });
  }
};

/// Goes down and up the open elements by the links of their records: depth costs no stack.
class Parser {
 public:
  Parser(const std::wstring& text, bool ignoreCase, ElementIndex& index, ErrorText& errors)
      : text_(text),
        ignoreCase_(ignoreCase),
        index_(index),
        errors_(errors),
        tokenizer_(text, &errors),
        openNames_(NameOrder{ignoreCase}) {}

  void Run() {
    while (tokenizer_.SkipText()) {
      const Token token = tokenizer_.ReadMarkup();
      if (token.type == TokenType::kElement) {
        Open(token);
      } else if (token.type == TokenType::kEndTag) {
        Close(token);
      } else if (token.type == TokenType::kMalformed) {
        index_.At(ElementId::kDocument).flags |= kIllFormed;
      }
    }
    EndAll();
  }

 private:
  [[nodiscard]] Offset OffsetOf(const wchar_t* place) const noexcept {
    return OffsetAt(static_cast<std::size_t>(place - text_.data()));
  }

  /// Where an element's name begins.
  [[nodiscard]] const wchar_t* NameBegin(ElementId element) const noexcept {
    return text_.data() + ToInt(index_.At(element).start) + 1;
  }
  [[nodiscard]] std::wstring_view NameOf(ElementId element) const noexcept {
    return NameAt(NameBegin(element));
  }

  /// Whether an element has the name that begins at `name`, further on in the text. Reads no
  /// further than the two agree: a long name may be asked for many times.
  [[nodiscard]] bool IsNamed(ElementId element, const wchar_t* name) const noexcept {
    const wchar_t* own = NameBegin(element);
    while (!IsNameEnd(*own) && (*own == *name || (ignoreCase_ && Fold(*own) == Fold(*name)))) {
      ++own;
      ++name;
    }
    return IsNameEnd(*own) && IsNameEnd(*name);
  }

  /// Whether an end tag is that of the innermost open element.
  [[nodiscard]] bool IsExpected(const Token& endTag) const noexcept {
    // What is between the marks is mostly the name alone, and short.
    const wchar_t* const own = NameBegin(parent_);
    const wchar_t* const name = endTag.begin + 2;
    const std::ptrdiff_t length = endTag.end - 1 - name;
    if (CommonPrefix(own, name, text_.data() + text_.size()) >= length && IsNameEnd(own[length])) {
      return true;
    }
    return IsNamed(parent_, name);
  }

  void Open(const Token& token) {
    if (index_.Room() == 0) {
      index_.Extend(ExpectedMore(token));
    }
    const ElementId element = index_.Append();
    const Length length = LengthOf(token.Text());
    ElementRecord& above = index_.At(parent_);
    const ElementId previous = above.lastChild;
    above.lastChild = element;
    (previous != ElementId::kNone ? index_.At(previous).nextSibling : above.firstChild) = element;
    index_.At(element) = {OffsetOf(token.begin),
                          length,
                          0,
                          token.isEmptyTag ? kEmptyTag : 0,
                          parent_,
                          ElementId::kNone,
                          ElementId::kNone,
                          previous,
                          ElementId::kNone};
    index_.SetTagLengths(element, {length, Length::kZero});
    if (!token.isEmptyTag) {
      parent_ = element;
      if (namesAreCounted_) {
        ++openNames_[NameOf(element)];
      }
    }
  }

  /// How many more records the rest of the text needs if it is like the part before.
  [[nodiscard]] std::size_t ExpectedMore(const Token& token) const noexcept {
    const double soFar = index_.NextFree();
    const auto read = static_cast<double>(token.end - text_.data());
    const double expected = soFar * (static_cast<double>(text_.size()) - read) / read;
    return static_cast<std::size_t>((std::min)(expected * 1.03, soFar / 2)) + 1;
  }

  void Close(const Token& token) {
    const wchar_t* const name = token.begin + 2;
    const Offset offset = OffsetOf(token.begin);
    if (parent_ == ElementId::kDocument) {
      errors_.AddAt(offset, {L"No start tag for end tag '", NameAt(name), L"' at offset ", offset});
      index_.At(ElementId::kDocument).flags |= kIllFormed;
      return;
    }
    if (!IsExpected(token) && !LeaveUpTo(NameAt(name), offset)) {
      return;
    }
    const Length endTagLength = LengthOf(token.Text());
    index_.SetEndTagLength(parent_, endTagLength);
    Leave(offset + endTagLength);
  }

  /// Ends the elements inside the innermost open one of that name. False when there is none.
  [[nodiscard]] bool LeaveUpTo(std::wstring_view name, Offset offset) {
    if (!IsOpen(name)) {
      ReportMismatch(name, offset);
      return false;
    }
    do {
      ReportMismatch(name, offset);
      Leave(offset);
    } while (!IsNamed(parent_, name.data()));
    return true;
  }

  void ReportMismatch(std::wstring_view name, Offset offset) {
    if (errors_.IsCut()) {
      errors_.AddAt(offset, {});  // its offset alone: a name may be long, and met often
    } else {
      errors_.AddAt(offset,
                    {L"End tag '", name, L"' at offset ", offset, L" does not match start tag '",
                     NameOf(parent_), L"' at offset ", index_.At(parent_).start});
    }
    index_.At(parent_).flags |= kNotEndedProperly;
    index_.At(ElementId::kDocument).flags |= kIllFormed;
  }

  /// Ends the innermost open element; the one around it is then the innermost.
  void Leave(Offset end) {
    ElementRecord& record = index_.At(parent_);
    record.length = end - record.start;
    if (namesAreCounted_) {
      const auto entry = openNames_.find(NameOf(parent_));
      if (--entry->second == 0) {
        openNames_.erase(entry);
      }
    }
    parent_ = record.parent;
  }

  /// Whether any open element has that name. Walking up for every end tag that does not match would
  /// be quadratic: from the first one on, the open names are counted.
  [[nodiscard]] bool IsOpen(std::wstring_view name) {
    if (!namesAreCounted_) {
      for (ElementId open = parent_; open != ElementId::kDocument; open = index_.At(open).parent) {
        ++openNames_[NameOf(open)];
      }
      namesAreCounted_ = true;
    }
    return openNames_.find(name) != openNames_.end();
  }

  void EndAll() {
    const Offset end = OffsetAt(text_.size());
    while (parent_ != ElementId::kDocument) {
      const Offset start = index_.At(parent_).start;
      errors_.AddAt(start, {L"Element '", NameOf(parent_), L"' at offset ", start, L" not ended"});
      index_.At(parent_).flags |= kEndNotFound;
      index_.At(ElementId::kDocument).flags |= kIllFormed;
      Leave(end);
    }
  }

  const std::wstring& text_;
  const bool ignoreCase_;
  ElementIndex& index_;
  ErrorText& errors_;
  Tokenizer tokenizer_;
  ElementId parent_ = ElementId::kDocument;  // the innermost open element
  bool namesAreCounted_ = false;
  std::map<std::wstring_view, std::size_t, NameOrder> openNames_;
};

}  // namespace

void Parse(const std::wstring& text, bool ignoreCase, ElementIndex& index, ErrorText& errors) {
  index.Reset(text.size() / 64 + 8);
  if (text.empty()) {
    errors.Add({L"Empty document"});
    return;
  }
  Parser(text, ignoreCase, index, errors).Run();
  index.EndParse();
  ElementRecord& document = index.At(ElementId::kDocument);
  document.length = LengthFrom(text.size());
  const ElementId root = document.firstChild;
  if (root == ElementId::kNone) {
    errors.Add({L"No root element"});
  } else if (index.At(root).nextSibling != ElementId::kNone) {
    errors.Add({L"Root element has sibling"});
  }
}

}  // namespace Velta::Xml
