// SPDX-License-Identifier: MIT
#pragma once

#include "velta/commands/MCommandSynchronous.h"
#include "velta/commands/MExceptionHolder.h"

#include <cstdint>
#include <memory>

#if defined(_WIN32)
#if defined(PLUGIN_BUILDING)
#define PLUGIN_API __declspec(dllexport)
#else
#define PLUGIN_API __declspec(dllimport)
#endif
#else
#define PLUGIN_API __attribute__((visibility("default")))
#endif

/// A command that measures, made by the module that knows how.
PLUGIN_API std::unique_ptr<MCommandSynchronous> NewMeasurement(const MExceptionHolder& outcome,
                                                               std::uint32_t channel);
