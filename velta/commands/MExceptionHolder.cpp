// SPDX-License-Identifier: MIT
#include "velta/commands/MExceptionHolder.h"

#include <atomic>
#include <memory>
#include <new>
#include <utility>

MExceptionHolder MExceptionHolder::Create() {
  std::unique_ptr<MException> exception;
  try {
    exception = std::make_unique<MException>();
  } catch (const std::bad_alloc&) {
    MErrorOutOfMemory::Throw();
  }
  auto* const record = new (std::nothrow) Record{std::move(exception), 1};
  if (record == nullptr) {
    MErrorOutOfMemory::Throw();
  }
  return MExceptionHolder(record);
}

MExceptionHolder::MExceptionHolder(const MExceptionHolder& other) noexcept
    : record_(other.record_) {
  if (record_ != nullptr) {
    record_->referenceCount.fetch_add(1, std::memory_order_relaxed);  // `other` keeps it alive
  }
}

MExceptionHolder::MExceptionHolder(MExceptionHolder&& other) noexcept
    : record_(std::exchange(other.record_, nullptr)) {}

MExceptionHolder& MExceptionHolder::operator=(MExceptionHolder other) noexcept {
  std::swap(record_, other.record_);
  return *this;
}

MExceptionHolder::~MExceptionHolder() {
  // Releases what this reference saw, and sees what all others released, before it deletes.
  if (record_ != nullptr && record_->referenceCount.fetch_sub(1, std::memory_order_acq_rel) == 1) {
    delete record_;
  }
}

const MException* MExceptionHolder::GetException() const noexcept {
  return record_ != nullptr ? record_->exception.get() : nullptr;
}

bool MExceptionHolder::HasError() const noexcept {
  return record_ != nullptr && record_->exception->GetErrorCount() > 0;
}

void MExceptionHolder::ThrowIfError() const {
  if (HasError()) {
    throw MException(*record_->exception);
  }
}

void MExceptionHolder::Reset() const noexcept {
  if (record_ != nullptr) {
    record_->exception->Clear();
  }
}

void MExceptionHolder::Store(MException& exception) const noexcept {
  if (record_ == nullptr) {
    return;
  }
  // A copy leaves out what could not be cloned: an empty one would tell of success.
  MException& stored = *record_->exception;
  try {
    MException copy(exception);
    stored.Swap(copy.GetErrorCount() == exception.GetErrorCount() ? copy : exception);
  } catch (const std::bad_alloc&) {
    stored.Swap(exception);
  }
}
