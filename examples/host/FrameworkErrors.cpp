// SPDX-License-Identifier: MIT
#include "FrameworkErrors.h"

#include "Text.h"
#include "velta/text/NumberText.h"

#include <cstdint>
#include <system_error>

namespace host {
namespace {

[[noreturn]] void RaiseNumbered(MFlowPoint& point, const wchar_t* name, const wchar_t* parameter,
                                const std::error_code& code) {
  MError error = point.MakeRootError(name);
  error.AddParameter(parameter, static_cast<std::int32_t>(code.value()));
  error.AddParameter(L"errorMessage", ToWide(code.message()));
  point.Throw(error);
}

std::string DescribeError(const MError& error) {
  std::string line = ToUtf8(error.GetMessage());
  for (const auto& [name, value] : error.GetParameters()) {
    const bool needsQuotes = value.empty() || value.find(L' ') != MString::npos;
    const char* const quote = needsQuotes ? "\"" : "";
    line += ' ' + ToUtf8(name) + '=' + quote + ToUtf8(value) + quote;
  }
  return line;
}

}  // namespace

void RaiseErrno(MFlowPoint& point, const wchar_t* name, int errorNumber) {
  RaiseNumbered(point, name, L"errno", std::error_code(errorNumber, std::generic_category()));
}

void RaiseErrorCode(MFlowPoint& point, const wchar_t* name, const std::error_code& code) {
  RaiseNumbered(point, name, L"errorCode", code);
}

std::string Describe(const MException& exception) {
  std::string lines;
  for (std::int32_t i = exception.GetErrorCount(); i-- > 0;) {
    const MError* const error = exception.GetError(i);
    lines += lines.empty() ? "  " : "  caused by ";
    lines += error != nullptr ? DescribeError(*error) : "an error that there was no memory for";
    lines += '\n';
  }
  return lines;
}

}  // namespace host
