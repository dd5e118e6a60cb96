#include <sstream>
#include <stdexcept>
#include <utility>

#include "measure.h"

namespace bench {

namespace {

template <typename... Elements>
ValueObject listOf(Elements const&... elements) {
    ValueObject list;
    list.typeTag = VALUE_VECTOR;
    (list.elements.emplace_back(elements), ...);
    return list;
}

/// Renders the values of this benchmark on a stream.
std::ostream& operator<<(std::ostream& stream, ValueObject const& value) {
    switch (value.typeTag) {
        case VALUE_INT:
            return stream << value.scalar.intValue;
        case VALUE_INT64:
            return stream << value.scalar.int64Value;
        case VALUE_DOUBLE:
            return stream << value.scalar.doubleValue;
        case VALUE_BOOL:
            return stream << (value.scalar.boolValue ? "TRUE" : "FALSE");
        case VALUE_STRING:
            return stream << value.stringValue;
        case VALUE_VECTOR: {
            stream << '[';
            char const* separator = "";
            for (ValueObject const& element : value.elements) {
                stream << separator << element;
                separator = ",";
            }
            return stream << ']';
        }
        default:
            throw std::logic_error("bench: a value that is not rendered here");
    }
}

std::string renderedByStream(ValueObject const& value) {
    std::ostringstream stream;
    stream << value;
    return stream.str();
}

template <typename Render>
void addRendering(std::string const& name, ValueObject const& value, Render render) {
    addCallBenchmark(name, [value, render] { return [value, render] { keepObservable(render(value).data()); }; });
}

template <typename T>
void addListConversion(std::string const& name, int count, ValueObject const& element) {
    ValueObject list;
    list.typeTag = VALUE_VECTOR;
    list.elements.assign(static_cast<std::size_t>(count), element);
    addCallBenchmark(name, [list] {
        return [list] {
            std::vector<T> const converted = list;
            keepObservable(converted.data());
        };
    });
}

}  // namespace

void addValueObjectBenchmarks() {
    ValueObject const list = listOf(1, 22, 333, 4444, 55555, 666666, 7777777, 88888888, 999999999, -1);
    std::pair<char const*, ValueObject> const kinds[] = {
        {"int", ValueObject(1234567)},
        {"int64", ValueObject(123456789012345LL)},
        {"double", ValueObject(3.14159265)},
        {"bool", ValueObject(true)},
        {"list", list},
        {"nested", listOf(1, std::string("text"), list, listOf(true, listOf(2.5, std::string("inner"))))},
    };
    for (auto const& [kind, value] : kinds) {
        if (value.convertToStringType() != renderedByStream(value)) {
            throw std::logic_error(std::string("bench: the two renderings differ for ") + kind);
        }
        addRendering(std::string("Render/") + kind, value,
                     [](ValueObject const& rendered) { return rendered.convertToStringType(); });
        addRendering(std::string("RenderStringStream/") + kind, value, renderedByStream);
    }
    for (int const count : {3, 100, 10000}) {
        std::string const name = "ListConversion/" + std::to_string(count);
        addListConversion<int>(name + "/int", count, ValueObject(1234567));
        addListConversion<std::string>(name + "/string", count, ValueObject(makeStrings(1, 8).front()));
    }
}

}  // namespace bench
