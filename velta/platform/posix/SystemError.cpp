// SPDX-License-Identifier: MIT
#include "velta/platform/posix/SystemError.h"

#include <cerrno>

LONG Velta::Posix::ErrorFromErrno(int number) noexcept {
  switch (number) {
    case ENOENT:
      return ERROR_FILE_NOT_FOUND;
    case ENOTDIR:
      return ERROR_PATH_NOT_FOUND;
    case EACCES:
    case EISDIR:
    case EPERM:
    case EROFS:
      return ERROR_ACCESS_DENIED;
    case EMFILE:
    case ENFILE:
      return ERROR_TOO_MANY_OPEN_FILES;
    case ENOMEM:
      return ERROR_NOT_ENOUGH_MEMORY;
    case EEXIST:
      return ERROR_FILE_EXISTS;
    case EDQUOT:
    case ENOSPC:
      return ERROR_DISK_FULL;
    case EBUSY:
    case ETXTBSY:
      return ERROR_BUSY;
    case ENAMETOOLONG:
      return ERROR_FILENAME_EXCED_RANGE;
    case EFBIG:
      return ERROR_FILE_TOO_LARGE;
    case EIO:
      return ERROR_IO_DEVICE;
    case ELOOP:
      return ERROR_CANT_RESOLVE_FILENAME;
    default:
      return ERROR_GEN_FAILURE;
  }
}
