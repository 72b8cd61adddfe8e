// SPDX-License-Identifier: MIT
// The error side of the flow point. It stands here, above the log, so that the log needs no errors.

#include "velta/errors/MError.h"
#include "velta/errors/MErrorParameter.h"
#include "velta/errors/MException.h"
#include "velta/errors/internal/RuntimeMessage.h"
#include "velta/logging/MFlowPoint.h"
#include "velta/logging/internal/ErrorRecords.h"
#include "velta/logging/internal/ErrorRing.h"
#include "velta/text/NumberText.h"

#include <atomic>
#include <cstdint>
#include <exception>
#include <initializer_list>
#include <map>
#include <optional>
#include <string>

using namespace Velta::Logging;

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

void AddAll(MError* error, std::initializer_list<MErrorParameter> parameters) {
  for (const MErrorParameter& parameter : parameters) {
    error->AddParameter(parameter);
  }
}

[[noreturn]] void ThrowCopy(const MError& error) { throw MException(error); }

}  // namespace

MError MFlowPoint::MakeRootError(const wchar_t* errorName) {
  ReportError(MFlowEventKind::RootError, errorName);
  return MError(BuildCode(className, operationName, errorName));
}

MError MFlowPoint::MakeRootError(const wchar_t* errorName,
                                 std::initializer_list<MErrorParameter> parameters) {
  const std::uint32_t firstRecord = ErrorRecords::Next();
  MError error = MakeRootError(errorName);
  AddAll(&error, parameters);
  Keep(error, firstRecord);
  return error;
}

MError MFlowPoint::MakeCascadeError(const wchar_t* errorName) {
  ReportError(MFlowEventKind::CascadeError, errorName);
  return MError(BuildCode(className, operationName, errorName));
}

MError MFlowPoint::MakeCascadeError(const wchar_t* errorName,
                                    std::initializer_list<MErrorParameter> parameters) {
  const std::uint32_t firstRecord = ErrorRecords::Next();
  MError error = MakeCascadeError(errorName);
  AddAll(&error, parameters);
  Keep(error, firstRecord);
  return error;
}

void MFlowPoint::Keep(const MError& error, std::optional<std::uint32_t> firstRecord) noexcept {
  const std::map<MString, MString>& parameters = error.GetParameters();
  if (parameters.empty()) {
    return;
  }
  ErrorRing& ring = ErrorRing::Instance();
  const std::optional<ErrorFacts> record =
      firstRecord ? ErrorRecords::FindSince(*firstRecord, className, operationName)
                  : ErrorRecords::FindLast(className, operationName);
  // What was given its parameters when it was made has been kept then. What got more since is kept
  // once more: the later one counts.
  if (!firstRecord && record && parameters.size() <= ring.ParametersOf(*record).value_or(0)) {
    return;
  }
  ErrorRecords::SetClockOf(ring);
  ring.Keep(record ? *record
                   : ErrorRecords::WithoutRecord(object.load(std::memory_order_relaxed),
                                                 line.load(std::memory_order_relaxed)),
            {className, operationName, error.GetCode(), parameters});
}

void MFlowPoint::Throw(const MError& error) {
  Keep(error, std::nullopt);
  ThrowCopy(error);
}

void MFlowPoint::Raise(const wchar_t* errorName) { ThrowCopy(MakeRootError(errorName)); }

void MFlowPoint::Raise(const wchar_t* errorName, const wchar_t* parameterName,
                       std::uint32_t value) {
  const std::uint32_t firstRecord = ErrorRecords::Next();
  MError error = MakeRootError(errorName);
  error.AddParameter(parameterName, value, false);
  Keep(error, firstRecord);
  ThrowCopy(error);
}

void MFlowPoint::Raise(const wchar_t* errorName, const wchar_t* parameterName,
                       const std::string& text) {
  const std::uint32_t firstRecord = ErrorRecords::Next();
  MError error = MakeRootError(errorName);
  error.AddParameter(parameterName, ToWide(text));
  Keep(error, firstRecord);
  ThrowCopy(error);
}

void MFlowPoint::Raise(const wchar_t* errorName,
                       std::initializer_list<MErrorParameter> parameters) {
  ThrowCopy(MakeRootError(errorName, parameters));
}

void MFlowPoint::RaiseFromException(const std::exception& cause, const wchar_t* errorName,
                                    const wchar_t* parameterName, const std::string& text) {
  const std::uint32_t firstRecord = ErrorRecords::Next();
  MError error = MakeCascadeError(errorName);
  error.AddParameter(L"errorMessage", Velta::Errors::RuntimeMessage(cause));
  error.AddParameter(parameterName, ToWide(text));
  Keep(error, firstRecord);
  ThrowCopy(error);
}
