#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tools/nrx_console/model_file.h"

// Private to the reader of model files.

namespace nrx_console {

using Json = nlohmann::json;

/// A value inside the file, with its place for error messages.
class Place {
public:
    Place(Json const& json, std::string path) : json_(json), path_(std::move(path)) {}

    [[noreturn]] void fail(std::string const& expected) const {
        throw ModelError((path_.empty() ? "/" : path_) + ": found " + found() + ", expected " + expected);
    }

    [[nodiscard]] Place member(char const* name) const {
        if (!json_.is_object() || !json_.contains(name)) {
            fail(std::string("an object with \"") + name + "\"");
        }
        return {json_.at(name), path_ + "/" + name};
    }

    void expectOnly(std::set<std::string> const& names) const {
        for (auto const& [name, value] : json_.items()) {
            if (!names.contains(name)) {
                std::string const escaped = Json(name).dump();
                Place(value, path_ + "/" + escaped.substr(1, escaped.size() - 2)).fail("no such member");
            }
        }
    }

    [[nodiscard]] std::vector<Place> elements(char const* expected) const {
        if (!json_.is_array()) {
            fail(expected);
        }
        std::vector<Place> places;
        for (std::size_t index = 0; index < json_.size(); ++index) {
            places.emplace_back(json_.at(index), path_ + "/" + std::to_string(index));
        }
        return places;
    }

    [[nodiscard]] std::string text() const {
        if (!json_.is_string()) {
            fail("a string");
        }
        return json_.get<std::string>();
    }

    template <typename Number>
    [[nodiscard]] Number number() const {
        bool const fits = json_.is_number_unsigned()
                              ? std::in_range<Number>(json_.get<std::uint64_t>())
                              : json_.is_number_integer() && std::in_range<Number>(json_.get<std::int64_t>());
        if (!fits) {
            fail(rangeOf<Number>());
        }
        return json_.get<Number>();
    }

private:
    [[nodiscard]] std::string found() const {
        constexpr std::size_t LONGEST = 60;
        if (json_.is_structured()) {
            return json_.is_array() ? "a list" : "an object";
        }
        std::string const text = json_.dump(-1, ' ', true, Json::error_handler_t::replace);
        return text.size() > LONGEST ? text.substr(0, LONGEST) + "..." : text;
    }

    Json const& json_;
    std::string path_;
};

}  // namespace nrx_console
