// SPDX-License-Identifier: MIT
#pragma once

#include "velta/platform/Api.h"
#include "velta/text/MString.h"

#include <cstddef>
#include <locale>
#include <string>

VELTA_EXPORTS_BEGIN

/// A named locale for numbers, as streams and as printf format them.
///
/// Its numbers carry the locale's decimal separator and nothing else of it: no thousands separator,
/// no grouping, so whatever is written can be read back. The framework writes every number through
/// `GetClassic()`; a host may make others for display.
///
/// Threads: immutable once constructed; any number of threads may use one instance.
/// Ownership: each instance owns its C runtime locale; copies share nothing but stream facets.
class VELTA_API MLocale {
 public:
  /// The punctuation of wide numbers: the given decimal separator, no grouping.
  class DecimalSeparatorOnly : public std::numpunct<wchar_t> {
   public:
    explicit DecimalSeparatorOnly(wchar_t decimalSeparator)
        : std::numpunct<wchar_t>(std::size_t{0}), decimalSeparator_(decimalSeparator) {}

   protected:
    ~DecimalSeparatorOnly() override = default;
    wchar_t do_decimal_point() const override { return decimalSeparator_; }
    wchar_t do_thousands_sep() const override { return L'\0'; }
    std::string do_grouping() const override { return std::string(); }

   private:
    wchar_t decimalSeparator_;
  };

  /// Binds the locale of that name, in the platform's spelling: "C" everywhere, "de-DE" on Windows,
  /// "de_DE.UTF-8" on Linux, "" for the user's own.
  ///
  /// Errors: MLocale.MLocale:BadCppLocale with "errorMessage" (the runtime's words) and "name", for
  /// every failure: a null pointer, a name that the stream library or the C runtime does not know.
  explicit MLocale(const wchar_t* name);

  /// Copies the name and the stream locale, and makes a C runtime locale of its own.
  ///
  /// Errors: as above, when the C runtime no longer knows the name.
  MLocale(const MLocale& other);

  MLocale& operator=(const MLocale&) = delete;
  ~MLocale();

  /// The name as the stream library reports it; "C" stays "C".
  const std::string& GetName() const noexcept { return name_; }

  /// For imbuing a wide stream that belongs to the same C++ runtime as the framework.
  ///
  /// A copy may outlive the instance. Where each module has a C++ runtime of its own, ask only for
  /// the standard's facets, and only in a module that calls this: runtimes number any others in the
  /// order of their first use, so the number of a host's facet is another one's here.
  const std::locale& GetStreamLocale() const noexcept {
    static_cast<void>(std::locale::classic());  // numbers the standard's facets in this module
    return streamLocale_;
  }

  wchar_t GetDecimalSeparator() const noexcept { return decimalSeparator_; }

  /// Formats as printf does, with this locale's decimal separator.
  ///
  /// @param out     replaced by the text; emptied when there is none or the format is refused
  /// @param format  not null; a format for numbers. What "%s" takes differs between C runtimes:
  ///                avoid it
  ///
  /// Format and arguments may lie in `out`. On Linux a text has at most 64 million characters.
  /// Errors: `std::bad_alloc`; `out` is then unchanged.
  void Format(MString& out, const wchar_t* format, ...) const;

  /// A number as the prefix of `text`, read by the C runtime under this locale.
  ///
  /// @param text  zero-terminated, not null
  /// @param end   not null; receives where reading stopped, `text` itself if nothing could be read
  double ScanNumber(const wchar_t* text, const wchar_t** end) const noexcept;

  /// Reads numbers as scanf does, with this locale's decimal separator: the inverse of `Format`.
  ///
  /// @param text    zero-terminated, not null
  /// @param format  not null; a format for numbers; a pointer follows for each of its fields
  /// @return how many fields were converted; negative when the text ended before the first
  int Scan(const wchar_t* text, const wchar_t* format, ...) const noexcept;

  /// The framework's shared instance, named "C".
  static const MLocale& GetClassic();

 private:
  std::string name_;
  void* cLocale_ = nullptr;  // the C runtime's handle, never null once constructed
  std::locale streamLocale_;
  wchar_t decimalSeparator_ = L'.';
};

VELTA_EXPORTS_END
