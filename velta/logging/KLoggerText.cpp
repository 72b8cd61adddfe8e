// SPDX-License-Identifier: MIT
// The log as text: one record, and the whole of it.
#include "velta/logging/KLogger.h"
#include "velta/logging/internal/EventTable.h"
#include "velta/logging/internal/KLockHolder.h"
#include "velta/logging/internal/KLogWords.h"
#include "velta/platform/internal/DebugDumpFile.h"
#include "velta/platform/internal/Win32.h"

#include <array>
#include <atomic>
#include <bit>
#include <charconv>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <ios>
#include <map>
#include <memory>
#include <ostream>
#include <streambuf>
#include <string>
#include <string_view>

using namespace Velta::Logging;

namespace {

constexpr std::uint32_t kRecordsPerPause = 16384;
constexpr std::uint32_t kPauseMs = 10;
constexpr __time64_t kLastWallClock = 32'535'215'999;  // the runtimes convert nothing later

void AppendNumber(std::string& text, std::integral auto number) {
  char digits[24];
  text.append(digits, std::to_chars(digits, digits + sizeof digits, number).ptr);
}

void AppendPointer(std::string& text, std::uint64_t address) {
  char digits[16];
  for (unsigned i = 0; i < 16; ++i) {
    digits[i] = "0123456789ABCDEF"[(address >> (60 - 4 * i)) & 0xF];
  }
  text.append(digits, sizeof digits);
}

std::uint64_t Magnitude(std::int64_t value) noexcept {
  const auto bits = static_cast<std::uint64_t>(value);
  return value < 0 ? 0 - bits : bits;
}

void AppendRelativeTime(std::string& text, std::int64_t t, std::int64_t reference,
                        std::int64_t frequency) {
  // Subtracted without a sign: counters may wrap, signed overflow may not.
  const auto difference = static_cast<std::int64_t>(static_cast<std::uint64_t>(t) -
                                                    static_cast<std::uint64_t>(reference));
  const std::uint64_t ticks = Magnitude(difference);
  const auto perSecond = static_cast<std::uint64_t>(frequency);
  const std::uint64_t micros = ticks % perSecond * 1000000 / perSecond;
  if (difference < 0) {
    text += '-';
  }
  AppendNumber(text, ticks / perSecond);
  char digits[24];
  const auto length = std::to_chars(digits, digits + sizeof digits, micros).ptr - digits;
  text += '.';
  text.append(length < 6 ? static_cast<std::size_t>(6 - length) : 0, '0');
  text.append(digits, static_cast<std::size_t>(length));
}

// Text is lost. Sets both bits: a stream may be set to throw on either.
void Fail(std::ostream& stream) { stream.setstate(std::ios_base::badbit | std::ios_base::failbit); }

void Flush(std::ostream& stream) {
  if (!stream.good() || stream.rdbuf()->pubsync() == -1) {
    Fail(stream);
  }
}

// Bypasses the stream's own functions: `ostream::write` hides what its buffer throws, and a sentry
// flushes in its destructor, where an exception would end the process.
void Put(std::ostream& stream, std::string_view text) {
  if (!stream.good()) {
    Fail(stream);
    return;
  }
  if (std::ostream* const before = stream.tie()) {
    before->flush();
  }
  const auto length = static_cast<std::streamsize>(text.size());
  if (stream.rdbuf()->sputn(text.data(), length) != length) {
    Fail(stream);
  }
  if ((stream.flags() & std::ios_base::unitbuf) != 0) {
    Flush(stream);
  }
}

template <typename Key>
const std::string* FindIn(const std::map<Key, std::string>& table, Key key) {
  const auto found = table.find(key);
  return found != table.end() ? &found->second : nullptr;
}

// Names found so far. A registered name never changes or disappears, so a hit needs no lock. A miss
// is not kept: the name may be registered later.
template <typename Key, unsigned kBits>
class NameCache {
 public:
  /// @param findInTable  looks a name up under the table's lock; null when there is none
  template <typename FindInTable>
  const std::string* Find(Key key, FindInTable findInTable) {
    // Fibonacci hashing: keys are addresses, alike in their low bits.
    constexpr std::uint64_t kMultiplier = 0x9E3779B97F4A7C15U;
    Entry& entry = entries_[static_cast<std::uint64_t>(key) * kMultiplier >> (64 - kBits)];
    if (entry.name != nullptr && entry.key == key) {
      return entry.name;
    }
    const std::string* const name = findInTable();
    if (name != nullptr) {
      entry = {key, name};
    }
    return name;
  }

