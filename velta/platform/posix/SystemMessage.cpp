// SPDX-License-Identifier: MIT
// The texts of the codes that the subset sets.
#include "velta/platform/internal/SystemMessage.h"

#include "velta/platform/posix/Win32Subset.h"

std::wstring Velta::Platform::SystemMessage(std::uint32_t code) {
  switch (code) {
    case ERROR_SUCCESS:
      return L"The operation completed successfully";
    case ERROR_FILE_NOT_FOUND:
      return L"The system cannot find the file specified";
    case ERROR_TOO_MANY_OPEN_FILES:
      return L"The system cannot open the file";
    case ERROR_ACCESS_DENIED:
      return L"Access is denied";
    case ERROR_INVALID_HANDLE:
      return L"The handle is invalid";
    case ERROR_NOT_ENOUGH_MEMORY:
      return L"Not enough memory resources are available to process this command";
    case ERROR_GEN_FAILURE:
      return L"A device attached to the system is not functioning";
    case ERROR_NOT_SUPPORTED:
      return L"The request is not supported";
    case ERROR_INVALID_PARAMETER:
    case static_cast<DWORD>(E_INVALIDARG):
      return L"The parameter is incorrect";
    case ERROR_DISK_FULL:
      return L"There is not enough space on the disk";
    case ERROR_BAD_PATHNAME:
      return L"The specified path is invalid";
    case ERROR_BUSY:
      return L"The requested resource is in use";
    case ERROR_MORE_DATA:
      return L"More data is available";
    case ERROR_REGISTRY_CORRUPT:
      return L"The configuration registry database is corrupt";
    default:
      return L"";
  }
}
