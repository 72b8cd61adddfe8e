// SPDX-License-Identifier: MIT
#include "velta/logging/ClassNameRegistration.h"
#include "velta/serialisation/IInFilerTagged.h"
#include "velta/serialisation/IOutFilerTagged.h"

namespace {

const wchar_t OutFilerName[] = L"IOutFilerTagged";
const wchar_t InFilerName[] = L"IInFilerTagged";
const Velta::Logging::ClassNameRegistration registrations[] = {
    Velta::Logging::ClassNameRegistration(OutFilerName),
    Velta::Logging::ClassNameRegistration(InFilerName)};

}  // namespace

IOutFilerTagged::IOutFilerTagged() : locale_(MLocale::GetClassic()) {}
IOutFilerTagged::~IOutFilerTagged() = default;

IInFilerTagged::IInFilerTagged(GroupNames groupNames)
    : locale_(MLocale::GetClassic()), groupNames_(groupNames) {}
IInFilerTagged::~IInFilerTagged() = default;

bool IInFilerTagged::ReadReserved(const MString& /*tag*/) { return false; }
