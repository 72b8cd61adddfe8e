// SPDX-License-Identifier: MIT
// The error side of the flow point. It stands here, above the log, so that the log needs no errors.

#include "velta/errors/MError.h"
#include "velta/errors/MException.h"
#include "velta/errors/internal/RuntimeMessage.h"
#include "velta/logging/MFlowPoint.h"
#include "velta/text/NumberText.h"

#include <algorithm>
#include <cstddef>
#include <exception>
#include <string>

namespace {

void AppendPart(MString& code, wchar_t separator, const wchar_t* part) {
  if (part == nullptr || *part == L'\0') {
    return;
  }
  if (!code.empty()) {
    code += separator;
  }
  code += part;
}

/// class "." operation ":" error name, each part left out with its separator when there is none.
MString BuildCode(const wchar_t* className, const wchar_t* operationName,
                  const wchar_t* errorName) {
  MString code;
  AppendPart(code, L'.', className);
  AppendPart(code, L'.', operationName);
  AppendPart(code, L':', errorName);
  return code;
}

/// Character by character, with a question mark for each byte that begins none.
MString WidenWhatIsValid(const std::string& text) {
  constexpr std::size_t kLongest = 4;  // bytes of a character
  MString wide;
  for (std::size_t at = 0; at < text.size();) {
    MString character;
    std::size_t length = 0;
    while (character.empty() && length < (std::min)(kLongest, text.size() - at)) {
      character = ToWide(text.substr(at, ++length));
    }
    wide += character.empty() ? L"?" : character;
    at += character.empty() ? 1 : length;
  }
  return wide;
}

}  // namespace

MString RuntimeMessage(const std::exception& cause) {
  const std::string message = cause.what();
  MString wide = ToWide(message);
  if (wide.empty()) {  // of a message with one bad byte the runtime gives nothing
    wide = WidenWhatIsValid(message);
  }
  return wide;
}

MError MFlowPoint::MakeRootError(const wchar_t* errorName) {
  ReportError(MFlowEventKind::RootError, errorName);
  return MError(BuildCode(className, operationName, errorName));
}

MError MFlowPoint::MakeCascadeError(const wchar_t* errorName) {
  ReportError(MFlowEventKind::CascadeError, errorName);
  return MError(BuildCode(className, operationName, errorName));
}

void MFlowPoint::Throw(const MError& error) { throw MException(error); }

void MFlowPoint::Raise(const wchar_t* errorName) { Throw(MakeRootError(errorName)); }

void MFlowPoint::Raise(const wchar_t* errorName, const wchar_t* parameterName,
                       std::uint32_t value) {
  MError error = MakeRootError(errorName);
  error.AddParameter(parameterName, value, false);
  Throw(error);
}

void MFlowPoint::Raise(const wchar_t* errorName, const wchar_t* parameterName,
                       const std::string& text) {
  MError error = MakeRootError(errorName);
  error.AddParameter(parameterName, ToWide(text));
  Throw(error);
}

void MFlowPoint::RaiseFromException(const std::exception& cause, const wchar_t* errorName,
                                    const wchar_t* parameterName, const std::string& text) {
  MError error = MakeCascadeError(errorName);
  error.AddParameter(L"errorMessage", RuntimeMessage(cause));
  error.AddParameter(parameterName, ToWide(text));
  Throw(error);
}
