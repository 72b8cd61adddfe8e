// SPDX-License-Identifier: MIT
// The part of the C++ runtime that Visual C++ links into each module of a program built with /MD:
// entry points, construction of statics, thread-local storage, operator new and delete. The rest is
// in ucrtbase.dll, vcruntime140.dll and msvcp140.dll. Compiled once for each PART; every part is
// one member of msvcrt.lib, so that a program can replace operator new and delete one by one.
#include <new.h>
#include <vcruntime_typeinfo.h>
#define WIN32_LEAN_AND_MEAN
#include <windows.h>
#define API extern "C" __declspec(dllimport)
#define SLOT(name) __declspec(allocate(name)) __attribute__((used))

using Function = void(__cdecl*)();
using FailingFunction = int(__cdecl*)();
struct OnExitTable {
  Function *first, *last, *end;
};
extern "C" {
extern OnExitTable msvc_on_exit;
extern bool msvc_is_dll;
void msvc_construct();
}
API void* __cdecl malloc(size_t);
API void __cdecl free(void*);
API void* __cdecl _aligned_malloc(size_t, size_t);
API void __cdecl _aligned_free(void*);
API int __cdecl _initialize_onexit_table(OnExitTable*);
API int __cdecl _register_onexit_function(OnExitTable*, FailingFunction);
API int __cdecl _execute_onexit_table(OnExitTable*);
API int __cdecl _crt_atexit(Function);
API void __cdecl _initterm(Function*, Function*);
API int __cdecl _initterm_e(FailingFunction*, FailingFunction*);
API int __cdecl _configure_narrow_argv(int);
API int __cdecl _configure_wide_argv(int);
API int __cdecl _initialize_narrow_environment();
API int __cdecl _initialize_wide_environment();
API int* __cdecl __p___argc();
API char*** __cdecl __p___argv();
API wchar_t*** __cdecl __p___wargv();
API void __cdecl _set_app_type(int);
API __declspec(noreturn) void __cdecl exit(int);
API void __cdecl _cexit();

#if PART == 0  // what every module has
// ---- statics of the module ----
#pragma section(".CRT$XIA", read)
#pragma section(".CRT$XIZ", read)
#pragma section(".CRT$XCA", read)
#pragma section(".CRT$XCZ", read)
static SLOT(".CRT$XIA") FailingFunction firstC[] = {nullptr};
static SLOT(".CRT$XIZ") FailingFunction lastC[] = {nullptr};
static SLOT(".CRT$XCA") Function firstCxx[] = {nullptr};
static SLOT(".CRT$XCZ") Function lastCxx[] = {nullptr};
extern "C" {
OnExitTable msvc_on_exit;
bool msvc_is_dll = false;
int _fltused = 1;
int __cdecl atexit(Function function) {
  return msvc_is_dll
             ? _register_onexit_function(&msvc_on_exit, reinterpret_cast<FailingFunction>(function))
             : _crt_atexit(function);
}
}

// ---- statics of functions: one lock for all of them ----
extern "C" {
int _Init_global_epoch = -0x7fffffff - 1;
__declspec(thread) int _Init_thread_epoch = -0x7fffffff - 1;
static SRWLOCK staticsLock;
static CONDITION_VARIABLE staticsChanged;
void __cdecl _Init_thread_header(
    int* state) {  // 0: not begun, -1: under way, else: when it was done
  AcquireSRWLockExclusive(&staticsLock);
  while (*state == -1) {
    SleepConditionVariableSRW(&staticsChanged, &staticsLock, INFINITE, 0);
  }
  if (*state == 0) {
    *state = -1;
  } else {
    _Init_thread_epoch = _Init_global_epoch;
  }
  ReleaseSRWLockExclusive(&staticsLock);
}
static void Finish(int* state, bool done) {
  AcquireSRWLockExclusive(&staticsLock);
  *state = done ? ++_Init_global_epoch : 0;
  if (done) {
    _Init_thread_epoch = _Init_global_epoch;
  }
  ReleaseSRWLockExclusive(&staticsLock);
  WakeAllConditionVariable(&staticsChanged);
}
void __cdecl _Init_thread_footer(int* state) { Finish(state, true); }
void __cdecl _Init_thread_abort(int* state) { Finish(state, false); }
}

