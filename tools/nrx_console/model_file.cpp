#include "tools/nrx_console/model_file.h"

#include <charconv>
#include <fstream>
#include <limits>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <type_traits>
#include <utility>

namespace nrx_console {

namespace {

using Json = nlohmann::json;

constexpr char ACTION[] = "action";
constexpr char TABLE[] = "table";
/// In the order of the alternatives of `simulator::Value`.
constexpr char const* VALUE_TYPES[] = {"integer", "int64", "string", "integer-list", "string-list"};

std::string expectedTypes(bool plainOnly) {
    std::string names;
    for (char const* const name : VALUE_TYPES) {
        names += names.empty() ? name : std::string(", ") + name;
    }
    return plainOnly ? names : names + ", " + ACTION + ", " + TABLE;
}

/// A value inside the file, with its place for error messages.
class Place {
public:
    Place(Json const& json, std::string path) : json_(json), path_(std::move(path)) {}

    [[noreturn]] void fail(std::string const& expected) const {
        constexpr std::size_t LONGEST = 60;
        std::string found = json_.dump(-1, ' ', true, Json::error_handler_t::replace);
        if (found.size() > LONGEST) {
            found = found.substr(0, LONGEST) + "...";
        }
        throw ModelError((path_.empty() ? "/" : path_) + ": found " + found + ", expected " + expected);
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
                Place(value, path_ + "/" + name).fail("no such member");
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
        using Limits = std::numeric_limits<Number>;
        std::string const expected =
            "a whole number from " + std::to_string(Limits::min()) + " to " + std::to_string(Limits::max());
        if (!json_.is_number_integer() ||
            (json_.is_number_unsigned() &&
             json_.get<std::uint64_t>() > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max()))) {
            fail(expected);
        }
        auto const value = json_.get<std::int64_t>();
        if (value < Limits::min() || value > Limits::max()) {
            fail(expected);
        }
        return static_cast<Number>(value);
    }

private:
    Json const& json_;
    std::string path_;
};

template <typename T>
struct Reader;

template <>
struct Reader<std::string> {
    static std::string read(Place const& place) { return place.text(); }
};

template <typename Number>
requires std::is_integral_v<Number>
struct Reader<Number> {
    static Number read(Place const& place) { return place.number<Number>(); }
};

template <typename T>
struct Reader<std::vector<T>> {
    static std::vector<T> read(Place const& place) {
        std::vector<T> list;
        for (Place const& element : place.elements("a list")) {
            list.push_back(Reader<T>::read(element));
        }
        return list;
    }
};

/// The alternative of `simulator::Value` that is named `type`, read from `place`.
template <std::size_t INDEX = 0>
std::optional<simulator::Value> readValue(std::string const& type, Place const& place) {
    if constexpr (INDEX < std::variant_size_v<simulator::Value>) {
        if (type == VALUE_TYPES[INDEX]) {
            return Reader<std::variant_alternative_t<INDEX, simulator::Value>>::read(place);
        }
        return readValue<INDEX + 1>(type, place);
    } else {
        return std::nullopt;
    }
}

ModelObject readObject(Place const& place) {
    std::string const key = place.member("key").text();
    Place const typePlace = place.member("type");
    std::string const type = typePlace.text();
    if (type == ACTION) {
        place.expectOnly({"key", "type"});
        return {key, Action{}};
    }
    place.expectOnly({"key", "type", "value"});
    Place const valuePlace = place.member("value");
    if (type == TABLE) {
        return {key, Reader<simulator::Rows>::read(valuePlace)};
    }
    if (auto value = readValue(type, valuePlace)) {
        return {key, *std::move(value)};
    }
    typePlace.fail("one of " + expectedTypes(false));
}

std::vector<ModelObject> readObjects(Json const& json) {
    Place const root(json, "");
    Place const objectsPlace = root.member("objects");
    root.expectOnly({"objects"});
    std::vector<ModelObject> objects;
    std::set<std::string> keys;
    for (Place const& place : objectsPlace.elements("a list of objects")) {
        objects.push_back(readObject(place));
        if (!keys.insert(objects.back().key).second) {
            place.member("key").fail("each key once");
        }
    }
    return objects;
}

/// A word as JSON: the number that it spells out, else a string.
Json jsonOf(std::string const& word) {
    std::int64_t number = 0;
    char const* const end = word.data() + word.size();
    auto const [last, failure] = std::from_chars(word.data(), end, number);
    return failure == std::errc() && last == end ? Json(number) : Json(word);
}

}  // namespace

std::vector<ModelObject> readModelFile(std::string const& path) {
    std::ifstream file(path);
    if (!file) {
        throw ModelError(path + ": cannot be opened, expected a model file");
    }
    try {
        return readObjects(Json::parse(file));
    } catch (Json::exception const& error) {  // Names line and column.
        throw ModelError(path + ": " + error.what());
    } catch (ModelError const& error) {
        throw ModelError(path + ": " + error.what());
    }
}

simulator::Value valueFromWords(std::string const& type, std::vector<std::string> const& words) {
    bool const isText = type == "string" || type == "string-list";
    bool const isList = type == "integer-list" || type == "string-list";
    Json list = Json::array();
    for (std::string const& word : words) {
        list.push_back(isText ? Json(word) : jsonOf(word));
    }
    if (!isList && words.size() != 1) {
        throw ModelError("found " + std::to_string(words.size()) + " values, expected one");
    }
    if (auto value = readValue(type, Place(isList ? list : list.at(0), "value"))) {
        return *std::move(value);
    }
    throw ModelError("found type \"" + type + "\", expected one of " + expectedTypes(true));
}

std::string typeName(simulator::Value const& value) { return VALUE_TYPES[value.index()]; }

}  // namespace nrx_console