 private:
  struct Entry {
    Key key;
    const std::string* name;
  };
  std::array<Entry, std::size_t{1} << kBits> entries_{};
};

}  // namespace

class KLogger::Formatter {
 public:
  explicit Formatter(const KLogger& log) noexcept : log_(log) {}

  void Append(std::string& text, const KLogRecord& record, std::int64_t reference) {
    text += "% ";
    const auto event = log_.eventNames.find(record.code);
    text += event != log_.eventNames.end() ? std::string_view(event->second) : kUnknownEvent.name;
    AppendSubject(text, record);
    AppendPlace(text, record);
    AppendNumbers(text, record, reference);
  }

 private:
  // The error, the state, the message or the two values.
  void AppendSubject(std::string& text, const KLogRecord& record) {
    switch (EventOf(record.code).subject) {
      case Subject::kError:
        text += ' ';
        AppendName(text, record.value1);
        break;
      case Subject::kState:
        AppendState(text, StateKey(record.classKey, record.value1), " to ", " to state_",
                    record.value1);
        break;
      case Subject::kMessage:
        AppendState(text, record.value1, " ", " ", record.value1);
        break;
      case Subject::kValues:
        text += " (";
        AppendNumber(text, +record.value1);
        text += ", ";
        AppendNumber(text, +record.value2);
        text += ')';
        break;
      case Subject::kNothing:
        break;
    }
  }

  void AppendPlace(std::string& text, const KLogRecord& record) {
    text += " in_class ";
    AppendName(text, record.classKey);
    const std::string* const point = FindName(record.pointKey);
    if (point == nullptr && record.code == kTimingPoint) {
      text += " at_point ";
      AppendNumber(text, +record.pointKey);
    } else {
      text += " at ";
      text += point != nullptr ? std::string_view(*point) : "(unknown)";
    }
    text += " for_object ";
    AppendPointer(text, record.object);
    AppendOwnName(text, FindObject(record.object));
    if (record.threadId != 0) {
      const auto threadId = static_cast<std::int32_t>(record.threadId);
      text += " in_thread ";
      AppendNumber(text, threadId);
      AppendOwnName(text, FindThread(threadId));
    }
  }

  void AppendNumbers(std::string& text, const KLogRecord& record, std::int64_t reference) const {
    text += "\n    ";
    AppendRelativeTime(text, record.time, reference, log_.frequency);
    for (const std::int64_t number :
         {std::int64_t{record.code}, std::int64_t{record.value1}, std::int64_t{record.value2},
          std::int64_t{record.classKey}, std::int64_t{record.pointKey},
          static_cast<std::int64_t>(record.object),
          std::int64_t{static_cast<std::int32_t>(record.threadId)}}) {
      text += ", ";
      AppendNumber(text, number);
    }
  }

  void AppendName(std::string& text, std::int32_t key) {
    const std::string* const name = FindName(key);
    text += name != nullptr ? std::string_view(*name) : "(unknown)";
  }

  void AppendState(std::string& text, std::int32_t key, std::string_view beforeName,
                   std::string_view beforeNumber, std::int32_t number) {
    if (const std::string* const name = FindState(key)) {
      text += beforeName;
      text += *name;
    } else {
      text += beforeNumber;
      AppendNumber(text, number);
    }
  }

  const std::string* FindName(std::int32_t key) {
    return names_.Find(key, [&] {
      const KLockHolder lock(log_.namesLock_);
      return FindIn(log_.names, key);
    });
  }

  const std::string* FindState(std::int32_t key) {
    return states_.Find(key, [&] {
      const KLockHolder lock(log_.stateNamesLock_);
      return FindIn(log_.stateNames, key);
    });
  }

  const std::string* FindObject(std::uint64_t key) {
    return objects_.Find(key, [&] {
      const KLockHolder lock(log_.objectNamesLock_);
      return FindIn(log_.objectNames, key);
    });
  }

  const std::string* FindThread(std::int32_t key) {
    return threads_.Find(key, [&] {
      const KLockHolder lock(log_.threadNamesLock_);
      return FindIn(log_.threadNames, key);
    });
  }

  static void AppendOwnName(std::string& text, const std::string* name) {
    text += " (";
    text += name != nullptr ? std::string_view(*name) : "unknown";
    text += ')';
  }

  const KLogger& log_;
  NameCache<std::int32_t, 8> names_;
  NameCache<std::int32_t, 5> states_;
  NameCache<std::uint64_t, 5> objects_;
  NameCache<std::int32_t, 5> threads_;
};

