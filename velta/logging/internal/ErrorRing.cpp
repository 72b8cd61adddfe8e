// SPDX-License-Identifier: MIT
// How a slot is written and read at once: the sequence is odd during a write, and the words are
// stored with release and loaded with acquire. A reader that loads any word of a write thus sees
// the odd sequence, or a later one, when it looks again. No fences: the thread sanitizer does not
// know them.
#include "velta/logging/internal/ErrorRing.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <optional>

namespace Velta::Logging {
namespace {

constexpr std::size_t kTextWord = 7;

// What names and the code may take of a slot, so that parameters have room in any case.
constexpr std::size_t kMostOfName = 100;
constexpr std::size_t kMostOfCode = 240;
constexpr std::size_t kMostOfParameterName = 64;

// Less for a parameter says nothing; the last ones are rather left out.
constexpr std::size_t kLeastOfParameter = 64;

constexpr std::size_t kLengthBytes = 2;
constexpr unsigned kCutBit = 0x8000;

constexpr std::uint64_t kSearched = 16;  // newest errors: what is made is mostly thrown at once

static_assert(sizeof(std::atomic<std::uint64_t>) == sizeof(std::uint64_t));
static_assert(std::atomic<std::uint64_t>::is_always_lock_free);

std::uint64_t Join(std::uint32_t low, std::uint32_t high) noexcept {
  return low | static_cast<std::uint64_t>(high) << 32U;
}

/// Takes the first character off the text. Half of a surrogate pair stays what it is.
char32_t TakeCharacter(std::wstring_view& text) noexcept {
  auto character = static_cast<char32_t>(text.front());
  text.remove_prefix(1);
  if constexpr (sizeof(wchar_t) == 2) {
    const auto next = static_cast<char32_t>(text.empty() ? 0 : text.front());
    if (character >= 0xD800 && character <= 0xDBFF && next >= 0xDC00 && next <= 0xDFFF) {
      text.remove_prefix(1);
      character = 0x10000 + ((character - 0xD800) << 10U) + (next - 0xDC00);
    }
  }
  return character <= 0x10FFFF ? character : U'\xFFFD';
}

/// Encodes a character into four bytes of room; @return how many it took
std::size_t Encode(char32_t character, char* bytes) noexcept {
  if (character < 0x80) {
    *bytes = static_cast<char>(character);
    return 1;
  }
  const unsigned following = character < 0x800 ? 1 : character < 0x10000 ? 2 : 3;
  *bytes = static_cast<char>((0xFF00U >> (following + 1) & 0xFFU) | character >> 6 * following);
  for (unsigned i = 1; i <= following; ++i) {
    bytes[i] = static_cast<char>(0x80U | (character >> 6 * (following - i) & 0x3FU));
  }
  return following + 1;
}

/// The text of a slot while it is put together.
class TextWriter {
 public:
  [[nodiscard]] std::size_t Length() const noexcept { return length_; }
  [[nodiscard]] std::size_t Room() const noexcept { return bytes_.size() - length_; }

  /// Appends a text and its length, `most` bytes in all. It is cut between two characters.
  void Append(std::wstring_view text, std::size_t most) noexcept {
    const std::size_t end = length_ + (std::min)(most, Room());
    const std::size_t begin = length_ + kLengthBytes;
    if (begin > end) {
      return;
    }
    std::size_t at = begin;
    bool isCut = false;
    while (!text.empty() && at < end && static_cast<char32_t>(text.front()) < 0x80) {  // most texts
      bytes_[at++] = static_cast<char>(text.front());
      text.remove_prefix(1);
    }
    while (!text.empty() && !isCut) {
      char character[4];
      const std::size_t size = Encode(TakeCharacter(text), character);
      isCut = size > end - at;
      if (!isCut) {
        std::memcpy(&bytes_[at], character, size);
        at += size;
      }
    }
    const auto length = static_cast<unsigned>(at - begin) | (isCut ? kCutBit : 0U);
    bytes_[length_] = static_cast<char>(length & 0xFFU);
    bytes_[length_ + 1] = static_cast<char>(length >> 8U);
    length_ = at;
  }

  void AppendAll(const ErrorTexts& texts) noexcept {
    const auto view = [](const wchar_t* name) {
      return name != nullptr ? std::wstring_view(name) : std::wstring_view();
    };
    Append(view(texts.className), kMostOfName);
    Append(view(texts.operationName), kMostOfName);
    Append(texts.code, kMostOfCode);
    // Each parameter has its share of the room; what one does not need is for those after it.
    std::size_t left = texts.parameters.size();
    for (const auto& [name, value] : texts.parameters) {
      const std::size_t share = (std::min)((std::max)(Room() / left--, kLeastOfParameter), Room());
      if (share < kLeastOfParameter) {
        return;
      }
      const std::size_t end = length_ + share;
      Append(name, kMostOfParameterName - kLengthBytes);
      Append(value, end - length_);
    }
  }

  [[nodiscard]] std::uint64_t Word(std::size_t index) const noexcept {
    std::uint64_t word = 0;
    std::memcpy(&word, &bytes_[index * sizeof word], sizeof word);
    return word;
  }