// ---- thread-local storage ----
#pragma comment(linker, "/include:_tls_used")
#pragma section(".tls", read, write)
#pragma section(".tls$ZZZ", read, write)
#pragma section(".CRT$XLA", read)
#pragma section(".CRT$XLC", read)
#pragma section(".CRT$XLZ", read)
#pragma section(".CRT$XDA", read)
#pragma section(".CRT$XDZ", read)
extern "C" {
unsigned long _tls_index = 0;
SLOT(".tls") char _tls_start = 0;
SLOT(".tls$ZZZ") char _tls_end = 0;
thread_local bool __tls_guard = false;
}
static SLOT(".CRT$XDA") Function firstThreadLocal[] = {nullptr};
static SLOT(".CRT$XDZ") Function lastThreadLocal[] = {nullptr};
namespace {
struct Destructor {
  Function call;
  Destructor* next;
};
__declspec(thread) Destructor* destructors = nullptr;
}  // namespace
extern "C" int __cdecl __tlregdtor(Function call) {
  auto* added = static_cast<Destructor*>(malloc(sizeof(Destructor)));
  if (!added) {
    return -1;
  }
  *added = {call, destructors};
  destructors = added;
  return 0;
}
extern "C" void __cdecl __dyn_tls_on_demand_init() {
  if (__tls_guard) {
    return;
  }
  __tls_guard = true;
  _initterm(firstThreadLocal, lastThreadLocal);
}
// The compiler asks for it by name where a module has thread_local objects that are constructed.
extern "C" void NTAPI __dyn_tls_init(void*, DWORD reason, void*) {
  if (reason == DLL_THREAD_ATTACH) {
    __dyn_tls_on_demand_init();
  }
}
static void NTAPI OnThread(void* module, DWORD reason, void* reserved) {
  __dyn_tls_init(module, reason, reserved);
  if (reason == DLL_THREAD_DETACH || reason == DLL_PROCESS_DETACH) {
    while (Destructor* last = destructors) {
      destructors = last->next;
      last->call();
      free(last);
    }
  }
}
static SLOT(".CRT$XLA") PIMAGE_TLS_CALLBACK firstCallback[] = {nullptr};
static SLOT(".CRT$XLC") PIMAGE_TLS_CALLBACK ownCallback[] = {OnThread};
static SLOT(".CRT$XLZ") PIMAGE_TLS_CALLBACK lastCallback[] = {nullptr};
extern "C" const IMAGE_TLS_DIRECTORY64 _tls_used = {reinterpret_cast<ULONGLONG>(&_tls_start),
                                                    reinterpret_cast<ULONGLONG>(&_tls_end),
                                                    reinterpret_cast<ULONGLONG>(&_tls_index),
                                                    reinterpret_cast<ULONGLONG>(firstCallback + 1),
                                                    0,
                                                    {0}};

extern "C" void msvc_construct() {
  __dyn_tls_on_demand_init();
  _initterm_e(firstC, lastC);
  _initterm(firstCxx, lastCxx);
}

// ---- /GS ----
extern "C" {
uintptr_t __security_cookie = 0x2B992DDFA232;
void __cdecl __security_check_cookie(uintptr_t cookie) {
  if (cookie != __security_cookie) {
    TerminateProcess(GetCurrentProcess(), 0xC0000409);
  }
}
}

#elif PART == 1  // type_info
type_info::~type_info() noexcept {}
struct __type_info_node {
  __declspec(align(16)) SLIST_HEADER list;
};
// The compiler refers to type_info's vtable in all RTTI, but never emits it: by hand, under its
// name.
static void* Keep(void* self, unsigned) {
  return self;
}  // a type_info is a constant: never deleted
extern "C"
    __attribute__((used)) void* const msvc_type_info_table[] __asm__("??_7type_info@@6B@") = {
        reinterpret_cast<void*>(&Keep)};
static __type_info_node names;
const char* type_info::name() const noexcept { return __std_type_info_name(&data, &names); }