std::string KLogger::FormatRecord(std::uint32_t index, std::int64_t reference) const {
  if (index >= capacity) {
    return "*OUT OF BOUNDS*";
  }
  std::string text;
  const KLogRecord record = ReadRecord(index);
  if (!IsEmpty(record)) {
    Formatter(*this).Append(text, record, reference);
  }
  return text;
}

std::string KLogger::FormatRelativeTime(std::int64_t t, std::int64_t reference,
                                        std::int64_t frequency) {
  std::string text;
  AppendRelativeTime(text, t, reference, frequency);
  return text;
}

void KLogger::Dump(KLogger* core, std::ostream& stream) noexcept {
  if (core == nullptr) {
    return;
  }
  try {
    core->DumpAndClear(stream);
  } catch (...) {
    // The log stays frozen; the stream's state is all that can tell the caller.
    try {
      stream.setstate(std::ios_base::badbit);
    } catch (...) {
    }
  }
}

bool KLogger::DumpToFile() {
  const std::unique_ptr<std::ostream> file =
      Velta::Platform::OpenDebugDumpFile(Velta::Platform::kDebugDumpPath);
  if (file == nullptr) {
    return false;
  }
  file->exceptions(std::ios_base::badbit);  // a full disk must not cost the records
  Dump(this, *file);
  return true;
}

KLogRecord KLogger::ReadRecord(std::uint32_t slot) const noexcept {
  std::array<std::uint64_t, KLogWords::kPerRecord> words{};
  if (records != nullptr) {
    for (std::size_t i = 0; i < words.size(); ++i) {
      words[i] = KLogWords::Load(records[KLogWords::Offset(slot) + i]);
    }
  }
  return std::bit_cast<KLogRecord>(words);
}

bool KLogger::IsEmpty(const KLogRecord& record) noexcept {
  return std::bit_cast<std::array<std::uint64_t, KLogWords::kPerRecord>>(record) ==
         std::array<std::uint64_t, KLogWords::kPerRecord>{};
}

// Records are not ordered by the counter: Write claims its slot first, and fills it after.
std::uint32_t KLogger::Disable() noexcept {
  std::uint32_t before = counter.load(std::memory_order_relaxed);
  while (!counter.compare_exchange_weak(before, before & ~1U, std::memory_order_acq_rel,
                                        std::memory_order_relaxed)) {
  }
  return before;
}

void KLogger::DumpAndClear(std::ostream& stream) {
  const std::uint32_t mask = capacity - 1;
  std::uint32_t slot = (Disable() >> 1U) & mask;
  if (IsEmpty(ReadRecord(slot))) {
    slot = 0;  // the ring has not wrapped
  }
  const std::int64_t reference = ReadRecord(slot).time;
  DumpHeader(stream, reference);

  Formatter formatter(*this);
  std::string text;
  for (std::uint32_t i = 0; i < capacity; ++i) {
    // The first pause lets writers that claimed a slot before the log was disabled finish; the
    // others spread a long dump out.
    if (i % kRecordsPerPause == 0) {
      ::Sleep(kPauseMs);
    }
    const KLogRecord record = ReadRecord(slot);
    if (IsEmpty(record)) {
      break;
    }
    text.clear();
    formatter.Append(text, record, reference);
    text += '\n';
    Put(stream, text);
    slot = (slot + 1) & mask;
  }
  Flush(stream);  // while the records are still there
  ClearAndEnable();
}

void KLogger::DumpHeader(std::ostream& stream, std::int64_t reference) const {
  std::string text = "%% Reference time: ";
  AppendRelativeTime(text, startCounter, reference, frequency);
  char wallClock[26];
  const __time64_t seconds = startWallClock.time;
  // Asked for what it cannot convert, a runtime may end the process.
  const bool convertible = seconds >= 0 && seconds <= kLastWallClock;
  if (convertible && ::_ctime64_s(wallClock, sizeof wallClock, &seconds) == 0) {
    text += " is approximately ";
    AppendNumber(text, startWallClock.millitm);
    text += "ms past ";
    text += wallClock;
  } else {
    text += " is wrong.\n";
  }
  text += "%%\n";
  Put(stream, text);
}

void KLogger::ClearAndEnable() noexcept {
  if (records != nullptr) {
    for (std::size_t i = 0; i < KLogWords::Offset(capacity); ++i) {
      // Pages that no record ever reached stay untouched.
      if (KLogWords::Load(records[i]) != 0) {
        KLogWords::Store(records[i], 0);
      }
    }
  }
  counter.store(1, std::memory_order_release);  // the clearing first: Write acquires it
}