 private:
  std::array<char, kErrorTextBytes> bytes_{};
  std::size_t length_ = 0;
};

// Not in the head, so that they take no room in the file: pages that no error reaches stay
// untouched.
constinit ErrorRing::Slots processSlots{};
constinit ErrorRing processRing(processSlots);

}  // namespace

std::optional<KeptText> KeptError::NextText() noexcept {
  if (textLength_ - textRead_ < kLengthBytes) {
    return std::nullopt;
  }
  const auto byte = [this](std::size_t at) { return static_cast<unsigned char>(text_[at]); };
  const unsigned stored = byte(textRead_) | static_cast<unsigned>(byte(textRead_ + 1)) << 8U;
  const std::size_t length = stored & (kCutBit - 1U);
  if (length > textLength_ - textRead_ - kLengthBytes) {
    return std::nullopt;
  }
  const KeptText text{{&text_[textRead_] + kLengthBytes, length}, (stored & kCutBit) != 0};
  textRead_ += kLengthBytes + length;
  return text;
}

ErrorRing& ErrorRing::Instance() noexcept { return processRing; }

// Relaxed: all threads store the same three values, and who reads them has stored them itself.
void ErrorRing::SetClock(const ErrorClock& clock) noexcept {
  head_.startCounter.store(clock.startCounter, std::memory_order_relaxed);
  head_.frequency.store(clock.frequency, std::memory_order_relaxed);
  head_.startMs.store(clock.startMs, std::memory_order_relaxed);
}

ErrorClock ErrorRing::Clock() const noexcept {
  return {.startCounter = head_.startCounter.load(std::memory_order_relaxed),
          .frequency = head_.frequency.load(std::memory_order_relaxed),
          .startMs = head_.startMs.load(std::memory_order_relaxed)};
}

void ErrorRing::Keep(const ErrorFacts& facts, const ErrorTexts& texts) noexcept {
  TextWriter text;
  text.AppendAll(texts);
  const auto count =
      static_cast<std::uint32_t>((std::min)(texts.parameters.size(), std::size_t{0xFFFF}));

  const std::uint64_t number = head_.kept.fetch_add(1, std::memory_order_acq_rel);
  ErrorSlot& slot = SlotOf(number);
  std::uint64_t before = slot[0].load(std::memory_order_relaxed);
  // One writer at a time: two would leave a mixture that nothing shows.
  if (before % 2 != 0 || before > 2 * number ||
      !slot[0].compare_exchange_strong(before, 2 * number + 1, std::memory_order_acq_rel,
                                       std::memory_order_relaxed)) {
    return;
  }
  const std::uint64_t fixed[] = {
      static_cast<std::uint64_t>(facts.time),
      facts.object,
      Join(facts.threadId, static_cast<std::uint32_t>(facts.line)),
      Join(facts.record, static_cast<std::uint32_t>(facts.event)),
      Join(static_cast<std::uint32_t>(facts.classKey), static_cast<std::uint32_t>(facts.pointKey)),
      Join(static_cast<std::uint32_t>(facts.errorKey),
           static_cast<std::uint32_t>(text.Length()) | count << 16U)};
  std::size_t at = 1;
  for (const std::uint64_t word : fixed) {
    slot[at++].store(word, std::memory_order_release);
  }
  for (std::size_t i = 0; i * sizeof(std::uint64_t) < text.Length(); ++i) {
    slot[at++].store(text.Word(i), std::memory_order_release);
  }
  slot[0].store(2 * number + 2, std::memory_order_release);
}

bool ErrorRing::Read(std::uint64_t number, KeptError& error) const noexcept {
  const ErrorSlot& slot = SlotOf(number);
  const std::uint64_t sequence = 2 * number + 2;
  if (slot[0].load(std::memory_order_acquire) != sequence) {
    return false;
  }
  std::array<std::uint64_t, kErrorSlotWords> words;
  for (std::size_t i = 1; i < words.size(); ++i) {
    words[i] = slot[i].load(std::memory_order_acquire);
  }
  if (slot[0].load(std::memory_order_relaxed) != sequence) {
    return false;
  }
  const auto low = [&](std::size_t i) { return static_cast<std::uint32_t>(words[i]); };
  const auto high = [&](std::size_t i) { return static_cast<std::uint32_t>(words[i] >> 32U); };
  error.number = number;
  error.facts = {.time = static_cast<std::int64_t>(words[1]),
                 .object = words[2],
                 .threadId = low(3),
                 .line = static_cast<std::int32_t>(high(3)),
                 .record = low(4),
                 .event = static_cast<std::int32_t>(high(4)),
                 .classKey = static_cast<std::int32_t>(low(5)),
                 .pointKey = static_cast<std::int32_t>(high(5)),
                 .errorKey = static_cast<std::int32_t>(low(6))};
  error.parameterCount = high(6) >> 16U;
  error.textLength_ = (std::min)(std::size_t{high(6) & 0xFFFFU}, kErrorTextBytes);
  error.textRead_ = 0;
  std::memcpy(error.text_.data(), &words[kTextWord], kErrorTextBytes);
  return true;
}

std::optional<std::uint32_t> ErrorRing::ParametersOf(const ErrorFacts& facts) const noexcept {
  const std::uint64_t next = Next();
  for (std::uint64_t i = 1; i <= (std::min)(next, kSearched); ++i) {
    const ErrorSlot& slot = SlotOf(next - i);
    const std::uint64_t sequence = 2 * (next - i) + 2;
    if (slot[0].load(std::memory_order_acquire) != sequence) {
      continue;
    }
    const std::uint64_t time = slot[1].load(std::memory_order_acquire);
    const auto threadId = static_cast<std::uint32_t>(slot[3].load(std::memory_order_acquire));
    const auto record = static_cast<std::uint32_t>(slot[4].load(std::memory_order_acquire));
    const std::uint64_t sizes = slot[6].load(std::memory_order_acquire);
    if (time == static_cast<std::uint64_t>(facts.time) && threadId == facts.threadId &&
        record == facts.record && slot[0].load(std::memory_order_relaxed) == sequence) {
      return static_cast<std::uint32_t>(sizes >> 48U);
    }
  }
  return std::nullopt;
}

}  // namespace Velta::Logging
