// SPDX-License-Identifier: MIT
#include "velta/serialisation/IInFilerTagged.h"
#include "velta/serialisation/IOutFilerTagged.h"

IOutFilerTagged::IOutFilerTagged() : locale(MLocale::GetClassic()) {}
IOutFilerTagged::~IOutFilerTagged() = default;

IInFilerTagged::IInFilerTagged(GroupNames names)
    : locale(MLocale::GetClassic()), groupNames(names) {}
IInFilerTagged::~IInFilerTagged() = default;

bool IInFilerTagged::ReadReserved(const MString& /*tag*/) { return false; }
