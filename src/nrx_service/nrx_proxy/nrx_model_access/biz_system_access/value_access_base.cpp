#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/value_access_base.h"

#include <boost/shared_ptr.hpp>
#include <cstdio>
#include <limits>
#include <map>
#include <utility>

#include "frame/process.h"
#include "nrx_service/nrx_proxy/diagnostics/debug_log.h"
#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/model_connection.h"

// Each operation writes its own line, so that the line names it.
#define TYPE_MISMATCH_MESSAGE "Object Type mismatch:  %s"
#define NUMBER_MISMATCH_MESSAGE "STATUS_ERR_VALUE_TYPE_MISMATCH"

namespace orvane::system::support {

namespace {

constexpr char ROOT_INTERFACE_NAME[] = "torvi.ob.interfaces.tvapi.RootInterface";

/// The form in which the model takes a whole list.
template <typename T>
std::map<int, T> byPosition(std::vector<T> const& list) {
    std::map<int, T> elements;
    int position = 0;
    for (T const& element : list) {
        elements.emplace_hint(elements.end(), position++, element);
    }
    return elements;
}

}  // namespace

ValueAccessBase::ValueAccessBase() = default;

ValueAccessBase::ValueAccessBase(std::string const& key) : name(key) {}

ValueAccessBase::~ValueAccessBase() = default;

int ValueAccessBase::setNewValueHandler(std::shared_ptr<ValueHandler> newHandler) {
    DEBUG_TRACE();
    handler = std::move(newHandler);
    return STATUS_OK;
}

objbus::ObjectTypeSpec ValueAccessBase::getType() {
    if (object == nullptr) {
        DEBUG_LOG(LOG_ERROR, "Unknown Type since value is not connected  : %s.", name.c_str());
        return objbus::OBJECT_TYPE_NONE;
    }
    return typeOf(object);
}

std::string ValueAccessBase::getName() { return name; }

int ValueAccessBase::getValue(std::string& out) {
    if (int const status = tryConnectIfNeeded(); status != STATUS_OK) {
        return status;
    }
    if (typeOf(object) == objbus::OBJECT_TYPE_STRING) {
        return static_cast<objbus::ObjectString*>(object)->getValue(out);
    }
    DEBUG_LOG(LOG_ERROR, TYPE_MISMATCH_MESSAGE, accessTypeName(getType()));
    return STATUS_ERR_VALUE_TYPE_MISMATCH;
}

int ValueAccessBase::getValue(int& out) {
    if (int const status = tryConnectIfNeeded(); status != STATUS_OK) {
        return status;
    }
    if (typeOf(object) == objbus::OBJECT_TYPE_NUMERIC_INTEGER) {
        out = static_cast<objbus::ObjectNumericInteger*>(object)->getValue();
        return STATUS_OK;
    }
    DEBUG_LOG(LOG_ERROR, TYPE_MISMATCH_MESSAGE, accessTypeName(getType()));
    return STATUS_ERR_VALUE_TYPE_MISMATCH;
}

int ValueAccessBase::getValue(long long& out) {
    if (int const status = tryConnectIfNeeded(); status != STATUS_OK) {
        return status;
    }
    if (typeOf(object) == objbus::OBJECT_TYPE_NUMERIC_INT64) {
        out = static_cast<objbus::ObjectNumericInt64*>(object)->getValue();
        return STATUS_OK;
    }
    DEBUG_LOG(LOG_ERROR, TYPE_MISMATCH_MESSAGE, accessTypeName(getType()));
    return STATUS_ERR_VALUE_TYPE_MISMATCH;
}

int ValueAccessBase::getValue(std::vector<std::string>& out) {
    if (int const status = tryConnectIfNeeded(); status != STATUS_OK) {
        return status;
    }
    if (typeOf(object) == objbus::OBJECT_TYPE_VECTOR_STRING) {
        return static_cast<objbus::ObjectVectorString*>(object)->getValue(out);
    }
    DEBUG_LOG(LOG_ERROR, TYPE_MISMATCH_MESSAGE, accessTypeName(getType()));
    return STATUS_ERR_VALUE_TYPE_MISMATCH;
}

int ValueAccessBase::getValue(std::vector<int>& out) {
    if (int const status = tryConnectIfNeeded(); status != STATUS_OK) {
        return status;
    }
    if (typeOf(object) == objbus::OBJECT_TYPE_VECTOR_NUMERIC_INTEGER) {
        return static_cast<objbus::ObjectVectorNumericInteger*>(object)->getValue(out);
    }
    DEBUG_LOG(LOG_ERROR, TYPE_MISMATCH_MESSAGE, accessTypeName(getType()));
    return STATUS_ERR_VALUE_TYPE_MISMATCH;
}

int ValueAccessBase::setValue(std::string const& value) {
    DEBUG_TRACE();
    if (int const status = tryConnectIfNeeded(); status != STATUS_OK) {
        return status;
    }
    if (typeOf(object) == objbus::OBJECT_TYPE_STRING) {
        static_cast<objbus::ObjectString*>(object)->setValue(value);
        return STATUS_OK;
    }
    DEBUG_LOG(LOG_ERROR, TYPE_MISMATCH_MESSAGE, accessTypeName(getType()));
    return STATUS_ERR_VALUE_TYPE_MISMATCH;
}

int ValueAccessBase::setValue(int value) {
    DEBUG_TRACE();
    if (int const status = tryConnectIfNeeded(); status != STATUS_OK) {
        return status;
    }
    objbus::ObjectTypeSpec const type = typeOf(object);
    if (type == objbus::OBJECT_TYPE_NUMERIC_INTEGER) {
        static_cast<objbus::ObjectNumericInteger*>(object)->setValue(value);
        return STATUS_OK;
    }
    if (type == objbus::OBJECT_TYPE_NUMERIC_INT64) {
        static_cast<objbus::ObjectNumericInt64*>(object)->setValue(value);
        return STATUS_OK;
    }
    DEBUG_LOG(LOG_ERROR, NUMBER_MISMATCH_MESSAGE);
    return STATUS_ERR_VALUE_TYPE_MISMATCH;
}

int ValueAccessBase::setValue(long long value) {
    DEBUG_TRACE();
    if (int const status = tryConnectIfNeeded(); status != STATUS_OK) {
        return status;
    }
    objbus::ObjectTypeSpec const type = typeOf(object);
    if (type == objbus::OBJECT_TYPE_NUMERIC_INTEGER) {
        if (value < std::numeric_limits<int>::min() || value > std::numeric_limits<int>::max()) {
            DEBUG_LOG(LOG_ERROR, "Value is too large for int32 value:  [%lld] ", value);
            return STATUS_ERR_VALUE_TYPE_MISMATCH;
        }
        static_cast<objbus::ObjectNumericInteger*>(object)->setValue(static_cast<int>(value));
        return STATUS_OK;
    }
    if (type == objbus::OBJECT_TYPE_NUMERIC_INT64) {
        static_cast<objbus::ObjectNumericInt64*>(object)->setValue(value);
        return STATUS_OK;
    }
    DEBUG_LOG(LOG_ERROR, NUMBER_MISMATCH_MESSAGE);
    return STATUS_ERR_VALUE_TYPE_MISMATCH;
}

int ValueAccessBase::setValue(std::vector<std::string> const& value) {
    DEBUG_TRACE();
    if (int const status = tryConnectIfNeeded(); status != STATUS_OK) {
        return status;
    }
    if (typeOf(object) == objbus::OBJECT_TYPE_VECTOR_STRING) {
        static_cast<objbus::ObjectVectorString*>(object)->setValue(byPosition(value));
        return STATUS_OK;
    }
    DEBUG_LOG(LOG_ERROR, TYPE_MISMATCH_MESSAGE, accessTypeName(getType()));
    return STATUS_ERR_VALUE_TYPE_MISMATCH;
}

int ValueAccessBase::setValue(std::vector<int> const& value) {
    DEBUG_TRACE();
    if (int const status = tryConnectIfNeeded(); status != STATUS_OK) {
        return status;
    }
    if (typeOf(object) == objbus::OBJECT_TYPE_VECTOR_NUMERIC_INTEGER) {
        static_cast<objbus::ObjectVectorNumericInteger*>(object)->setValue(byPosition(value));
        return STATUS_OK;
    }
    DEBUG_LOG(LOG_ERROR, TYPE_MISMATCH_MESSAGE, accessTypeName(getType()));
    return STATUS_ERR_VALUE_TYPE_MISMATCH;
}

void ValueAccessBase::onNewValue(ValueObject const& value) {
    DEBUG_TRACE();
    if (handler) {
        handler->handleNewValue(value);
    }
}

char const* ValueAccessBase::accessTypeName(objbus::ObjectTypeSpec type) {
    switch (type) {
        case objbus::OBJECT_TYPE_NUMERIC_INTEGER:
            return "OBJECT_TYPE_NUMERIC_INTEGER";
        case objbus::OBJECT_TYPE_STRING:
            return "OBJECT_TYPE_STRING";
        case objbus::OBJECT_TYPE_VECTOR_NUMERIC_INTEGER:
            return "OBJECT_TYPE_VECTOR_NUMERIC_INTEGER";
        case objbus::OBJECT_TYPE_VECTOR_STRING:
            return "OBJECT_TYPE_VECTOR_STRING";
        case objbus::OBJECT_TYPE_ACTION:
            return "OBJECT_TYPE_ACTION";
        case objbus::OBJECT_TYPE_TABLE:
            return "OBJECT_TYPE_TABLE";
        case objbus::OBJECT_TYPE_VECTOR_INTEGER:
            return "OBJECT_TYPE_VECTOR_INTEGER";
        case objbus::OBJECT_TYPE_NUMERIC_INT64:
            return "OBJECT_TYPE_NUMERIC_INT64";
        case objbus::OBJECT_TYPE_NONE:
            break;
    }
    return "OBJECT_TYPE_NONE";
}

int ValueAccessBase::tryConnectIfNeeded() {
    if (object != nullptr) {
        return STATUS_OK;
    }
    int const status = connect(connectTimeoutMs);
    if (status != STATUS_OK) {
        DEBUG_LOG(LOG_ERROR, "BizValue connect failed:'%s', ret: %d", getName().c_str(), status);
    } else {
        DEBUG_LOG(LOG_INFO, "BizValue connect successfully:'%s'.", getName().c_str());
    }
    return status;
}

objbus::RootInterface* ValueAccessBase::getRootInterface() {
    boost::shared_ptr<frame::Interface> reference;
    int const status = frame::Process::getInstance().getInterfaceReference(reference, ROOT_INTERFACE_NAME);
    if (status != 0 || !reference) {
        std::puts("get interface Reference failed.");
        return nullptr;
    }
    if (reference->getObject() == nullptr) {
        return nullptr;
    }
    return static_cast<objbus::RootInterface*>(reference->getObject());
}

}  // namespace orvane::system::support
