// SPDX-License-Identifier: MIT
#pragma once

#include "velta/errors/MError.h"
#include "velta/platform/Api.h"
#include "velta/text/MString.h"

#include <cstdint>
#include <exception>
#include <list>

class IInFilerTagged;
class IOutFilerTagged;

VELTA_EXPORTS_BEGIN

/// The one exception type that the framework throws: a chain of errors, the oldest first and the
/// one raised last at the end.
///
/// Throw by value, catch by reference. The texts are in the errors (`GetError`,
/// `MError::GetMessage`), never in `what()`. It holds clones of its own: nothing is shared with the
/// errors it was built from or with its copies.
///
/// Threads: one at a time. To hand one to another thread, copy it.
class VELTA_API MException : public std::exception {
 public:
  /// An empty chain.
  MException();

  /// A chain of the causes that `error` carries and `error` itself (`AddErrorWithCause`).
  explicit MException(const MError& error);

  /// Clones every error of `other`.
  MException(const MException& other);

  /// Takes over the chain of `other`.
  MException& operator=(MException other) noexcept;

  ~MException() override;

  /// "Unknown exception", with every C++ runtime.
  const char* what() const noexcept override;

  /// Appends a clone of `error`; a null entry when there is no memory for the clone.
  ///
  /// Errors: `std::length_error` "list<T> too long", `std::bad_alloc`.
  void AddError(const MError& error);

  /// Appends the causes that `error` carries (`MError::GetCauseChain`), then `error` itself. Causes
  /// that cannot be read are left out.
  ///
  /// Errors: as `AddError`.
  void AddErrorWithCause(const MError& error);

  /// The number of entries, null ones included.
  std::int32_t GetErrorCount() const noexcept;

  /// The entry at `index`, counted from 0, oldest first; owned by the chain.
  ///
  /// Null when there is no such entry, or when its clone could not be allocated.
  const MError* GetError(std::int32_t index) const noexcept;

  /// Empties the chain.
  void Clear() noexcept;

  /// Exchanges the chains.
  void Swap(MException& other) noexcept;

  /// Writes an element named `tag` with one "Error" element for each error.
  ///
  /// @return whether everything was written; an element once begun is ended in any case
  [[nodiscard]] bool Write(IOutFilerTagged& filer, const MString& tag) const;

  /// Replaces the chain by the "Error" elements of the element in which `filer` stands.
  ///
  /// Unlike `Write` it neither enters nor leaves an element of its own: the caller does, and `tag`
  /// is not used. Reading stops at the first child that is not a readable "Error", and after an
  /// error with an incomplete parameter, in which `filer` is then left (`MError::Read`).
  /// @return true, also when there is no "Error" at all
  [[nodiscard]] bool Read(IInFilerTagged& filer, const MString& tag);

 private:
  std::list<MError*>* errors_;  // owned, with its elements; never null
};

VELTA_EXPORTS_END
