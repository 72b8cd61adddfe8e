// SPDX-License-Identifier: MIT
#include "velta/serialisation/IInFilerTagged.h"
#include "velta/serialisation/IOutFilerTagged.h"

IOutFilerTagged::IOutFilerTagged() : locale(MLocale::GetClassic()) {}
IOutFilerTagged::~IOutFilerTagged() = default;

IInFilerTagged::IInFilerTagged() : locale(MLocale::GetClassic()) {}
IInFilerTagged::~IInFilerTagged() = default;

bool IInFilerTagged::ReadReserved(const MString& /*tag*/) { return false; }
