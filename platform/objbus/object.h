#pragma once

#include <map>
#include <string>
#include <vector>

#include "objbus/argument.h"
#include "objbus/object_type.h"
#include "objbus/observer.h"
#include "objbus/table.h"

namespace objbus {

/// One object of the data model. The model owns the object. A client holds a plain pointer from a successful
/// `RootInterface::connectObject` until the matching `RootInterface::disconnectObject`. All threads of the client may
/// call the object. A status is 0 for success. The television defines the other statuses. The library checks the
/// statuses of reads and of `invoke`.
///
/// The order of the virtual operations is a binary contract, here and in every class below. The `platformReserved`
/// operations keep slots for the television's own use.
class __attribute__((visibility("default"))) Object {
public:
    Object() = default;
    Object(Object const&) = delete;
    Object& operator=(Object const&) = delete;
    virtual ~Object();
    /// Writes the object's type to `type`. Leaves `type` unchanged if the object does not report its type.
    virtual int getType(ObjectTypeSpec& type) = 0;
};

/// An object of the type `OBJECT_TYPE_NUMERIC_INTEGER`.
class __attribute__((visibility("default"))) ObjectNumericInteger : public Object {
public:
    virtual int setValue(int value) = 0;  ///< Returns a status.
    virtual int getValue() = 0;           ///< Returns the value.
};

/// An object of the type `OBJECT_TYPE_NUMERIC_INT64`.
class __attribute__((visibility("default"))) ObjectNumericInt64 : public Object {
public:
    virtual int setValue(long long value) = 0;  ///< Returns a status.
    virtual long long getValue() = 0;           ///< Returns the value.
};

/// An object of the type `OBJECT_TYPE_STRING`. Reads and writes return a status. A failed read may leave a part of the
/// text in `value`.
class __attribute__((visibility("default"))) ObjectString : public Object {
public:
    virtual int getValue(std::string& value) = 0;        ///< Replaces `value`.
    virtual int setValue(std::string const& value) = 0;  ///< Copies `value`.
};

/// An object of the type `OBJECT_TYPE_VECTOR_NUMERIC_INTEGER`. Reads and writes return a status. A failed read may
/// leave a part of the list in `values`.
class __attribute__((visibility("default"))) ObjectVectorNumericInteger : public Object {
public:
    virtual int platformReserved() = 0;                            ///< For the television's own use.
    virtual int setValue(std::map<int, int> const& elements) = 0;  ///< Replaces the list. Keys are positions, from 0.
    virtual int getValue(std::vector<int>& values) = 0;            ///< Replaces `values`.
};

/// An object of the type `OBJECT_TYPE_VECTOR_STRING`. Reads and writes return a status. A failed read may leave a part
/// of the list in `values`.
class __attribute__((visibility("default"))) ObjectVectorString : public Object {
public:
    virtual int platformReserved() = 0;                                    ///< For the television's own use.
    virtual int setValue(std::map<int, std::string> const& elements) = 0;  ///< Replaces the list. Keys are positions,
                                                                           ///< from 0.
    virtual int getValue(std::vector<std::string>& values) = 0;            ///< Replaces `values`.
};

/// An object of the type `OBJECT_TYPE_ACTION`.
class __attribute__((visibility("default"))) ObjectAction : public Object {
public:
    virtual int platformReserved1() = 0;  ///< For the television's own use.
    virtual int platformReserved2() = 0;  ///< For the television's own use.
    /// Starts the action, writes the invocation's identifier to `actionId` and returns a status. The answer arrives
    /// later through `ObserverAction`, with the same identifier.
    virtual int invoke(unsigned int& actionId, std::vector<Argument> const& arguments) = 0;
};

/// An object of the type `OBJECT_TYPE_TABLE`.
class __attribute__((visibility("default"))) ObjectTable : public Object {
public:
    /// Creates an iterator, which the model owns until `destroyIterator`. `observer` receives the iterator's
    /// notifications, possibly before the return. Returns null if the television refuses the iterator.
    virtual TableIterator* createIterator(IteratorType const& type, ObserverTableIterator* observer,
                                          std::vector<TableSelection> const& selections,
                                          std::vector<int> const& columns, std::vector<TableOrder> const& orders) = 0;
    /// Destroys an iterator of this table. After the return, the iterator's observer receives no notification. Returns
    /// a status.
    virtual int destroyIterator(TableIterator* iterator) = 0;
};

}  // namespace objbus
