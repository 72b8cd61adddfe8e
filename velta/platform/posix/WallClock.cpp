// SPDX-License-Identifier: MIT
#include "velta/platform/posix/Win32Subset.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include <time.h>

namespace {

// What the C runtime takes as its last second, that of the year 3000 in UTC.
constexpr __time64_t kLastTime = 32'535'215'999;

errno_t Refuse() noexcept {
  errno = EINVAL;
  return EINVAL;
}

}  // namespace

errno_t _ftime64_s(__timeb64* now) noexcept {
  if (now == nullptr) {
    return Refuse();
  }
  timespec time{};
  ::clock_gettime(CLOCK_REALTIME, &time);
  tm local{};
  ::tzset();
  ::localtime_r(&time.tv_sec, &local);
  now->time = time.tv_sec;
  now->millitm = static_cast<unsigned short>(time.tv_nsec / 1'000'000);
  now->timezone = static_cast<short>(::timezone / 60);  // minutes west, without summer time
  now->dstflag = local.tm_isdst > 0 ? 1 : 0;
  return 0;
}

errno_t _ctime64_s(char* buffer, std::size_t size, const __time64_t* time) noexcept {
  constexpr std::size_t kLength = 26;
  if (buffer == nullptr || size == 0) {
    return Refuse();
  }
  buffer[0] = '\0';
  if (size < kLength || time == nullptr || *time < 0 || *time > kLastTime) {
    return Refuse();
  }
  // English whatever the locale, unlike strftime.
  static constexpr const char* kDays[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
  static constexpr const char* kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                            "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  const time_t seconds = *time;
  tm local{};
  ::tzset();
  if (::localtime_r(&seconds, &local) == nullptr) {
    return Refuse();
  }
  char text[2 * kLength];
  std::snprintf(text, sizeof(text), "%s %s %2d %02d:%02d:%02d %d\n", kDays[local.tm_wday],
                kMonths[local.tm_mon], local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec,
                local.tm_year + 1900);
  std::memcpy(buffer, text, kLength);
  return 0;
}
