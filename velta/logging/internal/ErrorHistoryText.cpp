// SPDX-License-Identifier: MIT
#include "velta/logging/internal/ErrorHistoryText.h"

#include <algorithm>
#include <charconv>
#include <concepts>
#include <cstdint>
#include <cstdio>
#include <ios>
#include <optional>
#include <ostream>
#include <streambuf>
#include <string_view>

namespace Velta::Logging {
namespace {

/// A sequence of UTF-8 that must not stand in a line as it is: it would break the line, looks like
/// an escape, or is half of a surrogate pair and so no UTF-8 at all. Not the backslash: file names
/// are what one looks for.
struct Escaped {
  std::uint32_t character;
  std::size_t length;  // 0: nothing to escape
};

Escaped EscapedAt(std::string_view text) noexcept {
  const auto byte = [text](std::size_t at) -> std::uint32_t {
    return at < text.size() ? static_cast<unsigned char>(text[at]) : 0U;
  };
  if (byte(0) < 0x20 || byte(0) == 0x7F || text.starts_with("%{")) {
    return {byte(0), 1};
  }
  if (byte(0) == 0xC2 && byte(1) < 0xA0) {  // C1 controls
    return {byte(1), 2};
  }
  if (byte(0) == 0xE2 && byte(1) == 0x80 && (byte(2) == 0xA8 || byte(2) == 0xA9)) {
    return {0x2000 | (byte(2) & 0x3FU), 3};  // line and paragraph separators
  }
  if (byte(0) == 0xED && byte(1) >= 0xA0) {
    return {0xD000 | (byte(1) & 0x3FU) << 6U | (byte(2) & 0x3FU), 3};
  }
  return {0, 0};
}

/// Lines on their way to a stream.
///
/// Bypasses the stream's own functions: those hide what its buffer throws, and a sentry flushes in
/// its destructor.
class LineWriter {
 public:
  explicit LineWriter(std::ostream& stream) noexcept : stream_(stream) {}
  LineWriter(const LineWriter&) = delete;
  LineWriter& operator=(const LineWriter&) = delete;

  LineWriter& Text(std::string_view text) {
    while (!text.empty()) {
      const std::size_t size = (std::min)(text.size(), sizeof bytes_ - length_);
      length_ += text.copy(bytes_ + length_, size);
      text.remove_prefix(size);
      if (length_ == sizeof bytes_) {
        Empty();
      }
    }
    return *this;
  }

  LineWriter& Number(std::integral auto number, int base = 10) {
    char digits[24] = {};
    return Text({digits, std::to_chars(digits, digits + sizeof digits, number, base).ptr});
  }

  LineWriter& Address(std::uint64_t address) {
    char digits[16];
    for (unsigned i = 0; i < 16; ++i) {
      digits[i] = "0123456789ABCDEF"[address >> (60 - 4 * i) & 0xFU];
    }
    return Text({digits, sizeof digits});
  }

  /// A line "key text", or "key-cut text".
  void Line(std::string_view key, const KeptText& text) {
    Text(key).Text(text.isCut ? "-cut " : " ");
    std::string_view rest = text.bytes;
    for (std::size_t at = 0; at < rest.size();) {
      const Escaped escaped = EscapedAt(rest.substr(at));
      if (escaped.length == 0) {
        ++at;
        continue;
      }
      Text(rest.substr(0, at));
      rest.remove_prefix((std::min)(at + escaped.length, rest.size()));
      at = 0;
      Text("%{").Number(escaped.character, 16).Text("}");
    }
    Text(rest).Text("\n");
  }

  void Flush() {
    Empty();
    if (stream_.rdbuf()->pubsync() == -1) {
      hasFailed_ = true;
    }
  }

  [[nodiscard]] bool HasFailed() const noexcept { return hasFailed_; }

 private:
  void Empty() {
    const auto length = static_cast<std::streamsize>(length_);
    length_ = 0;
    if (!hasFailed_ && stream_.rdbuf()->sputn(bytes_, length) != length) {
      hasFailed_ = true;
    }
  }

  std::ostream& stream_;
  bool hasFailed_ = false;
  std::size_t length_ = 0;
  char bytes_[4096] = {};
};

constexpr KeptText kNothing{{}, true};  // a text for which there was no room

void WriteError(KeptError& error, LineWriter& lines) {
  const ErrorFacts& facts = error.facts;
  lines.Text("error ").Number(error.number);
  if (facts.record != kNoRecord) {
    lines.Text("\nrecord ").Number(facts.record).Text(" ").Number(facts.event);
    lines.Text(" ").Number(facts.errorKey).Text(" ").Number(facts.classKey);
    lines.Text(" ").Number(facts.pointKey);
  }
  lines.Text("\ntime ").Number(facts.time);
  // The sign is the dump's.
  lines.Text("\nthread ").Number(static_cast<std::int32_t>(facts.threadId));
  lines.Text("\nline ").Number(facts.line);
  lines.Text("\nobject ").Address(facts.object).Text("\n");
  lines.Line("class", error.NextText().value_or(kNothing));
  lines.Line("operation", error.NextText().value_or(kNothing));
  lines.Line("code", error.NextText().value_or(kNothing));
  std::uint32_t written = 0;
  while (const std::optional<KeptText> name = error.NextText()) {
    lines.Line("parameter", *name);
    lines.Line("value", error.NextText().value_or(kNothing));
    ++written;
  }
  if (written < error.parameterCount) {
    lines.Text("left-out ").Number(error.parameterCount - written).Text("\n");
  }
}

bool Write(const ErrorRing& ring, std::ostream& stream) {
  if (!stream.good() || stream.rdbuf() == nullptr) {
    return false;
  }
  LineWriter lines(stream);
  const ErrorClock clock = ring.Clock();
  lines.Text("velta-errors 1\nmade ").Number(clock.startMs);
  lines.Text("\nfrequency ").Number(clock.frequency);
  lines.Text("\nstart ").Number(clock.startCounter).Text("\n");
  const std::uint64_t next = ring.Next();
  std::uint32_t count = 0;
  KeptError error;
  for (std::uint64_t number = next - (std::min)(next, std::uint64_t{ErrorRing::kCapacity});
       number < next; ++number) {
    if (ring.Read(number, error)) {
      WriteError(error, lines);
      ++count;
    }
  }
  lines.Text("end ").Number(count).Text(" of ").Number(next).Text("\n");
  lines.Flush();
  return !lines.HasFailed();
}

}  // namespace

bool WriteErrorHistory(const ErrorRing& ring, std::ostream& stream) noexcept {
  bool isWritten = false;
  try {
    isWritten = Write(ring, stream);
  } catch (...) {
  }
  if (!isWritten) {
    try {
      stream.setstate(std::ios_base::badbit);
    } catch (...) {
    }
  }
  return isWritten;
}

}  // namespace Velta::Logging
