// SPDX-License-Identifier: MIT
// The names that headers of the platform and of hosts are known to define as macros.

// The standard library is not what is tested, and not every one survives these.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <concepts>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <exception>
#include <filesystem>
#include <functional>
#include <initializer_list>
#include <iosfwd>
#include <limits>
#include <list>
#include <locale>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <ostream>
#include <ratio>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#if defined(__clang__)
#pragma clang diagnostic ignored "-Wkeyword-macro"  // that is the point
#endif

#define min(a, b) (((a) < (b)) ? (a) : (b))
#define max(a, b) (((a) > (b)) ? (a) : (b))
#define ERROR 0
#define IN
#define OUT
#define OPTIONAL
#define near
#define far
#define small char
#define interface struct
#define CONST const
#define Yield()
#define GetObject GetObjectW
#define CreateEvent CreateEventW
#define SendMessage SendMessageW
#define new HOSTILE_NEW
#define HOSTILE_NEW new (__FILE__, __LINE__)

#include "AllPublicHeaders.h"

#if !defined(min) || !defined(max) || !defined(ERROR) || !defined(near) || !defined(interface) || \
    !defined(new)
#error "a public header has removed a macro of its includer"
#endif
