// SPDX-License-Identifier: MIT
#include "CountFile.h"

#include "FrameworkErrors.h"
#include "InputFile.h"
#include "Progress.h"
#include "Text.h"
#include "velta/logging/ClassNameRegistration.h"

#include <cstddef>
#include <memory>
#include <utility>

namespace host {
namespace {

const wchar_t ClassName[] = L"CountFile";
const Velta::Logging::ClassNameRegistration registration(ClassName);

}  // namespace

CountFile::CountFile(MExceptionHolder outcome, ProcessorContext& context,
                     MDesyncEventScheduler& scheduler, ProgressLine& progress, FileResult& result)
    : MCommandSynchronous(std::move(outcome)),
      context_(context),
      scheduler_(scheduler),
      progress_(progress),
      result_(result) {}

void CountFile::Execute() {
  static MFlowPoint point(ClassName, L"Execute");
  const MFlowScope scope = point.At(this).OpenScope();
  ++context_.commandsRun;
  try {
    TranslateExceptions(point.At(this), [this] { Count(); });
  } catch (const MException& cause) {
    ThrowCausedBy(cause, point.At(this).MakeCascadeError(L"FileNotCounted",
                                                         {{L"file", ToText(result_.path)}}));
  }
}

void CountFile::Count() {
  InputFile file(result_.path);
  ContentCounter counter;
  std::uint64_t notified = 0;
  while (const std::size_t length = file.ReadBlock(context_.block)) {
    counter.Add(context_.block.data(), length);
    if (counter.GetTotals().bytes - notified >= kBytesPerNotification) {
      notified += kBytesPerNotification;
      scheduler_.ScheduleDesyncEvent(
          std::make_unique<ProgressMade>(progress_, 0, kBytesPerNotification).release());
    }
  }
  result_.totals = counter.GetTotals();
  result_.checksum = counter.GetChecksum();
}

}  // namespace host
