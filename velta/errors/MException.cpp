// SPDX-License-Identifier: MIT
#include "velta/errors/MException.h"

#include "velta/errors/internal/CauseChain.h"
#include "velta/errors/internal/ChainLimit.h"
#include "velta/logging/ClassNameRegistration.h"
#include "velta/serialisation/IInFilerTagged.h"
#include "velta/serialisation/IOutFilerTagged.h"

#include <utility>

namespace {

const wchar_t ClassName[] = L"MException";
const Velta::Logging::ClassNameRegistration registration(ClassName);

}  // namespace

MException::MException() : errors_(new std::list<MError*>) {}

// Each of these begins as an empty chain, so that one that fails half-way is destroyed as a whole.

MException::MException(const MError& error) : MException() { AddErrorWithCause(error); }

MException::MException(const MException& other) : MException() {
  for (const MError* error : *other.errors_) {
    if (error != nullptr) {
      AddError(*error);
    }
  }
}

MException& MException::operator=(MException other) noexcept {
  Swap(other);
  return *this;
}

MException::~MException() {
  Clear();
  delete errors_;
}

const char* MException::what() const noexcept { return "Unknown exception"; }

void MException::AddError(const MError& error) {
  Velta::Errors::RequireRoomInChain(errors_->size(), errors_->max_size());
  errors_->push_back(nullptr);  // first the entry: a clone without one would leak
  errors_->back() = error.Clone();
}

void MException::AddErrorWithCause(const MError& error) {
  const MString text = error.GetCauseChain();
  if (!text.empty()) {
    MException causes;
    if (Velta::Errors::ReadCauseChain(text, &causes)) {
      for (const MError* cause : *causes.errors_) {
        if (cause != nullptr) {
          AddError(*cause);
        }
      }
    }
  }
  AddError(error);
}

std::int32_t MException::GetErrorCount() const noexcept {
  return static_cast<std::int32_t>(errors_->size());
}

const MError* MException::GetError(std::int32_t index) const noexcept {
  if (index < 0) {
    return nullptr;
  }
  for (const MError* error : *errors_) {
    if (index-- == 0) {
      return error;
    }
  }
  return nullptr;
}

void MException::Clear() noexcept {
  for (const MError* error : *errors_) {
    delete error;
  }
  errors_->clear();
}

void MException::Swap(MException& other) noexcept { std::swap(errors_, other.errors_); }

bool MException::Write(IOutFilerTagged& filer, const MString& tag) const {
  if (!filer.BeginGroup(tag)) {
    return false;
  }
  bool written = true;
  for (const MError* error : *errors_) {
    written = written && (error == nullptr || error->Write(filer, L"Error"));
  }
  return filer.EndGroup() && written;
}

bool MException::Read(IInFilerTagged& filer, const MString& /*tag*/) {
  Clear();
  for (;;) {
    MError error;
    if (!error.Read(filer, L"Error")) {
      return true;
    }
    AddError(error);
    if (filer.HasUniqueGroupNames()) {
      return true;  // there is no second, only the same again
    }
  }
}
