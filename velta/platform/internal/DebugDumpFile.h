// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <ostream>

namespace Velta::Platform {

/// Where a debug dump of the event log goes, and the errors beside it. The folder is never created:
/// a machine on which it is missing has not asked for dumps.
#if defined(_WIN32)
inline constexpr char kDebugDumpPath[] = "C:\\Temp\\DebugDump.log";
inline constexpr char kDebugErrorsPath[] = "C:\\Temp\\DebugDump.log.errors";
#else
inline constexpr char kDebugDumpPath[] = "/tmp/DebugDump.log";
inline constexpr char kDebugErrorsPath[] = "/tmp/DebugDump.log.errors";
#endif

/// Opens one of these files for writing, emptied, and makes it if it is not there.
///
/// Windows: denies other processes nothing. Linux: the folder is open to all users, so what stands
/// there may have been laid by another one to have a file of the caller's overwritten. Only a
/// regular file of the caller's own without a second name is taken; links are not followed, nothing
/// is waited for, and a new file is the caller's alone.
///
/// @return null if it cannot be opened, or must not; what is there is then untouched
///
/// Errors: `std::bad_alloc` if memory for the stream is missing.
[[nodiscard]] std::unique_ptr<std::ostream> OpenDebugDumpFile(const char* path);

}  // namespace Velta::Platform
