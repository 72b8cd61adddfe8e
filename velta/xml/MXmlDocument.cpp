// SPDX-License-Identifier: MIT
#include "velta/xml/MXmlDocument.h"

#include "velta/logging/ClassNameRegistration.h"
#include "velta/xml/internal/DocumentState.h"
#include "velta/xml/internal/Parser.h"
#include "velta/xml/internal/References.h"

#include <algorithm>
#include <cstddef>
#include <exception>
#include <memory>
#include <utility>

using Velta::Xml::DocumentState;

namespace {

const wchar_t ClassName[] = L"MXmlDocument";
const Velta::Logging::ClassNameRegistration registration(ClassName);

}  // namespace

MXmlDocument::MXmlDocument() : state_(std::make_unique<DocumentState>()) {}

MXmlDocument::~MXmlDocument() = default;

bool MXmlDocument::SetText(MString text) noexcept {
  state_->text = std::move(text);
  state_->saved.Clear();
  state_->position = {};
  state_->errors.BeginParse();
  state_->ranOutOfMemory = false;
  if (state_->text.size() > Velta::Xml::kMaxTextLength) {
    state_->BecomeEmpty();
    state_->errors.ReplaceBy(L"Document too long");
    return false;
  }
  try {
    state_->Parse();
  } catch (const std::exception&) {
    state_->BecomeEmpty();
    state_->errors.ReplaceBy(L"Out of memory");
    state_->ranOutOfMemory = true;
  }
  return IsWellFormed();
}

const MString& MXmlDocument::GetText() const noexcept { return state_->text; }

bool MXmlDocument::IsWellFormed() const noexcept { return Velta::Xml::IsWellFormed(state_->index); }

bool MXmlDocument::HasRunOutOfMemory() const noexcept { return state_->ranOutOfMemory; }

const MString& MXmlDocument::GetErrorText() const noexcept { return state_->errors.Text(); }

void MXmlDocument::ClearErrorText() noexcept { state_->errors.Clear(); }

std::int32_t MXmlDocument::GetErrorOffset() const noexcept {
  return ToInt(state_->errors.FirstOffset());
}

void MXmlDocument::GetLineAndColumn(std::int32_t offset, std::int32_t* line,
                                    std::int32_t* column) const noexcept {
  const MString& text = state_->text;
  const std::size_t end = (std::min)(static_cast<std::size_t>((std::max)(offset, 0)), text.size());
  *line = 1;
  std::size_t lineBegin = 0;
  for (std::size_t at = 0; at < end; ++at) {
    // Of a carriage return and a line feed together, the line feed ends the line.
    const bool isBreak = text[at] == L'\n' || (text[at] == L'\r' && text.c_str()[at + 1] != L'\n');
    if (isBreak) {
      ++*line;
      lineBegin = at + 1;
    }
  }
  *column = static_cast<std::int32_t>(end - lineBegin) + 1;
}

void MXmlDocument::SetFlags(std::uint32_t flags) noexcept { state_->flags = flags; }

std::uint32_t MXmlDocument::GetFlags() const noexcept { return state_->flags; }

MString MXmlDocument::Escape(std::wstring_view text, std::uint32_t flags) {
  MString escaped;
  Velta::Xml::AppendEscaped(escaped, text, (flags & kEscapeQuotes) != 0,
                            (flags & kEscapeKeepReferences) != 0);
  return escaped;
}

MString MXmlDocument::Unescape(std::wstring_view text) {
  MString characters;
  Velta::Xml::AppendUnescaped(characters, text);
  return characters;
}
