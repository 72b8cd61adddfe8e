// SPDX-License-Identifier: MIT
#pragma once

/// What an engine thread runs when an event is signalled.
///
/// Ownership: whoever is given one owns and deletes it, also when the giving fails.
class MCallbackFunctor {
 public:
  MCallbackFunctor(const MCallbackFunctor&) = delete;
  MCallbackFunctor& operator=(const MCallbackFunctor&) = delete;

  virtual void operator()() = 0;

  // After the call operator, which is the first slot of the binary interface.
  virtual ~MCallbackFunctor() = default;

 protected:
  MCallbackFunctor() = default;
};

/// Calls one member operation of one object.
///
/// @tparam T  the object's class; the object is not owned and must outlive the functor's last call
template <class T>
class MCallbackFunctorImp final : public MCallbackFunctor {
 public:
  using Operation = void (T::*)();

  /// A virtual operation is dispatched when it is called.
  MCallbackFunctorImp(T* object, Operation operation) noexcept
      : object_(object), operation_(operation) {}

  void operator()() override { (object_->*operation_)(); }

 private:
  T* object_;
  Operation operation_;
};
