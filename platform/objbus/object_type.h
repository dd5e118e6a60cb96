#pragma once

namespace objbus {

/// The kind of a model object. The kind determines the interfaces of the object and of its observers. A television may
/// report any `int`. Values outside 1 to 8 name no kind.
enum ObjectTypeSpec : int {
    OBJECT_TYPE_NONE = 0,  ///< Not reported, or not connected.
    OBJECT_TYPE_NUMERIC_INTEGER = 1,
    OBJECT_TYPE_STRING = 2,
    OBJECT_TYPE_VECTOR_NUMERIC_INTEGER = 3,
    OBJECT_TYPE_VECTOR_STRING = 4,
    OBJECT_TYPE_ACTION = 5,
    OBJECT_TYPE_TABLE = 6,
    OBJECT_TYPE_VECTOR_INTEGER = 7,  ///< Has no interface in this folder.
    OBJECT_TYPE_NUMERIC_INT64 = 8,
};

}  // namespace objbus
