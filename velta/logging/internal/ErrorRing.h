// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

/// The last errors that had parameters, beside the log's ring of numbers.
///
/// One for each copy of the framework, constant-initialised: it may be used before the first static
/// initialiser and after the last destructor. Writing takes no lock and no memory and never throws.
/// A thread that dies within a write leaves its slot unusable; all others go on.
///
/// The layout in memory is stable, so that it can be found in the memory of a process that has
/// ended: a head (`ErrorRingHead`) that begins with a magic number, and the slots that it points
/// to. A slot is 128 little-endian words of 64 bits:
///
///     0      sequence: 0 never written; 2n+1 while the nth error (from 0) is written; 2n+2 after
///     1      time: counter value, in ticks
///     2      address of the object
///     3      thread id | source line << 32
///     4      number of the log's record, or `kNoRecord` | event code, or 0 << 32
///     5      key of the class | key of the operation << 32
///     6      key of the error's name | bytes of text << 32 | parameters in all << 48
///     7-127  text: class, operation, code, then name and value of each parameter. Each is 16 bits
///            of length, the highest set if it was cut, and UTF-8, in which half a surrogate pair
///            has its three bytes as any character has
namespace Velta::Logging {

/// Stands for the number of a record that the log does not hold.
inline constexpr std::uint32_t kNoRecord = 0xFFFFFFFF;

/// What stands in a slot beside its text.
struct ErrorFacts {
  std::int64_t time = 0;             ///< of the log's record, or of the throw
  std::uint64_t object = 0;          ///< as the record has it; likewise what follows
  std::uint32_t threadId = 0;        ///< never 0
  std::int32_t line = 0;             ///< source line
  std::uint32_t record = kNoRecord;  ///< records in the log before this error's, modulo 2^31
  std::int32_t event = 0;            ///< the record's code; 0 without one
  std::int32_t classKey = 0;
  std::int32_t pointKey = 0;
  std::int32_t errorKey = 0;  ///< 0 without a record
};

/// What a writer hands over. A null name is an empty one.
struct ErrorTexts {
  const wchar_t* className;
  const wchar_t* operationName;
  std::wstring_view code;
  const std::map<std::wstring, std::wstring>& parameters;
};

inline constexpr std::size_t kErrorSlotWords = 128;
inline constexpr std::size_t kErrorTextBytes = (kErrorSlotWords - 7) * sizeof(std::uint64_t);

using ErrorSlot = std::array<std::atomic<std::uint64_t>, kErrorSlotWords>;

/// A text of a slot, as far as it was kept.
struct KeptText {
  std::string_view bytes;
  bool isCut;
};

/// A copy of a slot, whole.
class KeptError {
 public:
  std::uint64_t number = 0;          ///< of this error among all that were kept, from 0
  std::uint32_t parameterCount = 0;  ///< in all; the texts may hold fewer
  ErrorFacts facts;

  /// The next text, in the slot's order; none after the last, or where a length is wrong.
  [[nodiscard]] std::optional<KeptText> NextText() noexcept;

 private:
  friend class ErrorRing;

  std::array<char, kErrorTextBytes> text_{};
  std::size_t textLength_ = 0;
  std::size_t textRead_ = 0;
};

/// How the errors' counter values are to be read.
struct ErrorClock {
  std::int64_t startCounter;  ///< counter value when the log was made, in ticks
  std::int64_t frequency;     ///< ticks per second
  std::int64_t startMs;       ///< the same moment as wall-clock time, in milliseconds since 1970
};

struct ErrorRingHead {
  char magic[8];                           ///< "VeltaErr"
  std::uint32_t version;                   ///< of the layout: 1
  std::uint32_t slotCount;                 ///< 256
  std::uint32_t slotSize;                  ///< in bytes: 1024
  std::uint32_t reserved;                  ///< 0
  std::atomic<std::uint64_t> kept;         ///< errors so far; the next one's number
  std::atomic<std::int64_t> startCounter;  ///< counter value when the log was made, in ticks
  std::atomic<std::int64_t> frequency;     ///< ticks per second; 0 before the first error
  std::atomic<std::int64_t> startMs;       ///< the same moment, in milliseconds since 1970
  ErrorSlot* slots;
};

class ErrorRing {
 public:
  static constexpr std::size_t kCapacity = 256;

  using Slots = std::array<ErrorSlot, kCapacity>;

  /// An empty ring in these slots, which must be zero and outlive it.
  constexpr explicit ErrorRing(Slots& slots) noexcept
      : head_{.magic = {'V', 'e', 'l', 't', 'a', 'E', 'r', 'r'},
              .version = 1,
              .slotCount = kCapacity,
              .slotSize = sizeof(ErrorSlot),
              .reserved = 0,
              .kept = 0,
              .startCounter = 0,
              .frequency = 0,
              .startMs = 0,
              .slots = slots.data()} {}
  ErrorRing(const ErrorRing&) = delete;
  ErrorRing& operator=(const ErrorRing&) = delete;

  /// The process's own.
  [[nodiscard]] static ErrorRing& Instance() noexcept;

  /// Keeps an error in place of the oldest. It is lost if another thread, overtaken by a whole
  /// round, still writes that slot.
  void Keep(const ErrorFacts& facts, const ErrorTexts& texts) noexcept;

  /// Never changes within a process: the log has one beginning.
  void SetClock(const ErrorClock& clock) noexcept;
  [[nodiscard]] ErrorClock Clock() const noexcept;

  /// The number that the next error gets.
  [[nodiscard]] std::uint64_t Next() const noexcept {
    return head_.kept.load(std::memory_order_acquire);
  }

  /// Copies the error of that number.
  ///
  /// @return false if it has been overwritten, was lost, or is being written
  [[nodiscard]] bool Read(std::uint64_t number, KeptError& error) const noexcept;

  /// How many parameters are known of the error that belongs to a record; only the last few errors
  /// are searched.
  [[nodiscard]] std::optional<std::uint32_t> ParametersOf(const ErrorFacts& facts) const noexcept;

 private:
  [[nodiscard]] ErrorSlot& SlotOf(std::uint64_t number) const noexcept {
    return head_.slots[number % kCapacity];
  }

  ErrorRingHead head_;
};

}  // namespace Velta::Logging
