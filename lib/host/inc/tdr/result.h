// SPDX-License-Identifier: MIT
// The result of a call of the host library: a value, or the reason of a failure.
//
// A driver is another process, so every call can fail in several ways: the driver refuses and the
// session continues; the driver is gone; it does not answer; its answer breaks the protocol. After
// `Refused`, `NotMyFormat` and `BadArgument` the session continues, after `NoMemory` it may, and
// after all others it has ended (see `Session::alive`). No call of the library throws.
#pragma once

#include <optional>
#include <string>
#include <utility>

namespace tdr {

enum class FailureKind {
    CouldNotStart,  ///< the program did not become a driver: missing, died or silent at start
    Refused,        ///< the driver answered with an error; the session continues. On a connect:
                    ///< the driver wrote why, so the file cannot be opened or is damaged
    NotMyFormat,    ///< the driver refused a connect without a line: the file has another format
    Died,           ///< the driver ended, or closed the connection, before it answered
    TimedOut,       ///< no answer within the limit; the driver has been killed
    ProtocolBroken, ///< an answer that does not fit the request; the driver has been killed
    Interrupted,    ///< an InterruptGuard saw a signal; the driver has been killed
    CannotOpen,     ///< the file: missing, empty, not permitted, not a regular file
    Damaged,        ///< the file has a driver's format, but cannot be read, or not in full
    BadArgument,    ///< the caller's error: nothing was sent, or a file was closed before it was
                    ///< complete
    NoMemory,       ///< out of memory, no shared block, or a driver's line could not be read
};

/// The name of a kind as one word ("Died").
[[nodiscard]] const char* nameOf(FailureKind kind);

/// How a driver process ended.
struct DriverEnd {
    bool known = false; ///< false if it is unknown (the host ignores SIGCHLD)
    int exitStatus = 0; ///< 0 ... 255, when `signal` is 0
    int signal = 0;     ///< the signal that ended it, or 0

    /// "exit status 3", "signal 11 (Segmentation fault)" or "unknown end".
    [[nodiscard]] std::string text() const noexcept;
};

/// Why a call failed.
struct Failure {
    FailureKind kind = FailureKind::Refused;
    std::string what = {};             ///< one readable line that names the request; no newline
    std::optional<DriverEnd> end = {}; ///< how the driver ended, for `CouldNotStart` and `Died`
    std::string lastLine = {};         ///< the last line the driver wrote to its stderr, or empty

    /// One line: `what`, then the driver's end and its last line if there are any. When out of
    /// memory, the name of the kind.
    [[nodiscard]] std::string text() const noexcept;
};

/// A value, or the reason why there is none.
template <typename T, typename Reason = Failure>
class [[nodiscard]] Result {
  public:
    Result(T value) : value_(std::move(value)) {}          // NOLINT(google-explicit-constructor)
    Result(Reason reason) : failure_(std::move(reason)) {} // NOLINT(google-explicit-constructor)

    [[nodiscard]] bool ok() const { return value_.has_value(); }
    explicit operator bool() const { return ok(); }

    /// The value; only to be called when `ok()` is true.
    [[nodiscard]] T& value() { return *value_; }
    [[nodiscard]] const T& value() const { return *value_; }
    T& operator*() { return *value_; }
    const T& operator*() const { return *value_; }
    T* operator->() { return &*value_; }
    const T* operator->() const { return &*value_; }

    /// The reason; only to be called when `ok()` is false.
    [[nodiscard]] const Reason& failure() const { return *failure_; }

  private:
    std::optional<T> value_;
    std::optional<Reason> failure_;
};

/// Success without a value, or the reason why not.
template <typename Reason>
class [[nodiscard]] Result<void, Reason> {
  public:
    Result() = default;
    Result(Reason reason) : failure_(std::move(reason)) {} // NOLINT(google-explicit-constructor)

    [[nodiscard]] bool ok() const { return !failure_; }
    explicit operator bool() const { return ok(); }

    /// The reason; only to be called when `ok()` is false.
    [[nodiscard]] const Reason& failure() const { return *failure_; }

  private:
    std::optional<Reason> failure_;
};

using Status = Result<void>;

} // namespace tdr
