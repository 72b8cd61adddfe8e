// SPDX-License-Identifier: MIT
#include "tests/crossmodule/FailingPart.h"

#include "velta/errors/MError.h"
#include "velta/errors/MException.h"
#include "velta/logging/MFlowPoint.h"
#include "velta/serialisation/MOutFilerTaggedXml.h"

#include <cstdint>
#include <new>
#include <utility>

namespace {

const wchar_t ClassName[] = L"FailingPart";

MString AsText(const MException& exception) {
  MOutFilerTaggedXml filer(L"ExceptionChain", L"");
  MString text;
  const bool written = exception.Write(filer, L"Exception") && filer.GetText(&text);
  return written ? text : MString();
}

/// The error of a component that hands its causes on as text.
class ComponentError : public MError {
 public:
  ComponentError(const MError& error, MString causeText)
      : MError(error), causes(std::move(causeText)) {}

  ComponentError* Clone() const noexcept override {
    return new (std::nothrow) ComponentError(*this);
  }
  MString GetCauseChain() const override { return causes; }

 private:
  MString causes;
};

void Open() {
  static MFlowPoint point(ClassName, L"Open");
  MError error = point.At(nullptr).MakeRootError(L"OpenFailed");
  error.AddParameter(L"errno", std::int32_t{-2});
  error.AddParameter(L"file", MString(kHostileText));
  point.Throw(error);
}

void Load() {
  static MFlowPoint point(ClassName, L"Load");
  try {
    Open();
  } catch (const MException& cause) {
    MException chain(cause);
    MError error = point.At(nullptr).MakeCascadeError(L"NotLoaded");
    error.AddParameter(L"reason", MString());
    chain.AddError(error);
    throw MException(chain);
  }
}

void Run() {
  static MFlowPoint point(ClassName, L"Run");
  try {
    Load();
  } catch (const MException& causes) {
    const MError error = point.At(nullptr).MakeCascadeError(L"Failed");
    point.Throw(ComponentError(error, AsText(causes)));
  }
}

}  // namespace

MString FailureAsText() {
  try {
    Run();
  } catch (const MException& exception) {
    return AsText(exception);
  }
  return MString();
}
