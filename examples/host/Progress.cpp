// SPDX-License-Identifier: MIT
#include "Progress.h"

#include "FrameworkErrors.h"
#include "Text.h"
#include "examples/shared/RegisteredName.h"
#include "velta/text/MLocale.h"

#include <string>

namespace host {
namespace {

const wchar_t MadeClassName[] = L"ProgressMade";
const wchar_t LastClassName[] = L"LastNotification";
const RegisteredName registeredNames[] = {RegisteredName(MadeClassName),
                                          RegisteredName(LastClassName)};

// As often as an eye can follow: a terminal is slower than the notifications.
constexpr std::chrono::milliseconds kBetweenDraws{50};

}  // namespace

void ProgressLine::Advance(std::uint64_t moreFiles, std::uint64_t moreBytes) {
  files += moreFiles;
  bytes += moreBytes;
  if (!write) {
    return;
  }
  const auto now = std::chrono::steady_clock::now();
  if (now < nextDraw) {
    return;
  }
  nextDraw = now + kBetweenDraws;
  Draw();
}

void ProgressLine::Draw() {
  MString wide;
  MLocale::GetClassic().Format(
      wide, L"%llu of %llu files, %llu bytes", static_cast<unsigned long long>(files),
      static_cast<unsigned long long>(expectedFiles), static_cast<unsigned long long>(bytes));
  std::string text = ToUtf8(wide);
  const std::size_t length = text.size();
  if (length < drawnLength) {
    text.append(drawnLength - length, ' ');
  }
  drawnLength = length;
  write('\r' + text);
}

void ProgressLine::Erase() {
  if (drawnLength == 0) {
    return;
  }
  write('\r' + std::string(drawnLength, ' ') + '\r');
  drawnLength = 0;
}

void ProgressMade::Fire() {
  static MFlowPoint point(MadeClassName, L"Fire");
  point.At(this).LogTimingPoint(static_cast<std::uint32_t>(files),
                                static_cast<std::uint32_t>(bytes));
  line.CountNotification();
  ThrowingFrameworkErrors(point, [this] { line.Advance(files, bytes); });
}

void LastNotification::Fire() {
  static MFlowPoint point(LastClassName, L"Fire");
  point.At(this).LogTimingPoint(0, 0);
  line.CountNotification();
  ThrowingFrameworkErrors(point, [this] { line.Erase(); });
  monitor.Reach(RunMonitor::Milestone::AllNotified);
}

}  // namespace host
