// SPDX-License-Identifier: MIT
#pragma once

#include "velta/logging/MFlowEventKind.h"
#include "velta/logging/MFlowScope.h"
#include "velta/platform/Api.h"

#include <atomic>
#include <concepts>
#include <cstdint>
#include <exception>
#include <initializer_list>
#include <optional>
#include <string>

class MError;
class MErrorParameter;
class MException;

/// The place in an instrumented function from which it logs and raises its errors.
///
/// One function-local static per function, made of the class's name array and a literal that names
/// the operation. Before each event the function says whose it is and where:
///
/// ```cpp
/// void MJobRunner::Pause() {
///   static MFlowPoint point(ClassName, L"Pause");
///   const MFlowScope scope = point.At(this).OpenScope();
///   ...
///   if (failed) point.At(this).Raise(L"WaitFailed", L"winErrorCode", lastError);
/// }
/// ```
///
/// Threads: shared by all threads and objects that run the function, without a lock. Two that run
/// it at once may log each other's object or line; names and values are always right.
/// Ownership: the log tells names apart by address, so they must live as long as the point, and no
/// other name may ever take their place: use literals.
/// Errors: what logs never throws; what raises always throws, an `MException` unless there is no
/// memory for one (`std::bad_alloc`).
class MFlowPoint {
 public:
  /// Names the place and registers the operation's name.
  ///
  /// @param ownerClass  the class's own name array, the one it is registered with; a null name is
  ///                    shown as unknown and left out of error codes
  /// @param operation   the operation; a constructor's is the class's name, a destructor's is
  ///                    that after a tilde
  VELTA_API MFlowPoint(const wchar_t* ownerClass, const wchar_t* operation) noexcept;
  MFlowPoint(const MFlowPoint&) = delete;
  MFlowPoint& operator=(const MFlowPoint&) = delete;

  /// Sets the object that further events concern; null until set.
  void SetObject(const void* subject) noexcept { object.store(subject, std::memory_order_relaxed); }

  /// Sets the source line that further events carry; -1 until set.
  void SetLine(std::int32_t sourceLine) noexcept {
    line.store(sourceLine, std::memory_order_relaxed);
  }

  /// Sets both, the line to that of the call itself, and returns the point:
  /// `point.At(this).Log...`.
  MFlowPoint& At(const void* subject, std::int32_t sourceLine = __builtin_LINE()) noexcept {
    SetObject(subject);
    SetLine(sourceLine);
    return *this;
  }

  /// Logs that the object has been constructed.
  VELTA_API void LogConstruction() noexcept;

  /// Logs that the object is being destroyed.
  VELTA_API void LogDestruction() noexcept;

  /// Logs that an error has been caught and is dropped. The error is neither read nor changed.
  VELTA_API void LogDismissedError(const MError& error) noexcept;
  VELTA_API void LogDismissedError(const MException& exception) noexcept;

  /// Logs a new state.
  ///
  /// @param value1  the state's number, as registered with its name
  /// @param value2  free; 0 in the framework
  VELTA_API void LogStateChange(std::uint32_t value1, std::uint32_t value2) noexcept;

  /// Logs a moment together with two numbers of the caller's choice.
  VELTA_API void LogTimingPoint(std::uint32_t value1, std::uint32_t value2) noexcept;

  /// Logs the begin of a scope, whose end the returned record logs.
  ///
  /// Without values the two events carry 0 and the point's line.
  [[nodiscard]] VELTA_API MFlowScope OpenScope() noexcept;
  [[nodiscard]] VELTA_API MFlowScope OpenScope(std::uint32_t value1, std::uint32_t value2) noexcept;

  /// Reports an error to the log and builds its value, without throwing it.
  ///
  /// @param errorName  the condition, a literal ("WaitFailed"); null or empty is left out
  /// @return an error whose code is class "." operation ":" errorName, without parameters
  ///
  /// Errors: an allocation failure while the code is built propagates as such.
  [[nodiscard]] VELTA_API MError MakeRootError(const wchar_t* errorName);

  /// The same with parameters, written in place: `{{L"file", path}, {L"bytes", size},
  /// LastError()}`. Whoever calls it includes `velta/errors/MError.h`.
  [[nodiscard]] VELTA_API MError MakeRootError(const wchar_t* errorName,
                                               std::initializer_list<MErrorParameter> parameters);

  /// The same for an exception of the runtime that is being converted: logged as a cascade error.
  [[nodiscard]] VELTA_API MError MakeCascadeError(const wchar_t* errorName);
  [[nodiscard]] VELTA_API MError
  MakeCascadeError(const wchar_t* errorName, std::initializer_list<MErrorParameter> parameters);

  /// Throws an `MException` that holds a copy of the error. Logs nothing; an error that has got its
  /// parameters since it was made is kept with them (`MErrorHistory`).
  [[noreturn]] VELTA_API void Throw(const MError& error);

  /// Throws the root error `errorName`.
  [[noreturn]] VELTA_API void Raise(const wchar_t* errorName);

  /// Throws the root error `errorName` with one parameter, in unsigned decimal.
  [[noreturn]] VELTA_API void Raise(const wchar_t* errorName, const wchar_t* parameterName,
                                    std::uint32_t value);

  /// Throws the root error `errorName` with one text parameter, widened by the C locale in force.
  [[noreturn]] VELTA_API void Raise(const wchar_t* errorName, const wchar_t* parameterName,
                                    const std::string& text);

  /// Throws the root error `errorName` with one parameter of any other type that has a text
  /// (`Velta::TextOf`): a number is never changed. Whoever calls it includes
  /// `velta/errors/MError.h`.
  template <class Value, class Parameter = MErrorParameter>
    requires(!std::same_as<Value, std::string> && !std::convertible_to<const Value&, const char*>)
  [[noreturn]] void Raise(const wchar_t* errorName, const wchar_t* parameterName,
                          const Value& value) {
    Raise(errorName, {Parameter(parameterName, value)});
  }

  /// Throws the root error `errorName` with all of the parameters, as `MakeRootError` takes them.
  [[noreturn]] VELTA_API void Raise(const wchar_t* errorName,
                                    std::initializer_list<MErrorParameter> parameters);

  /// Throws the cascade error `errorName` that `cause` led to.
  ///
  /// Its parameters are "errorMessage", the text of `cause`, and `parameterName`, `text`.
  [[noreturn]] VELTA_API void RaiseFromException(const std::exception& cause,
                                                 const wchar_t* errorName,
                                                 const wchar_t* parameterName,
                                                 const std::string& text);

 private:
  /// Registers an error's name and logs it; the rest of raising lives with the error values.
  VELTA_API void ReportError(MFlowEventKind kind, const wchar_t* errorName) noexcept;

  /// Keeps an error that has parameters, with the place that its log record gives, for who reads
  /// the log (`MErrorHistory`).
  ///
  /// @param firstRecord  number of the log's next record before the error was logged; none for an
  ///                     error that was made earlier: one that is known already is not kept again
  void Keep(const MError& error, std::optional<std::uint32_t> firstRecord) noexcept;

  void Log(MFlowEventKind kind, std::uint32_t value1, std::uint32_t value2) const noexcept;
  [[nodiscard]] std::uint32_t LineValue() const noexcept;

  const wchar_t* className;
  const wchar_t* operationName;
  std::atomic<const void*> object{nullptr};
  std::atomic<std::int32_t> line{-1};
};
