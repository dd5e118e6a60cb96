#pragma once

#include <map>
#include <string>
#include <vector>

#include "television/kinds.h"
#include "television/status.h"

namespace television {

/// Implements the operations of the platform's interface for objects with a plain value of the type `T`. `Storage`
/// derives from this interface and has these functions:
/// - `write` takes the value. For a list, `write` takes a map from positions to elements.
/// - `read` sets a string or a list and returns a status.
/// - `readNumber` returns a number.
template <typename T, typename Storage>
class PlainObjectAdapter final : public Storage {
public:
    using Storage::Storage;
    int setValue(T value) override { return this->write(value); }
    T getValue() override { return this->readNumber(); }
};

template <typename Storage>
class PlainObjectAdapter<std::string, Storage> final : public Storage {
public:
    using Storage::Storage;
    int setValue(std::string const& value) override { return this->write(value); }
    int getValue(std::string& value) override { return this->read(value); }
};

template <typename Element, typename Storage>
class PlainObjectAdapter<std::vector<Element>, Storage> final : public Storage {
public:
    using Storage::Storage;
    int platformReserved() override { return STATUS_NOT_SUPPORTED; }
    int setValue(std::map<int, Element> const& listByPosition) override { return this->write(listByPosition); }
    int getValue(std::vector<Element>& values) override { return this->read(values); }
};

}  // namespace television
