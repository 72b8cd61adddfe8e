// SPDX-License-Identifier: MIT
#include "velta/errors/MError.h"

#include "velta/errors/MException.h"
#include "velta/errors/internal/NewOrNull.h"
#include "velta/logging/ClassNameRegistration.h"
#include "velta/serialisation/IInFilerTagged.h"
#include "velta/serialisation/IOutFilerTagged.h"
#include "velta/text/internal/DecimalText.h"

#include <new>
#include <utility>

namespace {

const wchar_t ClassName[] = L"MError";
const wchar_t OutOfMemoryClassName[] = L"MErrorOutOfMemory";
const Velta::Logging::ClassNameRegistration registration(ClassName);
const Velta::Logging::ClassNameRegistration outOfMemoryRegistration(OutOfMemoryClassName);

}  // namespace

const MClassInfo MError::ClassInfo = {ClassName, &MDynObject::ClassInfo};
const MClassInfo MErrorOutOfMemory::ClassInfo = {OutOfMemoryClassName, &MError::ClassInfo};

const MClassInfo MErrorInternal = {L"MErrorInternal", &MError::ClassInfo};
const MClassInfo MErrorDivisionByZero = {L"MErrorDivisionByZero", &MError::ClassInfo};
const MClassInfo MErrorBadInput = {L"MErrorBadInput", &MError::ClassInfo};
const MClassInfo MErrorUserEscape = {L"MErrorUserEscape", &MError::ClassInfo};

namespace {

const Velta::Logging::ClassNameRegistration kindRegistrations[] = {
    Velta::Logging::ClassNameRegistration(MErrorInternal.className),
    Velta::Logging::ClassNameRegistration(MErrorDivisionByZero.className),
    Velta::Logging::ClassNameRegistration(MErrorBadInput.className),
    Velta::Logging::ClassNameRegistration(MErrorUserEscape.className)};

}  // namespace

MError::MError() = default;
MError::MError(const MString& code) : code_(code) {}
MError::MError(const MError& other) = default;
MError& MError::operator=(const MError& other) = default;
MError::~MError() = default;

const MClassInfo& MError::GetClassInfo() const noexcept { return ClassInfo; }

MError* MError::Clone() const noexcept { return Velta::Errors::NewOrNull<MError>(*this); }

MError* MError::CreateNew() const noexcept { return Velta::Errors::NewOrNull<MError>(); }

bool MError::Read(IInFilerTagged& filer, const MString& tag) {
  if (!filer.BeginGroup(tag)) {
    return false;
  }
  code_.clear();
  parameters_.clear();
  if (!filer.ReadString(L"Code", &code_, MString())) {
    static_cast<void>(filer.EndGroup());
    return false;
  }
  ReadParameters(filer);
  return filer.EndGroup();
}

void MError::ReadParameters(IInFilerTagged& filer) {
  // Where a name has one group, the first parameter would be found again without end. There the
  // group begins even when it does not exist, so it must be left.
  const bool onlyOne = filer.HasUniqueGroupNames();
  while (filer.BeginGroup(L"Parameter")) {
    MString name;
    MString value;
    // Nothing after an incomplete parameter is read, so it is not left: the next `EndGroup`, meant
    // for the error, leaves only the parameter.
    const bool complete = filer.ReadString(L"Name", &name, MString()) &&
                          filer.ReadString(L"Value", &value, MString());
    if ((complete || onlyOne) && !filer.EndGroup()) {
      return;
    }
    if (complete) {
      Insert(std::move(name), std::move(value));
    }
    if (!complete || onlyOne) {
      return;
    }
  }
}

bool MError::Write(IOutFilerTagged& filer, const MString& tag) const {
  if (!filer.BeginGroup(tag)) {
    return false;
  }
  bool written = filer.WriteString(L"Code", code_);
  for (auto parameter = parameters_.begin(); written && parameter != parameters_.end();
       ++parameter) {
    written = filer.BeginGroup(L"Parameter");
    if (written) {
      written = filer.WriteString(L"Name", parameter->first) &&
                filer.WriteString(L"Value", parameter->second);
      written = filer.EndGroup() && written;
    }
  }
  return filer.EndGroup() && written;
}

MString MError::GetMessage() const { return code_.empty() ? MString(L"Unspecified error") : code_; }

MString MError::GetCauseChain() const { return MString(); }

void MError::AddParameter(const wchar_t* name, const MString& value) {
  Insert(name != nullptr ? name : L"", MString(value));
}

void MError::AddParameter(const wchar_t* name, std::int32_t value) {
  AddParameter(name, Velta::Text::DecimalText(value));
}

void MError::AddParameter(const wchar_t* name, std::uint32_t value, bool hexadecimal) {
  AddParameter(name,
               hexadecimal ? Velta::Text::HexadecimalText(value) : Velta::Text::DecimalText(value));
}

void MError::AddHexadecimal(const wchar_t* name, std::uint64_t value) {
  AddParameter(name, Velta::Text::HexadecimalText(value));
}

void MError::AddParameter(const MErrorParameter& parameter) {
  Insert(MString(parameter.name_), MString(parameter.text_));
  if (!parameter.message_.empty()) {
    Insert(parameter.messageName_, MString(parameter.message_));
  }
}

void MError::Insert(MString&& name, MString&& value) {
  parameters_.try_emplace(std::move(name), std::move(value));
}

MErrorOutOfMemory::MErrorOutOfMemory() = default;
MErrorOutOfMemory::MErrorOutOfMemory(const MErrorOutOfMemory& other) = default;
MErrorOutOfMemory& MErrorOutOfMemory::operator=(const MErrorOutOfMemory& other) = default;
MErrorOutOfMemory::~MErrorOutOfMemory() = default;

const MClassInfo& MErrorOutOfMemory::GetClassInfo() const noexcept { return ClassInfo; }

MErrorOutOfMemory* MErrorOutOfMemory::Clone() const noexcept {
  return Velta::Errors::NewOrNull<MErrorOutOfMemory>(*this);
}

MErrorOutOfMemory* MErrorOutOfMemory::CreateNew() const noexcept {
  return Velta::Errors::NewOrNull<MErrorOutOfMemory>();
}

MString MErrorOutOfMemory::GetMessage() const { return L"Out of memory"; }

void MErrorOutOfMemory::Throw() {
  const MErrorOutOfMemory error;
  throw MException(error);
}
