#pragma once

#include <map>
#include <string>
#include <vector>

#include "objbus/argument.h"
#include "objbus/object_type.h"
#include "objbus/observer.h"
#include "objbus/table.h"

namespace objbus {

/// One object of the data model. The model owns it; a client holds a plain pointer from a successful
/// `RootInterface::connectObject` to the matching `RootInterface::disconnectObject`. Any thread of the client's may
/// call it. A status is 0 for success and otherwise the television's; the library looks at those of reads and of
/// `invoke`.
///
/// The order of the virtual operations is a binary contract, here and in every class below. The `platformReserved`
/// operations are the television's own and hold their slots.
class __attribute__((visibility("default"))) Object {
public:
    Object() = default;
    Object(Object const&) = delete;
    Object& operator=(Object const&) = delete;
    virtual ~Object();
    /// Writes the object's type; left as it was when the object does not tell.
    virtual int getType(ObjectTypeSpec& type) = 0;
};

/// `OBJECT_TYPE_NUMERIC_INTEGER`.
class __attribute__((visibility("default"))) ObjectNumericInteger : public Object {
public:
    virtual int setValue(int value) = 0;  ///< Returns a status.
    virtual int getValue() = 0;           ///< The value itself.
};

/// `OBJECT_TYPE_NUMERIC_INT64`.
class __attribute__((visibility("default"))) ObjectNumericInt64 : public Object {
public:
    virtual int setValue(long long value) = 0;  ///< Returns a status.
    virtual long long getValue() = 0;           ///< The value itself.
};

/// `OBJECT_TYPE_STRING`. Reads and writes return a status. A read that fails may have written half of the value.
class __attribute__((visibility("default"))) ObjectString : public Object {
public:
    virtual int getValue(std::string& value) = 0;        ///< Replaces `value`.
    virtual int setValue(std::string const& value) = 0;  ///< Takes a copy.
};

/// `OBJECT_TYPE_VECTOR_NUMERIC_INTEGER`. Reads and writes return a status. A read that fails may have written half of
/// the list.
class __attribute__((visibility("default"))) ObjectVectorNumericInteger : public Object {
public:
    virtual int platformReserved() = 0;                            ///< The television's own.
    virtual int setValue(std::map<int, int> const& elements) = 0;  ///< Elements by position, from 0: the whole list.
    virtual int getValue(std::vector<int>& values) = 0;            ///< Replaces `values`.
};

/// `OBJECT_TYPE_VECTOR_STRING`, likewise.
class __attribute__((visibility("default"))) ObjectVectorString : public Object {
public:
    virtual int platformReserved() = 0;                                    ///< The television's own.
    virtual int setValue(std::map<int, std::string> const& elements) = 0;  ///< By position, from 0: the whole list.
    virtual int getValue(std::vector<std::string>& values) = 0;            ///< Replaces `values`.
};

/// `OBJECT_TYPE_ACTION`.
class __attribute__((visibility("default"))) ObjectAction : public Object {
public:
    virtual int platformReserved1() = 0;  ///< The television's own.
    virtual int platformReserved2() = 0;  ///< The television's own.
    /// Starts the action, writes the identifier of this invocation and returns a status. The answer comes later
    /// through `ObserverAction`, under the same identifier.
    virtual int invoke(unsigned int& actionId, std::vector<Argument> const& arguments) = 0;
};

/// `OBJECT_TYPE_TABLE`.
class __attribute__((visibility("default"))) ObjectTable : public Object {
public:
    /// Makes an iterator, which the model owns until `destroyIterator`. Its notifications go to `observer`, perhaps
    /// before this has returned. Null when it is refused.
    virtual TableIterator* createIterator(IteratorType const& type, ObserverTableIterator* observer,
                                          std::vector<TableSelection> const& selections,
                                          std::vector<int> const& columns, std::vector<TableOrder> const& orders) = 0;
    /// Destroys one that this table made. Once it has returned, its observer hears no more of it. Returns a status.
    virtual int destroyIterator(TableIterator* iterator) = 0;
};

}  // namespace objbus
