// SPDX-License-Identifier: MIT
#include "velta/errors/MErrorParameter.h"

#include "velta/platform/internal/SystemMessage.h"
#include "velta/platform/internal/Win32.h"
#include "velta/text/internal/DecimalText.h"

LastError::LastError() noexcept : code(::GetLastError()) {}

MErrorParameter::MErrorParameter(const LastError& error)
    : name_(L"winErrorCode"),
      text_(Velta::Text::DecimalText(error.code)),
      messageName_(L"winErrorMessage"),
      message_(Velta::Platform::SystemMessage(error.code)) {}

MErrorParameter::MErrorParameter(const HResult& result)
    : name_(L"hResult"),
      text_(Velta::Text::HexadecimalText(static_cast<std::uint32_t>(result.code))),
      messageName_(L"hResultMessage"),
      message_(Velta::Platform::SystemMessage(static_cast<std::uint32_t>(result.code))) {}
