// SPDX-License-Identifier: MIT
#include "CountFile.h"

#include "FrameworkErrors.h"
#include "InputFile.h"
#include "Progress.h"
#include "Text.h"
#include "examples/shared/RegisteredName.h"

#include <cstddef>
#include <memory>
#include <utility>

namespace host {
namespace {

const wchar_t ClassName[] = L"CountFile";
const RegisteredName registeredName(ClassName);

}  // namespace

CountFile::CountFile(MExceptionHolder outcome, Workbench& commandBench,
                     MDesyncEventScheduler& notifications, ProgressLine& progressLine,
                     FileResult& fileResult)
    : MCommandSynchronous(std::move(outcome)),
      bench(commandBench),
      scheduler(notifications),
      progress(progressLine),
      result(fileResult) {}

void CountFile::Execute() {
  static MFlowPoint point(ClassName, L"Execute");
  const MFlowScope scope = point.At(this).OpenScope();
  ++bench.commandsRun;
  try {
    ThrowingFrameworkErrors(point.At(this), [this] { Count(); });
  } catch (const MException& cause) {
    MError error = point.At(this).MakeCascadeError(L"FileNotCounted");
    error.AddParameter(L"file", ToText(result.path));
    ThrowCausedBy(cause, error);
  }
}

void CountFile::Count() {
  InputFile file(result.path);
  ContentCounter counter;
  std::uint64_t notified = 0;
  while (const std::size_t length = file.ReadBlock(bench.block)) {
    counter.Add(bench.block.data(), length);
    if (counter.GetTotals().bytes - notified >= kBytesPerNotification) {
      notified += kBytesPerNotification;
      scheduler.ScheduleDesyncEvent(
          std::make_unique<ProgressMade>(progress, 0, kBytesPerNotification).release());
    }
  }
  result.totals = counter.GetTotals();
  result.checksum = counter.GetChecksum();
}

}  // namespace host