#elif PART == 2  // a library
extern "C" {
BOOL WINAPI DllMain(HINSTANCE, DWORD, void*);
BOOL WINAPI msvc_no_dll_main(HINSTANCE, DWORD, void*) { return TRUE; }
#pragma comment(linker, "/alternatename:DllMain=msvc_no_dll_main")
BOOL WINAPI _DllMainCRTStartup(HINSTANCE module, DWORD reason, void* reserved) {
  if (reason == DLL_PROCESS_ATTACH) {
    msvc_is_dll = true;
    _initialize_onexit_table(&msvc_on_exit);
    msvc_construct();
  }
  const BOOL done = DllMain(module, reason, reserved);
  if (reason == DLL_PROCESS_DETACH || (reason == DLL_PROCESS_ATTACH && !done)) {
    _execute_onexit_table(&msvc_on_exit);
  }
  return done;
}
}

#elif PART == 3  // a program
int main(int, char**);
extern "C" void __cdecl mainCRTStartup() {
  _set_app_type(1);
  _configure_narrow_argv(1);
  _initialize_narrow_environment();
  msvc_construct();
  exit(main(*__p___argc(), *__p___argv()));
}
#elif PART == 4
extern "C" int wmain(int, wchar_t**);
extern "C" void __cdecl wmainCRTStartup() {
  _set_app_type(1);
  _configure_wide_argv(1);
  _initialize_wide_environment();
  msvc_construct();
  exit(wmain(*__p___argc(), *__p___wargv()));
}
#elif PART == 5
extern "C" int WINAPI WinMain(HINSTANCE, HINSTANCE, LPSTR, int);
extern "C" void __cdecl WinMainCRTStartup() {
  _set_app_type(2);
  _configure_narrow_argv(1);
  _initialize_narrow_environment();
  msvc_construct();
  exit(WinMain(GetModuleHandleW(nullptr), nullptr, GetCommandLineA(), SW_SHOWDEFAULT));
}

#elif PART == 6
static std::new_handler handler;
std::new_handler __cdecl std::get_new_handler() noexcept { return handler; }
std::new_handler __cdecl std::set_new_handler(std::new_handler given) noexcept {
  auto* before = handler;
  handler = given;
  return before;
}
#elif PART == 7
void* operator new(size_t size) {
  for (;;) {
    if (void* room = malloc(size ? size : 1)) {
      return room;
    }
    auto* handler = std::get_new_handler();
    if (!handler) {
      throw std::bad_alloc();
    }
    handler();
  }
}
#elif PART == 8
void* operator new(size_t size, std::align_val_t alignment) {
  for (;;) {
    if (void* room = _aligned_malloc(size ? size : 1, static_cast<size_t>(alignment))) {
      return room;
    }
    auto* handler = std::get_new_handler();
    if (!handler) {
      throw std::bad_alloc();
    }
    handler();
  }
}
#elif PART == 9
void* operator new(size_t size, const std::nothrow_t&) noexcept {
  try {
    return operator new(size);
  } catch (...) {
    return nullptr;
  }
}
#elif PART == 10
void* operator new(size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept {
  try {
    return operator new(size, alignment);
  } catch (...) {
    return nullptr;
  }
}
#elif PART == 11
void* operator new[](size_t size) { return operator new(size); }
#elif PART == 12
void* operator new[](size_t size, std::align_val_t alignment) {
  return operator new(size, alignment);
}
#elif PART == 13
void* operator new[](size_t size, const std::nothrow_t& tag) noexcept {
  return operator new(size, tag);
}
#elif PART == 14
void operator delete(void* room) noexcept { free(room); }
#elif PART == 15
void operator delete(void* room, std::align_val_t) noexcept { _aligned_free(room); }
#elif PART == 16
void operator delete(void* room, size_t) noexcept { operator delete(room); }
#elif PART == 17
void operator delete(void* room, const std::nothrow_t&) noexcept { operator delete(room); }
#elif PART == 18
void operator delete(void* room, size_t, std::align_val_t alignment) noexcept {
  operator delete(room, alignment);
}
#elif PART == 19
void operator delete[](void* room) noexcept { operator delete(room); }
#elif PART == 20
void operator delete[](void* room, std::align_val_t alignment) noexcept {
  operator delete(room, alignment);
}
#elif PART == 21
void operator delete[](void* room, size_t) noexcept { operator delete[](room); }
#elif PART == 22
void operator delete[](void* room, const std::nothrow_t&) noexcept { operator delete[](room); }
#elif PART == 23
void operator delete[](void* room, size_t, std::align_val_t alignment) noexcept {
  operator delete[](room, alignment);
}
#endif
