// SPDX-License-Identifier: MIT
#include "velta/xml/internal/Parser.h"

#include "velta/xml/internal/Search.h"
#include "velta/xml/internal/Tokenizer.h"

#include <algorithm>
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

  /// Whether an element has the name that begins at `name`, behind its start tag. Reads no further
  /// than the two agree: a long name may be asked for many times.
  [[nodiscard]] bool IsNamed(std::int32_t element, const wchar_t* name) const noexcept {
    const wchar_t* own = text.data() + index.At(element).start + 1;
    while (!IsNameEnd(*own) && (*own == *name || (ignoreCase && Fold(*own) == Fold(*name)))) {
      ++own;
      ++name;
    }
    return IsNameEnd(*own) && IsNameEnd(*name);
  }

  /// Whether an end tag is that of the innermost open element.
  [[nodiscard]] bool IsExpected(const Token& endTag) const noexcept {
    // What is between the marks is mostly the name alone, and short.
    const wchar_t* const own = text.data() + index.At(parent).start + 1;
    const wchar_t* const name = endTag.begin + 2;
    const std::ptrdiff_t length = endTag.end - 1 - name;
    if (CommonPrefix(own, name, text.data() + text.size()) >= length && IsNameEnd(own[length])) {
      return true;
    }
    return IsNamed(parent, name);
  }

  void Open(const Token& token) {
    if (index.Room() == 0) {
      index.Extend(ExpectedMore(token));
    }
    const std::int32_t element = index.Append();
    const auto length = static_cast<std::int32_t>(token.end - token.begin);
    ElementRecord& above = index.At(parent);
    const std::int32_t previous = above.lastChild;
    above.lastChild = element;
    (previous != 0 ? index.At(previous).nextSibling : above.firstChild) = element;
    index.At(element) = {OffsetOf(token.begin),
                         length,
                         0,
                         token.isEmptyTag ? kEmptyTag : 0,
                         parent,
                         0,
                         0,
                         previous,
                         0};
    index.SetTagLengths(element, {length, 0});
    if (!token.isEmptyTag) {
      parent = element;
      if (namesAreCounted) {
        ++openNames[NameOf(element)];
      }
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
    const wchar_t* const name = token.begin + 2;
    const std::int32_t offset = OffsetOf(token.begin);
    if (parent == 0) {
      errors.AddAt(offset, {L"No start tag for end tag '", NameAt(name), L"' at offset ", offset});
      index.At(0).flags |= kIllFormed;
      return;
    }
    if (!IsExpected(token) && !LeaveUpTo(NameAt(name), offset)) {
      return;
    }
    const auto endTagLength = static_cast<std::int32_t>(token.end - token.begin);
    index.SetEndTagLength(parent, endTagLength);
    Leave(offset + endTagLength);
  }

  /// Ends the elements inside of the innermost open one of that name. False when there is none.
  [[nodiscard]] bool LeaveUpTo(std::wstring_view name, std::int32_t offset) {
    if (!IsOpen(name)) {
      ReportMismatch(name, offset);
      return false;
    }
    do {
      ReportMismatch(name, offset);
      Leave(offset);
    } while (!IsNamed(parent, name.data()));
    return true;
  }

  void ReportMismatch(std::wstring_view name, std::int32_t offset) {
    if (errors.IsCut()) {
      errors.AddAt(offset, {});  // its place alone: a name may be long, and met often
    } else {
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
      if (--entry->second == 0) {
        openNames.erase(entry);
      }
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
  index.EndParse();
  index.At(0).length = static_cast<std::int32_t>(text.size());
  const std::int32_t root = index.At(0).firstChild;
  if (root == 0) {
    errors.Add({L"No root element"});
  } else if (index.At(root).nextSibling != 0) {
    errors.Add({L"Root element has sibling"});
  }
}

}  // namespace Velta::Xml
