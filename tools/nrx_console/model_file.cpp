#include "tools/nrx_console/model_file.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>
#include <type_traits>
#include <utility>

#include "television/environment.h"
#include "television/printable.h"

namespace nrx_console {

namespace {

using Json = nlohmann::json;

constexpr char ACTION[] = "action";
constexpr char TABLE[] = "table";
constexpr char BARE[] = "bare";
constexpr int DEEPEST = 6;  ///< The largest permitted depth of nested JSON values. Each level takes memory.
constexpr std::size_t LARGEST_FILE = 64U << 20U;

/// A JSON value and its path in the file, for error messages.
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

/// The names of all types in a model file.
Words fileTypes() {
    Words names;
    television::anyOfPlainKinds([&names]<typename T>() {
        names.push_back(television::PlainKindTraits<T>::NAME);
        return false;
    });
    names.insert(names.end(), {ACTION, TABLE});
    return names;
}

template <typename T>
T read(Place const& place) {
    if constexpr (std::is_integral_v<T>) {
        return place.number<T>();
    } else if constexpr (std::is_same_v<T, std::string>) {
        return place.text();
    } else {
        T list;
        for (Place const& element : place.elements("a list")) {
            list.push_back(read<typename T::value_type>(element));
        }
        return list;
    }
}

ModelObject readObject(Place const& place) {
    Place const keyPlace = place.member("key");
    std::string const key = keyPlace.text();
    if (key != expandShortKey(key)) {
        keyPlace.fail("a key that does not stand for another one");
    }
    Place const typePlace = place.member("type");
    std::string const type = typePlace.text();
    if (type == ACTION) {
        place.expectOnly({"key", "type"});
        return {key, ActionContent{}};
    }
    Content content;
    auto const readValue = [&]<typename T>() {
        place.expectOnly({"key", "type", "value"});
        content = read<T>(place.member("value"));
    };
    if (type == TABLE) {
        readValue.operator()<television::Rows>();
    } else if (!callForPlainKindNamed(type, readValue)) {
        typePlace.fail("one of " + joined(fileTypes(), ", "));
    }
    return {key, content};
}

std::vector<ModelObject> readObjects(Json const& json) {
    Place const root(json, "");
    Place const list = root.member("objects");
    root.expectOnly({"objects"});
    std::vector<ModelObject> objects;
    std::set<std::string> keys;
    for (Place const& place : list.elements("a list of objects")) {
        objects.push_back(readObject(place));
        if (!keys.insert(objects.back().key).second) {
            place.member("key").fail("each key once");
        }
    }
    return objects;
}

/// Parses strictly. The JSON library alone would keep the last of two members with the same name, and would not report
/// the line of a number that is too large.
Json parse(std::string const& text) {
    using Event = Json::parse_event_t;
    std::istringstream stream(text);
    auto const line = [&text, &stream] {
        auto const read = static_cast<std::ptrdiff_t>(stream.rdbuf()->pubseekoff(0, std::ios::cur, std::ios::in));
        return "line " + std::to_string(1 + std::count(text.begin(), text.begin() + read, '\n')) + ": ";
    };
    std::vector<std::set<std::string>> members;  // The names of the members of each open object.
    auto const check = [&members, &line](int depth, Event event, Json const& parsed) {
        if (depth > DEEPEST) {
            throw ModelError(line() + "found lists or objects within one another, expected no more than a table's");
        }
        if (event == Event::object_start) {
            members.emplace_back();
        } else if (event == Event::object_end) {
            members.pop_back();
        } else if (event == Event::key && !members.back().insert(parsed.get<std::string>()).second) {
            throw ModelError(line() + "found " + parsed.dump() + " again, expected each member of an object once");
        }
        // Keeps no value. At the end of each object, the JSON library searches the kept values of the list around the
        // object for values to remove, which would take quadratic time.
        return event == Event::object_start || event == Event::array_start || event == Event::key;
    };
    try {
        [[maybe_unused]] Json const nothing = Json::parse(stream, check);
    } catch (Json::out_of_range const& error) {
        throw ModelError(line() + error.what());
    }
    return Json::parse(text);  // The parser with a callback has only checked the text.
}

template <typename T>
constexpr bool IS_TEXT = std::is_same_v<T, std::string> || std::is_same_v<T, std::vector<std::string>>;
template <typename T>
constexpr bool IS_LIST = !std::is_integral_v<T> && !std::is_same_v<T, std::string>;

/// The JSON of a value of type `T`. For a number type, a word that is no number stays a string, which `read` refuses.
template <typename T>
Json jsonOf(Words const& words) {
    Json list = Json::array();
    for (std::string const& word : words) {
        auto const number = television::parseNumber<std::int64_t>(word);
        list.push_back(number && !IS_TEXT<T> ? Json(*number) : Json(word));
    }
    if (!IS_LIST<T> && words.size() != 1) {
        throw ModelError("found " + std::to_string(words.size()) + " values, expected one");
    }
    return IS_LIST<T> ? list : list.at(0);
}

}  // namespace

std::vector<ModelObject> readModelFile(std::string const& path) {
    try {
        std::ifstream file(path, std::ios::binary);
        file.exceptions(std::ios::badbit);
        std::string text;
        for (std::array<char, 1U << 16U> part{}; file;) {
            file.read(part.data(), part.size());
            text.append(part.data(), static_cast<std::size_t>(file.gcount()));
            if (text.size() > LARGEST_FILE) {
                throw ModelError("found more than 64 MiB, expected a model file");
            }
        }
        if (!file.eof()) {
            throw std::ios::failure("not read");
        }
        return readObjects(parse(text));
    } catch (std::ios::failure const&) {
        throw ModelError(typed(path) + ": cannot be read, expected a model file");
    } catch (std::bad_alloc const&) {
        throw ModelError(typed(path) + ": found more than there is memory for, expected a model file");
    } catch (std::exception const& error) {  // The parser's errors name the line and the column.
        throw ModelError(typed(path) + ": " + television::printable(error.what()));
    }
}

Content contentFromCommandWords(std::string const& type, Words const& words) {
    if (type == ACTION) {
        if (!words.empty()) {
            throw unexpected(words.front(), "nothing: an action has no value");
        }
        return ActionContent{};
    }
    if (type == TABLE) {
        return rowFromEachWord(words);
    }
    if (type == BARE) {
        if (words.size() != 1) {
            throw CommandError("found " + std::to_string(words.size()) +
                               " values, expected one: bare NUMBER, the number of a type");
        }
        return TypeOnlyContent{static_cast<objbus::ObjectTypeSpec>(numberOf(words.front()))};
    }
    Content content;
    auto const readWords = [&]<typename T>() { content = read<T>(Place(jsonOf<T>(words), "value")); };
    if (!callForPlainKindNamed(type, readWords)) {
        throw unexpected(type, joinAsAlternatives(fileTypes()));
    }
    return content;
}

Words wordsOfValue(television::Value const& value) {
    Json const json = std::visit([](auto const& plain) { return Json(plain); }, value);
    Words words;
    for (Json const& element : json.is_array() ? json : Json::array({json})) {
        words.push_back(element.is_string() ? element.get<std::string>() : element.dump());
    }
    return words;
}

std::string typeName(objbus::ObjectTypeSpec type) {
    std::string name;
    bool const isPlain = television::anyOfPlainKinds([&]<typename T>() {
        name = television::PlainKindTraits<T>::NAME;
        return type == television::PlainKindTraits<T>::TYPE;
    });
    if (isPlain) {
        return name;
    }
    if (type == objbus::OBJECT_TYPE_ACTION || type == objbus::OBJECT_TYPE_TABLE) {
        return type == objbus::OBJECT_TYPE_ACTION ? ACTION : TABLE;
    }
    return BARE + (" " + std::to_string(static_cast<int>(type)));
}

std::string typeNames() { return joined(fileTypes(), "|") + "|" + BARE; }

}  // namespace nrx_console
