// SPDX-License-Identifier: MIT
#include "velta/text/MString.h"

const wchar_t MStringTypeName[] = L"MString";
