// SPDX-License-Identifier: MIT
#include "velta/errors/MDynObject.h"

#include "velta/logging/ClassNameRegistration.h"

namespace {

const wchar_t ClassName[] = L"MDynObject";
const Velta::Logging::ClassNameRegistration registration(ClassName);

}  // namespace

const MClassInfo MDynObject::ClassInfo = {ClassName, nullptr};

MDynObject::~MDynObject() = default;

MDynObject* MDynObject::Clone() const noexcept { return nullptr; }

MDynObject* MDynObject::CreateNew() const noexcept { return nullptr; }
