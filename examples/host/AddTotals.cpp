// SPDX-License-Identifier: MIT
#include "AddTotals.h"

#include "velta/logging/ClassNameRegistration.h"
#include "velta/logging/MFlowPoint.h"

#include <utility>

namespace host {
namespace {

const wchar_t ClassName[] = L"AddTotals";
const Velta::Logging::ClassNameRegistration registration(ClassName);

}  // namespace

AddTotals::AddTotals(MExceptionHolder outcome, ProcessorContext& context, const Totals& totals)
    : MCommandSynchronous(std::move(outcome)), context_(context), totals_(totals) {}

void AddTotals::Execute() {
  static MFlowPoint point(ClassName, L"Execute");
  const MFlowScope scope = point.At(this).OpenScope();
  ++context_.commandsRun;
  context_.totals += totals_;
}

}  // namespace host
