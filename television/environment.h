#pragma once

#include <charconv>
#include <cstdlib>
#include <optional>
#include <string_view>
#include <utility>

// Private to the televisions.

namespace television {

/// Writes the text as it is. Needs no memory.
void writeToStandardError(std::string_view text);

/// Writes `NAME is "WORD": expected EXPECTED; using FALLBACK`.
void reportEnvironment(char const* name, std::string_view word, char const* expected, char const* fallback);

/// The whole text as a decimal number, or nothing.
template <typename T>
std::optional<T> parseNumber(std::string_view text) {
    T number{};
    auto const [end, failure] = std::from_chars(text.data(), text.data() + text.size(), number);
    bool const isNumber = failure == std::errc() && end == text.data() + text.size();
    return isNumber ? std::optional(number) : std::nullopt;
}

/// What `parse` makes of the environment variable, or the fallback when there is no such variable. `parse` takes a
/// `std::string_view` and returns a `std::optional<T>`: for an empty one, one line on standard error names the
/// variable, what was expected and the fallback, which is used.
template <typename T, typename Parse>
T fromEnvironment(char const* name, T fallback, char const* expected, char const* fallbackText, Parse const& parse) {
    char const* const word = std::getenv(name);
    if (word == nullptr) {
        return fallback;
    }
    std::optional<T> value = parse(std::string_view(word));
    if (!value) {
        reportEnvironment(name, word, expected, fallbackText);
    }
    return std::move(value).value_or(std::move(fallback));
}

}  // namespace television
