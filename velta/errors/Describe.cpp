// SPDX-License-Identifier: MIT
#include "velta/errors/Describe.h"

#include <cstdint>

namespace {

void AppendError(MString* text, const MError* error) {
  if (error == nullptr) {
    *text += L"Out of memory";  // the one reason for which a chain lacks an entry
    return;
  }
  *text += error->GetMessage();
  const wchar_t* separator = L" (";
  for (const auto& [name, value] : error->GetParameters()) {
    *text += separator;
    *text += name;
    *text += L' ';
    *text += value;
    separator = L", ";
  }
  if (!error->GetParameters().empty()) {
    *text += L')';
  }
}

MString DescribeChain(const MException& exception, const wchar_t* separator) {
  MString text;
  for (std::int32_t index = exception.GetErrorCount(); index-- > 0;) {
    AppendError(&text, exception.GetError(index));
    if (index > 0) {
      text += separator;
    }
  }
  return text.empty() ? MError().GetMessage() : text;
}

}  // namespace

MString Describe(const MError& error) {
  MString text;
  AppendError(&text, &error);
  return text;
}

MString Describe(const MException& exception) { return DescribeChain(exception, L"\ncaused by: "); }

MString DescribeOnOneLine(const MException& exception) {
  MString text = DescribeChain(exception, L"; caused by: ");
  for (wchar_t& character : text) {
    const auto code = static_cast<std::uint32_t>(character);
    if (code < 0x20 || (code >= 0x7F && code < 0xA0) || code == 0x2028 || code == 0x2029) {
      character = L' ';
    }
  }
  return text;
}
