// SPDX-License-Identifier: MIT
// The texts of the codes that the subset sets.
#include "velta/platform/internal/SystemMessage.h"

#include "velta/platform/posix/Win32Subset.h"

#include <cstdint>
#include <string>

std::wstring Velta::Platform::SystemMessage(std::uint32_t code) {
  switch (code) {
    case ERROR_SUCCESS:
      return L"The operation completed successfully";
    case ERROR_FILE_NOT_FOUND:
      return L"The system cannot find the file specified";
    case ERROR_PATH_NOT_FOUND:
      return L"The system cannot find the path specified";
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
    case ERROR_SHARING_VIOLATION:
      return L"The process cannot access the file because it is being used by another process";
    case ERROR_LOCK_VIOLATION:
      return L"The process cannot access the file because another process has locked a portion of "
             L"the file";
    case ERROR_NOT_SUPPORTED:
      return L"The request is not supported";
    case ERROR_FILE_EXISTS:
      return L"The file exists";
    case ERROR_INVALID_PARAMETER:
    case static_cast<DWORD>(E_INVALIDARG):
      return L"The parameter is incorrect";
    case ERROR_DISK_FULL:
      return L"There is not enough space on the disk";
    case ERROR_BAD_PATHNAME:
      return L"The specified path is invalid";
    case ERROR_BUSY:
      return L"The requested resource is in use";
    case ERROR_FILENAME_EXCED_RANGE:
      return L"The filename or extension is too long";
    case ERROR_FILE_TOO_LARGE:
      return L"The file size exceeds the limit allowed and cannot be saved";
    case ERROR_MORE_DATA:
      return L"More data is available";
    case ERROR_REGISTRY_CORRUPT:
      return L"The configuration registry database is corrupt";
    case ERROR_KEY_DELETED:
      return L"Illegal operation attempted on a registry key that has been marked for deletion";
    case ERROR_IO_DEVICE:
      return L"The request could not be performed because of an I/O device error";
    case ERROR_NO_SYSTEM_RESOURCES:
      return L"Insufficient system resources exist to complete the requested service";
    case ERROR_CANT_RESOLVE_FILENAME:
      return L"The name of the file cannot be resolved by the system";
    default:
      return L"";
  }
}
