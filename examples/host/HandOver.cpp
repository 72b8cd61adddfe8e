// SPDX-License-Identifier: MIT
#include "HandOver.h"

#include "examples/shared/RegisteredName.h"
#include "velta/logging/MFlowPoint.h"

#include <utility>

namespace host {
namespace {

const wchar_t ClassName[] = L"HandOver";
const RegisteredName registeredName(ClassName);

}  // namespace

HandOver::HandOver(MExceptionHolder outcome, Workbench& commandBench, const Totals& callerTotals)
    : MCommandSynchronous(std::move(outcome)), bench(commandBench), totals(callerTotals) {}

void HandOver::Execute() {
  static MFlowPoint point(ClassName, L"Execute");
  const MFlowScope scope = point.At(this).OpenScope();
  ++bench.commandsRun;
  bench.totals += totals;
}

}  // namespace host
