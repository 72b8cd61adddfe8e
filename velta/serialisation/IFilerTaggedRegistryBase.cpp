// SPDX-License-Identifier: MIT
#include "velta/serialisation/IFilerTaggedRegistryBase.h"

#include "velta/logging/ClassNameRegistration.h"
#include "velta/platform/internal/Win32.h"

namespace {

const wchar_t ClassName[] = L"IFilerTaggedRegistryBase";
const Velta::Logging::ClassNameRegistration registration(ClassName);

}  // namespace

IFilerTaggedRegistryBase::IFilerTaggedRegistryBase()
    : rootHive_(HKEY_CURRENT_USER), companyKeyName_(L"Velta") {}

IFilerTaggedRegistryBase::~IFilerTaggedRegistryBase() = default;
