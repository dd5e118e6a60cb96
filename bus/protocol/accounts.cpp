#include "bus/protocol/accounts.h"

#include <grp.h>
#include <pwd.h>

#include <memory>
#include <string>

#include "television/environment.h"

namespace bus {

namespace {

/// If the word is a number, returns this number. Looks up any other word with `lookUp`, for example `getpwnam_r`.
template <typename Entry, typename Number>
std::optional<Number> find(int (*lookUp)(char const*, Entry*, char*, std::size_t, Entry**), Number Entry::*number,
                           std::string_view word) {
    if (auto const given = television::parseNumber<Number>(word)) {
        return given;
    }
    // The entry of a group with many users is long, because the entry contains the names of these users.
    constexpr std::size_t MOST_BYTES = std::size_t{1} << 20;
    auto const texts = std::make_unique_for_overwrite<char[]>(MOST_BYTES);
    Entry entry{};
    Entry* found = nullptr;
    int const result = lookUp(std::string(word).c_str(), &entry, texts.get(), MOST_BYTES, &found);
    return result == 0 && found != nullptr ? std::optional(entry.*number) : std::nullopt;
}

}  // namespace

std::optional<uid_t> parseOrLookUpUid(std::string_view word) { return find(::getpwnam_r, &passwd::pw_uid, word); }

std::optional<gid_t> parseOrLookUpGid(std::string_view word) { return find(::getgrnam_r, &group::gr_gid, word); }

}  // namespace bus
