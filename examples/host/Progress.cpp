// SPDX-License-Identifier: MIT
#include "Progress.h"

#include "FrameworkErrors.h"
#include "Text.h"
#include "velta/logging/ClassNameRegistration.h"
#include "velta/text/MLocale.h"

#include <chrono>
#include <cstdint>
#include <string>

namespace host {
namespace {

const wchar_t MadeClassName[] = L"ProgressMade";
const wchar_t LastClassName[] = L"LastNotification";
const Velta::Logging::ClassNameRegistration madeRegistration(MadeClassName);
const Velta::Logging::ClassNameRegistration lastRegistration(LastClassName);

// Notifications come faster than a terminal can draw.
constexpr std::chrono::milliseconds kBetweenDraws{50};

}  // namespace

void ProgressLine::Advance(std::uint64_t moreFiles, std::uint64_t moreBytes) {
  files_ += moreFiles;
  bytes_ += moreBytes;
  if (!writer_) {
    return;
  }
  const auto now = std::chrono::steady_clock::now();
  if (now < nextDraw_) {
    return;
  }
  nextDraw_ = now + kBetweenDraws;
  Draw();
}

void ProgressLine::Draw() {
  MString wide;
  MLocale::GetClassic().Format(
      wide, L"%llu of %llu files, %llu bytes", static_cast<unsigned long long>(files_),
      static_cast<unsigned long long>(expectedFiles_), static_cast<unsigned long long>(bytes_));
  std::string text = ToUtf8(wide);
  const std::size_t length = text.size();
  if (length < drawnLength_) {
    text.append(drawnLength_ - length, ' ');
  }
  drawnLength_ = length;
  writer_('\r' + text);
}

void ProgressLine::Erase() {
  if (drawnLength_ == 0) {
    return;
  }
  writer_('\r' + std::string(drawnLength_, ' ') + '\r');
  drawnLength_ = 0;
}

void ProgressMade::Fire() {
  static MFlowPoint point(MadeClassName, L"Fire");
  point.At(this).LogTimingPoint(static_cast<std::uint32_t>(files_),
                                static_cast<std::uint32_t>(bytes_));
  line_.CountNotification();
  TranslateExceptions(point, [this] { line_.Advance(files_, bytes_); });
}

void LastNotification::Fire() {
  static MFlowPoint point(LastClassName, L"Fire");
  point.At(this).LogTimingPoint(0, 0);
  line_.CountNotification();
  TranslateExceptions(point, [this] { line_.Erase(); });
  monitor_.Send(RunMonitor::Signal::kLastNotification);
}

}  // namespace host
