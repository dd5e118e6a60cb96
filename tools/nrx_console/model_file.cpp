#include "tools/nrx_console/model_file.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <fstream>
#include <iterator>
#include <limits>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>
#include <type_traits>

#include "television/printable.h"
#include "tools/nrx_console/json_place.h"

namespace nrx_console {

namespace {

constexpr char ACTION[] = "action";
constexpr char TABLE[] = "table";
constexpr char BARE[] = "bare";
constexpr int DEEPEST = 6;  ///< More than a model file needs; each level takes memory.
constexpr std::size_t LARGEST_FILE = 64U << 20U;

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

template <typename T>
television::Value readValue(Place const& place) {
    return Reader<T>::read(place);
}

struct PlainType {
    char const* name;
    objbus::ObjectTypeSpec type;
    television::Value (*read)(Place const& place);
};

constexpr PlainType PLAIN_TYPES[] = {
    {"integer", objbus::OBJECT_TYPE_NUMERIC_INTEGER, readValue<int>},
    {"int64", objbus::OBJECT_TYPE_NUMERIC_INT64, readValue<long long>},
    {"string", objbus::OBJECT_TYPE_STRING, readValue<std::string>},
    {"integer-list", objbus::OBJECT_TYPE_VECTOR_NUMERIC_INTEGER, readValue<std::vector<int>>},
    {"string-list", objbus::OBJECT_TYPE_VECTOR_STRING, readValue<std::vector<std::string>>},
};

/// Null for a type that is not plain-valued.
PlainType const* plainType(std::string const& name) {
    auto const* const found = std::find_if(std::begin(PLAIN_TYPES), std::end(PLAIN_TYPES),
                                           [&](auto const& type) { return name == type.name; });
    return found != std::end(PLAIN_TYPES) ? found : nullptr;
}

/// The types but bare.
std::string fileTypeNames() {
    std::string names;
    for (PlainType const& type : PLAIN_TYPES) {
        names += std::string(type.name) + ", ";
    }
    return names + ACTION + ", " + TABLE;
}

ModelObject readObject(Place const& place) {
    std::string const key = place.member("key").text();
    if (key != keyOf(key)) {
        place.member("key").fail("a key that does not stand for another one");
    }
    Place const typePlace = place.member("type");
    std::string const type = typePlace.text();
    if (type == ACTION) {
        place.expectOnly({"key", "type"});
        return {key, Action{}};
    }
    PlainType const* const plain = plainType(type);
    if (plain == nullptr && type != TABLE) {
        typePlace.fail("one of " + fileTypeNames());
    }
    place.expectOnly({"key", "type", "value"});
    Place const valuePlace = place.member("value");
    if (plain != nullptr) {
        return {key, plain->read(valuePlace)};
    }
    return {key, Reader<television::Rows>::read(valuePlace)};
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

/// Refuses a member that its object has already, of which the parser itself keeps the last one, and says where a number
/// is too large, which the parser does not.
Json parse(std::string const& text) {
    using Event = Json::parse_event_t;
    std::istringstream stream(text);
    auto const line = [&text, &stream] {
        auto const read = static_cast<std::ptrdiff_t>(stream.rdbuf()->pubseekoff(0, std::ios::cur, std::ios::in));
        return "line " + std::to_string(1 + std::count(text.begin(), text.begin() + read, '\n')) + ": ";
    };
    std::vector<std::set<std::string>> members;  // Of the objects that have begun and not ended.
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
        return true;
    };
    try {
        return Json::parse(stream, check);
    } catch (Json::out_of_range const& error) {
        throw ModelError(line() + error.what());
    }
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
    } catch (Json::exception const& error) {  // Names line and column.
        throw ModelError(typed(path) + ": " + television::printable(error.what()));
    } catch (ModelError const& error) {
        throw ModelError(typed(path) + ": " + television::printable(error.what()));
    }
}

Content contentFromWords(std::string const& type, Words const& words) {
    if (type == ACTION) {
        if (!words.empty()) {
            throw unexpected(words.front(), "nothing: an action has no value");
        }
        return Action{};
    }
    if (type == TABLE) {
        television::Rows rows;
        std::transform(words.begin(), words.end(), std::back_inserter(rows), wordsOf);
        return rows;
    }
    if (type == BARE && words.size() == 1) {
        return Bare{static_cast<objbus::ObjectTypeSpec>(numberOf(words.front()))};
    }
    PlainType const* const plain = plainType(type);
    if (plain == nullptr) {
        throw unexpected(type, "one of " + fileTypeNames() + ", or " + BARE + " with a number");
    }
    bool const isText = type == "string" || type == "string-list";
    bool const isList = type == "integer-list" || type == "string-list";
    Json list = Json::array();
    for (std::string const& word : words) {
        list.push_back(isText ? Json(word) : jsonOf(word));
    }
    if (!isList && words.size() != 1) {
        throw ModelError("found " + std::to_string(words.size()) + " values, expected one");
    }
    return plain->read(Place(isList ? list : list.at(0), "value"));
}

Words wordsOfValue(television::Value const& value) {
    if (auto const* const texts = std::get_if<std::vector<std::string>>(&value)) {
        return *texts;
    }
    if (auto const* const numbers = std::get_if<std::vector<int>>(&value)) {
        Words words;
        for (int const number : *numbers) {
            words.push_back(std::to_string(number));
        }
        return words;
    }
    if (auto const* const text = std::get_if<std::string>(&value)) {
        return {*text};
    }
    auto const* const number = std::get_if<int>(&value);
    return {std::to_string(number != nullptr ? *number : std::get<long long>(value))};
}

std::string typeName(objbus::ObjectTypeSpec type) {
    for (PlainType const& plain : PLAIN_TYPES) {
        if (plain.type == type) {
            return plain.name;
        }
    }
    if (type == objbus::OBJECT_TYPE_ACTION || type == objbus::OBJECT_TYPE_TABLE) {
        return type == objbus::OBJECT_TYPE_ACTION ? ACTION : TABLE;
    }
    return BARE + (" " + std::to_string(static_cast<int>(type)));
}

std::string typeNames() {
    std::string names;
    for (PlainType const& plain : PLAIN_TYPES) {
        names += std::string(plain.name) + "|";
    }
    return names + ACTION + "|" + TABLE + "|" + BARE;
}

}  // namespace nrx_console
