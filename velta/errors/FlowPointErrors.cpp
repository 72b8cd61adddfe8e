// SPDX-License-Identifier: MIT
// The error side of the flow point. It stands here, above the log, so that the log needs no errors.

#include "velta/errors/MError.h"
#include "velta/errors/MErrorParameter.h"
#include "velta/errors/MException.h"
#include "velta/errors/internal/RuntimeMessage.h"
#include "velta/logging/MFlowPoint.h"
#include "velta/text/NumberText.h"

#include <exception>
#include <initializer_list>
#include <string>

namespace {

void AppendPart(MString* code, wchar_t separator, const wchar_t* part) {
  if (part == nullptr || *part == L'\0') {
    return;
  }
  if (!code->empty()) {
    *code += separator;
  }
  *code += part;
}

/// class "." operation ":" error name, each part left out with its separator when there is none.
MString BuildCode(const wchar_t* className, const wchar_t* operationName,
                  const wchar_t* errorName) {
  MString code;
  AppendPart(&code, L'.', className);
  AppendPart(&code, L'.', operationName);
  AppendPart(&code, L':', errorName);
  return code;
}

}  // namespace

MError MFlowPoint::MakeRootError(const wchar_t* errorName) {
  ReportError(MFlowEventKind::RootError, errorName);
  return MError(BuildCode(className, operationName, errorName));
}

MError MFlowPoint::MakeRootError(const wchar_t* errorName,
                                 std::initializer_list<MErrorParameter> parameters) {
  MError error = MakeRootError(errorName);
  for (const MErrorParameter& parameter : parameters) {
    error.AddParameter(parameter);
  }
  return error;
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

void MFlowPoint::Raise(const wchar_t* errorName,
                       std::initializer_list<MErrorParameter> parameters) {
  Throw(MakeRootError(errorName, parameters));
}

void MFlowPoint::RaiseFromException(const std::exception& cause, const wchar_t* errorName,
                                    const wchar_t* parameterName, const std::string& text) {
  MError error = MakeCascadeError(errorName);
  error.AddParameter(L"errorMessage", Velta::Errors::RuntimeMessage(cause));
  error.AddParameter(parameterName, ToWide(text));
  Throw(error);
}
