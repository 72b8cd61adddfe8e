// SPDX-License-Identifier: MIT
#include <array>
#include <atomic>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string_view>

#include <fcntl.h>
#include <time.h>
#include <unistd.h>
#if defined(__x86_64__)
#include <cpuid.h>
#endif

#include "velta/platform/posix/MonotonicTime.h"
#include "velta/platform/posix/Win32Subset.h"

namespace Velta::Posix {

constinit std::atomic<CounterSource> counterSource{CounterSource::kUndecided};

namespace {

constexpr std::int64_t kNanosecondsPerSecond = 1'000'000'000;

#if defined(__x86_64__)

/// The processor says that its counter runs at one speed, whatever it saves power with.
bool IsTimeStampInvariant() noexcept {
  constexpr unsigned kInvariant = 1U << 8;
  unsigned a = 0;
  unsigned b = 0;
  unsigned c = 0;
  unsigned d = 0;
  return __get_cpuid(0x80000007, &a, &b, &c, &d) != 0 && (d & kInvariant) != 0;
}

#elif defined(__aarch64__)

/// The architecture demands it.
bool IsTimeStampInvariant() noexcept { return true; }

#else

bool IsTimeStampInvariant() noexcept { return false; }

#endif

/// The kernel has compared the processors' counters, and keeps time by them itself. An emulator
/// shows another machine's kernel: the answer is no.
bool DoesKernelTrustTimeStamp() noexcept {
  const int file = ::open("/sys/devices/system/clocksource/clocksource0/current_clocksource",
                          O_RDONLY | O_CLOEXEC);
  if (file < 0) {
    return false;
  }
  std::array<char, 64> buffer{};
  const ssize_t length = ::read(file, buffer.data(), buffer.size());
  ::close(file);
  if (length <= 0) {
    return false;
  }
  std::string_view source(buffer.data(), static_cast<std::size_t>(length));
  while (!source.empty() && source.back() == '\n') {
    source.remove_suffix(1);
  }
#if defined(__aarch64__)
  return source == "arch_sys_counter";
#else
  return source == "tsc" || source == "kvm-clock" || source == "hyperv_clocksource_tsc_page";
#endif
}

/// Both clocks at one moment, as nearly as several tries get it.
struct ClockPair {
  std::int64_t ticks = 0;
  std::int64_t nanoseconds = 0;
};

ClockPair ReadBoth() noexcept {
  constexpr int kTries = 16;
  ClockPair best;
  std::int64_t narrowest = (std::numeric_limits<std::int64_t>::max)();
  for (int i = 0; i < kTries; ++i) {
    const std::int64_t before = ReadTimeStamp();
    const std::int64_t nanoseconds = MonotonicNow();
    const std::int64_t width = ReadTimeStamp() - before;
    if (width >= narrowest) {
      continue;
    }
    narrowest = width;
    best = {before + width / 2, nanoseconds};
  }
  return best;
}

/// Time stamps per second, good to some millionths; 0 when they make no sense.
std::int64_t MeasureTimeStamp() noexcept {
  constexpr std::uint32_t kMilliseconds = 5;
  const ClockPair from = ReadBoth();
  ::Sleep(kMilliseconds);
  const ClockPair to = ReadBoth();
  const double seconds = static_cast<double>(to.nanoseconds - from.nanoseconds) / 1e9;
  const std::int64_t ticks = to.ticks - from.ticks;
  return seconds > 0 && ticks > 0 ? std::llround(static_cast<double>(ticks) / seconds) : 0;
}

std::int64_t FindTimeStampFrequency() noexcept {
  return IsTimeStampInvariant() && DoesKernelTrustTimeStamp() ? MeasureTimeStamp() : 0;
}

/// Chooses the source on the first call, for good. The source by itself is all that others read, so
/// its order against other memory does not matter.
std::int64_t Frequency() noexcept {
  static const std::int64_t frequency = [] {
    const std::int64_t timeStamp = FindTimeStampFrequency();
    counterSource.store(timeStamp != 0 ? CounterSource::kTimeStamp : CounterSource::kMonotonicClock,
                        std::memory_order_relaxed);
    return timeStamp != 0 ? timeStamp : kNanosecondsPerSecond;
  }();
  return frequency;
}

}  // namespace

std::int64_t ReadCounterSlowPath() noexcept {
  if (counterSource.load(std::memory_order_relaxed) == CounterSource::kUndecided) {
    Frequency();
  }
  return counterSource.load(std::memory_order_relaxed) == CounterSource::kTimeStamp
             ? ReadTimeStamp()
             : MonotonicNow();
}

}  // namespace Velta::Posix

BOOL QueryPerformanceFrequency(LARGE_INTEGER* frequency) noexcept {
  frequency->QuadPart = Velta::Posix::Frequency();
  return TRUE;
}
