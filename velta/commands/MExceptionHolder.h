// SPDX-License-Identifier: MIT
#pragma once

#include "velta/errors/MException.h"
#include "velta/platform/Api.h"

#include <atomic>
#include <cstdint>
#include <memory>

/// A shared reference to the outcome of a synchronous command: an `MException`, empty for success.
///
/// The caller creates one, gives a copy to the command and keeps its own; once
/// `MCommandProcessor::ExecuteSynchronously` has returned normally, it asks its own for the
/// outcome.
///
/// Threads: references to one holder may be copied and released on any threads. The outcome itself
/// is written by the processor before the caller is woken and is read by the caller after that.
class VELTA_API MExceptionHolder {
 public:
  /// Refers to nothing: the outcome is not reported.
  MExceptionHolder() noexcept = default;

  /// A new holder with an empty exception.
  ///
  /// Errors: an `MException` holding an `MErrorOutOfMemory`.
  [[nodiscard]] static MExceptionHolder Create();

  MExceptionHolder(const MExceptionHolder& other) noexcept;
  MExceptionHolder(MExceptionHolder&& other) noexcept;
  MExceptionHolder& operator=(MExceptionHolder other) noexcept;
  ~MExceptionHolder();

  /// Whether this refers to a holder.
  explicit operator bool() const noexcept { return record_ != nullptr; }

  /// The outcome; null when this refers to nothing.
  const MException* GetException() const noexcept;

  /// Whether the outcome holds an error. An empty `MException` that a command threw does not.
  bool HasError() const noexcept;

  /// Throws a copy of the outcome if it is an error.
  void ThrowIfError() const;

  /// Makes the outcome an empty exception again. No effect when this refers to nothing.
  void Reset() const noexcept;

  /// Makes the outcome a copy of `exception`; when there is no memory for one, its chain is taken
  /// over instead. No effect when this refers to nothing.
  void Store(MException& exception) const noexcept;

 private:
  struct Record {
    std::unique_ptr<MException> exception;
    std::atomic<std::int32_t> referenceCount;
  };

  explicit MExceptionHolder(Record* record) noexcept : record_(record) {}

  Record* record_ = nullptr;
};
