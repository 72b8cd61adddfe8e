// SPDX-License-Identifier: MIT
#include "velta/logging/internal/ErrorRecords.h"

#include "velta/logging/KLogger.h"
#include "velta/logging/internal/EventTable.h"
#include "velta/logging/internal/NameKey.h"
#include "velta/logging/internal/ProcessLog.h"
#include "velta/platform/internal/Win32.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <optional>

namespace Velta::Logging {
namespace {

constexpr std::uint32_t kNumberMask = 0x7FFFFFFF;  // the log counts in 31 bits

/// Null without one: to make it would take memory. Only this thread's own records are looked for,
/// and those it sees in order, so the log's counter may be read relaxed.
const KLogger* ProcessLogIfMade() noexcept {
  return ProcessLog::core.load(std::memory_order_acquire);
}

}  // namespace

std::uint32_t ErrorRecords::Next() noexcept {
  const KLogger* const log = ProcessLogIfMade();
  return log != nullptr ? log->counter.load(std::memory_order_relaxed) >> 1U : 0;
}

std::optional<ErrorFacts> ErrorRecords::FindSince(std::uint32_t first, const wchar_t* className,
                                                  const wchar_t* operationName) noexcept {
  const KLogger* const log = ProcessLogIfMade();
  if (log == nullptr) {
    return std::nullopt;
  }
  const auto classKey = static_cast<std::int32_t>(NameKey(className));
  const auto pointKey = static_cast<std::int32_t>(NameKey(operationName));
  const std::uint32_t threadId = ::GetCurrentThreadId();
  const std::uint32_t next = log->counter.load(std::memory_order_relaxed) >> 1U;
  const std::uint32_t count = (std::min)((next - first) & kNumberMask, kFarthest);
  for (std::uint32_t i = 1; i <= count; ++i) {
    const std::uint32_t number = (next - i) & kNumberMask;
    const KLogRecord record = log->ReadRecord(number & (KLogger::kCapacity - 1));
    if (record.threadId == threadId && record.classKey == classKey && record.pointKey == pointKey &&
        (record.code == kRootError || record.code == kCascadeError)) {
      return ErrorFacts{.time = record.time,
                        .object = record.object,
                        .threadId = threadId,
                        .line = record.value2,
                        .record = number,
                        .event = record.code,
                        .classKey = classKey,
                        .pointKey = pointKey,
                        .errorKey = record.value1};
    }
  }
  return std::nullopt;
}

std::optional<ErrorFacts> ErrorRecords::FindLast(const wchar_t* className,
                                                 const wchar_t* operationName) noexcept {
  const std::uint32_t next = Next();
  return FindSince(next > kFarthest ? next - kFarthest : 0, className, operationName);
}

ErrorFacts ErrorRecords::WithoutRecord(const void* object, std::int32_t line) noexcept {
  LARGE_INTEGER now;
  ::QueryPerformanceCounter(&now);
  return {.time = now.QuadPart,
          .object = static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(object)),
          .threadId = ::GetCurrentThreadId(),
          .line = line};
}

void ErrorRecords::SetClockOf(ErrorRing& ring) noexcept {
  if (const KLogger* const log = ProcessLogIfMade()) {
    ring.SetClock({.startCounter = log->startCounter,
                   .frequency = log->frequency,
                   .startMs = log->startWallClock.time * 1000 + log->startWallClock.millitm});
  }
}

}  // namespace Velta::Logging
