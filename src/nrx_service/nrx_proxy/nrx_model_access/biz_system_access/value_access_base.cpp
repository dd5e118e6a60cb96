#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/value_access_base.h"

#include <boost/shared_ptr.hpp>
#include <cstdio>
#include <map>
#include <utility>

#include "frame/process.h"
#include "nrx_service/nrx_proxy/diagnostics/debug_log.h"
#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/model_connection.h"
#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/value_kinds.h"

// The read and the write functions log this message themselves, because a log line names the function that logs.
#define TYPE_MISMATCH_MESSAGE "Object Type mismatch:  %s"

namespace orvane::system::support {

namespace {

/// The name is allocated only once, because a destructor looks up the root interface even if memory has run out. The
/// name is never freed, because a destructor may run at the end of the program.
std::string const& rootInterfaceName() {
    static auto const* const name = new std::string("torvi.ob.interfaces.tvapi.RootInterface");
    return *name;
}

/// Converts a value to the form that the model's write operation takes. A list becomes a map from positions to
/// elements. Any other value stays unchanged.
template <typename T>
T const& modelForm(T const& value) {
    return value;
}

template <typename T>
std::map<int, T> modelForm(std::vector<T> const& list) {
    std::map<int, T> elements;
    for (T const& element : list) {
        elements.emplace_hint(elements.end(), static_cast<int>(elements.size()), element);
    }
    return elements;
}

/// The typed reads and writes, for all kinds. The functions have the operations' names, because log lines name the
/// function. `connected` refers to the field `object` of `access`, which a connect inside these functions changes.
namespace typed {

/// The first step of every read: returns 0 if an object of the type is connected.
int getValue(ValueAccessBase& access, objbus::Object* const& connected, objbus::ObjectTypeSpec type) {
    if (int const status = access.tryConnectIfNeeded(); status != STATUS_OK) {
        return status;
    }
    if (typeOf(connected) != type) {
        DEBUG_LOG(LOG_ERROR, TYPE_MISMATCH_MESSAGE, access.accessTypeName(access.getType()));
        return STATUS_ERR_VALUE_TYPE_MISMATCH;
    }
    return STATUS_OK;
}

template <typename T>
int getValue(ValueAccessBase& access, objbus::Object* const& connected, T& out) {
    if (int const status = getValue(access, connected, ValueKind<T>::TYPE); status != STATUS_OK) {
        return status;
    }
    auto* const object = static_cast<typename ValueKind<T>::Object*>(connected);
    if constexpr (requires { object->getValue(out); }) {
        return object->getValue(out);
    } else {
        out = object->getValue();
        return STATUS_OK;
    }
}

template <typename T>
int setValue(ValueAccessBase& access, objbus::Object* const& connected, T const& value) {
    DEBUG_TRACE();
    if (int const status = access.tryConnectIfNeeded(); status != STATUS_OK) {
        return status;
    }
    objbus::ObjectTypeSpec const type = typeOf(connected);
    if (type == ValueKind<T>::TYPE) {
        static_cast<typename ValueKind<T>::Object*>(connected)->setValue(modelForm(value));
        return STATUS_OK;
    }
    if constexpr (std::is_same_v<T, int> || std::is_same_v<T, long long>) {  // The other integer type is accepted, too.
        using Other = std::conditional_t<std::is_same_v<T, int>, long long, int>;
        if (type == ValueKind<Other>::TYPE) {
            if (!std::in_range<Other>(value)) {
                DEBUG_LOG(LOG_ERROR, "Value is too large for int32 value:  [%lld] ", static_cast<long long>(value));
                return STATUS_ERR_VALUE_TYPE_MISMATCH;
            }
            static_cast<typename ValueKind<Other>::Object*>(connected)->setValue(static_cast<Other>(value));
            return STATUS_OK;
        }
        DEBUG_LOG(LOG_ERROR, "STATUS_ERR_VALUE_TYPE_MISMATCH");
    } else {
        DEBUG_LOG(LOG_ERROR, TYPE_MISMATCH_MESSAGE, access.accessTypeName(access.getType()));
    }
    return STATUS_ERR_VALUE_TYPE_MISMATCH;
}

}  // namespace typed

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

#define NRX_READ_AND_WRITE(T, ...)                                                        \
    int ValueAccessBase::getValue(T& out) { return typed::getValue(*this, object, out); } \
    int ValueAccessBase::setValue(Passed<T> value) { return typed::setValue<T>(*this, object, value); }
NRX_VALUE_KINDS(NRX_READ_AND_WRITE)
#undef NRX_READ_AND_WRITE

void ValueAccessBase::onNewValue(ValueObject const& value) {
    DEBUG_TRACE();
    if (handler) {
        handler->handleNewValue(value);
    }
}

char const* ValueAccessBase::accessTypeName(objbus::ObjectTypeSpec type) {
#define NRX_NAME(OBJECT_TYPE) \
    case objbus::OBJECT_TYPE: \
        return #OBJECT_TYPE;
#define NRX_NAME_OF_KIND(T, OBJECT, OBJECT_TYPE, ...) NRX_NAME(OBJECT_TYPE)
    switch (type) {
        NRX_VALUE_KINDS(NRX_NAME_OF_KIND)
        NRX_OTHER_TYPES(NRX_NAME)
        case objbus::OBJECT_TYPE_NONE:
            break;
    }
#undef NRX_NAME_OF_KIND
#undef NRX_NAME
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
    int const status = frame::Process::getInstance().getInterfaceReference(reference, rootInterfaceName());
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
