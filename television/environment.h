#pragma once

#include <charconv>
#include <cstdlib>
#include <optional>
#include <string_view>
#include <utility>

namespace television {

/// Writes the text unchanged. Allocates no memory.
void writeToStandardError(std::string_view text);

/// Writes `NAME is "VALUE": expected EXPECTED; using FALLBACK`.
void reportInvalidEnvironmentValue(char const* name, std::string_view value, char const* expected,
                                   char const* fallback);

/// Parses the whole text as a decimal number. Returns nothing for any other text.
template <typename T>
std::optional<T> parseNumber(std::string_view text) {
    T number{};
    auto const [end, failure] = std::from_chars(text.data(), text.data() + text.size(), number);
    bool const isNumber = failure == std::errc() && end == text.data() + text.size();
    return isNumber ? std::optional(number) : std::nullopt;
}

/// Returns the environment variable's value as parsed by `parse`, or the fallback if the variable is not set. `parse`
/// takes a `std::string_view` and returns a `std::optional<T>`. If this result is empty, one line on standard error
/// names the variable, the expected form and the fallback, and the fallback is returned.
template <typename T, typename Parse>
T fromEnvironment(char const* name, T fallback, char const* expected, char const* fallbackText, Parse const& parse) {
    char const* const text = std::getenv(name);
    if (text == nullptr) {
        return fallback;
    }
    std::optional<T> value = parse(std::string_view(text));
    if (!value) {
        reportInvalidEnvironmentValue(name, text, expected, fallbackText);
    }
    return std::move(value).value_or(std::move(fallback));
}

}  // namespace television
