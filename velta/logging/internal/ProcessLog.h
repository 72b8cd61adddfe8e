// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>

class KLogger;
class MDiagnosticsRegistry;
class MFlowLogger;
class MKLoggerAdapter;

/// What the process has of the log, each null until first asked for. Constant-initialised, so that
/// code which runs before or after this room's own static initialisers may use it.
namespace Velta::Logging::ProcessLog {

extern constinit std::atomic<KLogger*> core;
extern constinit std::atomic<MKLoggerAdapter*> adapter;
extern constinit std::atomic<MFlowLogger*> logger;
extern constinit std::atomic<MDiagnosticsRegistry*> registry;

}  // namespace Velta::Logging::ProcessLog
