#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <utility>
#include <variant>

namespace orvane::client {

/// Why an operation failed.
enum class Cause {
    STATUS,           ///< The library or the model refused the operation with the status `Failure::code`.
    EXECUTION_ERROR,  ///< The started action failed with the television's error `Failure::code`.
    /// No answer of the action, or no page of the table, arrived in time. The television may have executed the request,
    /// or may still do so.
    NO_ANSWER,
    WOULD_DEADLOCK,   ///< In a handler on the delivery thread, the operation would wait for that thread.
    NO_ITERATOR,      ///< The table refused to make an iterator, without a status.
    WATCHED_ALREADY,  ///< The object already has a handler.
};

/// A failed operation.
struct Failure {
    char const* operation;  ///< The name of the operation, a literal.
    std::string key;        ///< The key of the model object.
    Cause cause;            ///< Why the operation failed.
    int code = 0;           ///< The number of the `STATUS` or `EXECUTION_ERROR`, otherwise 0.
};

/// Returns the failure as one line for a log, such as "set audio.volume: status 106".
inline std::string describe(Failure const& failure) {
    constexpr std::array<char const*, 6> REASONS = {
        "status ",     "execution error ", "no answer in time", "would wait for the delivery thread on that thread",
        "no iterator", "watched already"};
    bool const hasCode = failure.cause == Cause::STATUS || failure.cause == Cause::EXECUTION_ERROR;
    return failure.operation + (" " + failure.key) + ": " + REASONS.at(static_cast<std::size_t>(failure.cause)) +
           (hasCode ? std::to_string(failure.code) : "");
}

/// A value or a failure, with operations of `std::expected<T, Failure>`. `*` and `->` throw `std::bad_variant_access`
/// if the result is a failure. `error` throws this exception if the result is a value. The compiler warns about an
/// ignored result.
template <typename T>
class [[nodiscard]] Result {
public:
    Result(T value) : content_(std::in_place_index<0>, std::move(value)) {}            ///< From a value.
    Result(Failure failure) : content_(std::in_place_index<1>, std::move(failure)) {}  ///< From a failure.
    explicit operator bool() const { return content_.index() == 0; }                   ///< Whether there is a value.
    T const& operator*() const { return std::get<0>(content_); }                       ///< The value.
    T& operator*() { return std::get<0>(content_); }                                   ///< The value.
    T const* operator->() const { return &**this; }                                    ///< A member of the value.
    T value_or(T fallback) const { return *this ? **this : std::move(fallback); }      ///< The value, or `fallback`.
    Failure const& error() const { return std::get<1>(content_); }                     ///< The failure.

private:
    std::variant<T, Failure> content_;
};

/// Success without a value, or a failure.
template <>
class [[nodiscard]] Result<void> : public Result<std::monostate> {
public:
    Result() : Result<std::monostate>(std::monostate()) {}                   ///< Success.
    Result(Failure failure) : Result<std::monostate>(std::move(failure)) {}  ///< A failure.
};

}  // namespace orvane::client
