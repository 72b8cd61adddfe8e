// SPDX-License-Identifier: MIT
#include "velta/xml/internal/Parser.h"

#include "velta/xml/internal/Tokenizer.h"

#include <algorithm>
#include <map>
#include <string_view>

namespace Velta::Xml {
namespace {

struct NameOrder {
  bool ignoreCase;

  bool operator()(std::wstring_view left, std::wstring_view right) const noexcept {
    if (!ignoreCase) return left < right;
    return std::lexicographical_compare(left.begin(), left.end(), right.begin(), right.end(),
                                        [](wchar_t a, wchar_t b) { return Fold(a) < Fold(b); });
  }
};

/// Follows the open elements down and up by the links of their records, so depth costs no stack.
class Parser {
 public:
  Parser(const std::wstring& document, bool anyCase, ElementIndex& records, ErrorText& faults)
      : text(document),
        ignoreCase(anyCase),
        index(records),
        errors(faults),
        tokenizer(document, &faults),
        openNames(NameOrder{anyCase}) {}

  void Run() {
    while (tokenizer.SkipText()) {
      const Token token = tokenizer.ReadMarkup();
      if (token.type == TokenType::kElement) {
        Open(token);
      } else if (token.type == TokenType::kEndTag) {
        Close(token);
      } else if (token.type == TokenType::kMalformed) {
        index.At(0).flags |= kIllFormed;
      }
    }
    EndAll();
  }

 private:
  [[nodiscard]] std::int32_t OffsetOf(const wchar_t* place) const noexcept {
    return static_cast<std::int32_t>(place - text.data());
  }

  [[nodiscard]] std::wstring_view NameOf(std::int32_t element) const noexcept {
    return NameAt(text.data() + index.At(element).start + 1);
  }

  [[nodiscard]] bool IsNamed(std::int32_t element, std::wstring_view name) const noexcept {
    // Finding the end of the name first would read a long name for each end tag that is not its
    // own. The text is long enough: the end tag that asks stands behind the start tag.
    const std::wstring_view own(text.data() + index.At(element).start + 1, name.size());
    return SameName(own, name, ignoreCase) && IsNameEnd(own.data()[own.size()]);
  }

  void Open(const Token& token) {
    if (index.Room() == 0) index.Extend(ExpectedMore(token));
    const std::int32_t element = index.Append();
    ElementRecord& record = index.At(element);
    record = ElementRecord{};
    record.start = OffsetOf(token.begin);
    record.length = static_cast<std::int32_t>(token.end - token.begin);
    ElementRecord& above = index.At(parent);
    record.parent = parent;
    record.previousSibling = above.lastChild;
    (above.lastChild != 0 ? index.At(above.lastChild).nextSibling : above.firstChild) = element;
    above.lastChild = element;
    index.SetTagLengths(element, {record.length, 0});
    if (token.isEmptyTag) {
      record.flags = kEmptyTag;
    } else {
      parent = element;
      if (namesAreCounted) ++openNames[NameOf(element)];
    }
  }

  /// How many more records the rest of the text needs if it goes on as it was so far.
  [[nodiscard]] std::size_t ExpectedMore(const Token& token) const noexcept {
    const double soFar = index.NextFree();
    const auto read = static_cast<double>(token.end - text.data());
    const double expected = soFar * (static_cast<double>(text.size()) - read) / read;
    return static_cast<std::size_t>((std::min)(expected * 1.03, soFar / 2)) + 1;
  }

  void Close(const Token& token) {
    const std::wstring_view name = NameAt(token.begin + 2);
    const std::int32_t offset = OffsetOf(token.begin);
    if (parent == 0) {
      errors.AddAt(offset, {L"No start tag for end tag '", name, L"' at offset ", offset});
      index.At(0).flags |= kIllFormed;
      return;
    }
    if (!IsNamed(parent, name)) {
      if (!IsOpen(name)) {
        ReportMismatch(name, offset);
        return;
      }
      do {
        ReportMismatch(name, offset);
        Leave(offset);
      } while (!IsNamed(parent, name));
    }
    const auto endTagLength = static_cast<std::int32_t>(token.end - token.begin);
    index.SetTagLengths(parent, {index.GetTagLengths(parent).start, endTagLength});
    Leave(offset + endTagLength);
  }

  void ReportMismatch(std::wstring_view name, std::int32_t offset) {
    if (!errors.IsCut()) {  // a name may be long, and met often
      errors.AddAt(offset,
                   {L"End tag '", name, L"' at offset ", offset, L" does not match start tag '",
                    NameOf(parent), L"' at offset ", index.At(parent).start});
    }
    index.At(parent).flags |= kNotEndedProperly;
    index.At(0).flags |= kIllFormed;
  }

  /// The open element ends here; the one around it goes on.
  void Leave(std::int32_t end) {
    ElementRecord& record = index.At(parent);
    record.length = end - record.start;
    if (namesAreCounted) {
      const auto entry = openNames.find(NameOf(parent));
      if (--entry->second == 0) openNames.erase(entry);
    }
    parent = record.parent;
  }

  /// Whether any open element has that name. Walking up for every end tag that does not match would
  /// be quadratic: from the first one on, the open names are counted.
  [[nodiscard]] bool IsOpen(std::wstring_view name) {
    if (!namesAreCounted) {
      for (std::int32_t open = parent; open != 0; open = index.At(open).parent) {
        ++openNames[NameOf(open)];
      }
      namesAreCounted = true;
    }
    return openNames.find(name) != openNames.end();
  }

  void EndAll() {
    const auto end = static_cast<std::int32_t>(text.size());
    while (parent != 0) {
      const std::int32_t start = index.At(parent).start;
      errors.AddAt(start, {L"Element '", NameOf(parent), L"' at offset ", start, L" not ended"});
      index.At(parent).flags |= kEndNotFound;
      index.At(0).flags |= kIllFormed;
      Leave(end);
    }
  }

  const std::wstring& text;
  const bool ignoreCase;
  ElementIndex& index;
  ErrorText& errors;
  Tokenizer tokenizer;
  std::int32_t parent = 0;  // the innermost open element
  bool namesAreCounted = false;
  std::map<std::wstring_view, std::size_t, NameOrder> openNames;
};

}  // namespace

void Parse(const std::wstring& text, bool ignoreCase, ElementIndex& index, ErrorText& errors) {
  index.Reset(text.size() / 64 + 8);
  if (text.empty()) {
    errors.Add({L"Empty document"});
    return;
  }
  Parser(text, ignoreCase, index, errors).Run();
  index.At(0).length = static_cast<std::int32_t>(text.size());
  const std::int32_t root = index.At(0).firstChild;
  if (root == 0) {
    errors.Add({L"No root element"});
  } else if (index.At(root).nextSibling != 0) {
    errors.Add({L"Root element has sibling"});
  }
}

}  // namespace Velta::Xml
