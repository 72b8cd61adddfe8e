// SPDX-License-Identifier: MIT
#pragma once

/// Where a debug dump of the event log goes. The folder is never created: a machine on which it is
/// missing has not asked for dumps.
#if defined(_WIN32)
inline constexpr char kDebugDumpPath[] = "C:\\Temp\\DebugDump.log";
#else
inline constexpr char kDebugDumpPath[] = "/tmp/DebugDump.log";
#endif
