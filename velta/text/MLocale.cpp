// SPDX-License-Identifier: MIT
#include "velta/text/MLocale.h"

#include "velta/errors/MError.h"
#include "velta/errors/MException.h"
#include "velta/errors/internal/RuntimeMessage.h"
#include "velta/logging/ClassNameRegistration.h"
#include "velta/logging/MFlowPoint.h"
#include "velta/platform/internal/SystemCalls.h"
#include "velta/platform/internal/Win32.h"

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstddef>
#include <exception>
#include <locale>
#include <memory>
#include <new>
#include <utility>

namespace {

const wchar_t ClassName[] = L"MLocale";
const Velta::Logging::ClassNameRegistration registration(ClassName);

_locale_t Handle(void* cLocale) noexcept { return static_cast<_locale_t>(cLocale); }

/// The bytes of a locale's name, which the runtime widens one by one ("Norwegian Bokmal" has one
/// above 127); a character that no name can have becomes a question mark.
std::string Narrow(const wchar_t* text) {
  std::string narrow;
  for (; text != nullptr && *text != L'\0'; ++text) {
    narrow += *text > 0 && *text <= 0xFF ? static_cast<char>(*text) : '?';
  }
  return narrow;
}

/// The inverse of `Narrow`, for a name that the runtime has reported.
MString Widen(const std::string& text) {
  MString wide;
  for (const char byte : text) {
    wide += static_cast<wchar_t>(static_cast<unsigned char>(byte));
  }
  return wide;
}

/// As `RaiseFromException` does, but with a wide name: the encoding in force may not know it all.
[[noreturn]] void RaiseBadCppLocale(MFlowPoint& point, const std::exception& cause,
                                    const MString& name) {
  MError error = point.MakeCascadeError(L"BadCppLocale");
  error.AddParameter(L"errorMessage", Velta::Errors::RuntimeMessage(cause));
  error.AddParameter(L"name", name);
  point.Throw(error);
}

/// Keeps the named locale alive as long as any copy of the stream locale: in libc++ on Windows,
/// facets that both share point to the name in the named one.
class NamedPunctuation final : public MLocale::DecimalSeparatorOnly {
 public:
  NamedPunctuation(std::shared_ptr<const std::locale> named, wchar_t decimalSeparator)
      : DecimalSeparatorOnly(decimalSeparator), named_(std::move(named)) {}
  ~NamedPunctuation() override = default;

 private:
  const std::shared_ptr<const std::locale> named_;
};

/// The named locale without grouping.
std::locale WithoutGrouping(const std::shared_ptr<const std::locale>& named, wchar_t separator) {
  auto* const facet = new NamedPunctuation(named, separator);
  try {
    return std::locale(*named, facet);
  } catch (...) {
    // A library that ran out of memory has deleted the facet, or has not taken it.
    if (named.use_count() > 1) {
      delete facet;
    }
    throw;
  }
}

void* CreateCLocale(const std::string& name, MFlowPoint& point) {
  const _locale_t handle =
      Velta::Platform::systemCalls.createLocale.load(std::memory_order_relaxed)(name.c_str());
  if (handle == nullptr) {
    point.Raise(L"BadCLocale", L"name", name);
  }
  return handle;
}

// Makes the shared instance before the first thread, unless an earlier static initialiser has.
[[maybe_unused]] const MLocale& classicAtStartUp = MLocale::GetClassic();

}  // namespace

MLocale::MLocale(const wchar_t* name) {
  static MFlowPoint point(ClassName, ClassName);
  const std::string narrowName = Narrow(name);
  try {
    const auto named =
        std::make_shared<const std::locale>(name != nullptr ? narrowName.c_str() : nullptr);
    name_ = named->name();
    cLocale_ = CreateCLocale(name_, point.At(this));
    decimalSeparator_ = std::use_facet<std::numpunct<wchar_t>>(*named).decimal_point();
    streamLocale_ = WithoutGrouping(named, decimalSeparator_);
  } catch (const std::exception& cause) {
    // An MException is a std::exception too: a refused C locale also leaves as "BadCppLocale".
    if (cLocale_ != nullptr) {
      ::_free_locale(Handle(cLocale_));
    }
    RaiseBadCppLocale(point.At(this), cause, name != nullptr ? name : L"");
  }
}

MLocale::MLocale(const MLocale& other)
    : name_(other.name_),
      streamLocale_(other.streamLocale_),
      decimalSeparator_(other.decimalSeparator_) {
  static MFlowPoint point(ClassName, ClassName);
  try {
    cLocale_ = CreateCLocale(name_, point.At(this));
  } catch (const std::exception& cause) {
    RaiseBadCppLocale(point.At(this), cause, Widen(name_));
  }
}

MLocale::~MLocale() { ::_free_locale(Handle(cLocale_)); }

void MLocale::Format(MString& out, const wchar_t* format, ...) const {
  va_list arguments;
  va_start(arguments, format);
  va_list again;
  va_copy(again, arguments);
  const int callersErrno = std::exchange(errno, 0);
  const int length = CountFormattedWide(format, Handle(cLocale_), arguments);
  va_end(arguments);

  // A buffer of its own: the arguments may point into `out`.
  std::unique_ptr<wchar_t[]> buffer;
  int written = 0;
  if (length > 0) {
    const std::size_t size = static_cast<std::size_t>(length) + 1;
    buffer.reset(new (std::nothrow) wchar_t[size]);
    if (buffer != nullptr) {
      written = ::_vsnwprintf_s_l(buffer.get(), size, size - 1, format, Handle(cLocale_), again);
    } else {
      errno = ENOMEM;
    }
  }
  va_end(again);

  if (std::exchange(errno, callersErrno) == ENOMEM) {
    throw std::bad_alloc();
  }
  out.assign(buffer.get(), written > 0 ? static_cast<std::size_t>(written) : 0);
}

double MLocale::ScanNumber(const wchar_t* text, const wchar_t** end) const noexcept {
  wchar_t* stopped = nullptr;
  const double value = ::_wcstod_l(text, &stopped, Handle(cLocale_));
  *end = stopped;
  return value;
}

int MLocale::Scan(const wchar_t* text, const wchar_t* format, ...) const noexcept {
  va_list arguments;
  va_start(arguments, format);
  const int converted = ScanFormattedWide(text, format, Handle(cLocale_), arguments);
  va_end(arguments);
  return converted;
}

const MLocale& MLocale::GetClassic() {
  static const MLocale classic(L"C");
  return classic;
}
