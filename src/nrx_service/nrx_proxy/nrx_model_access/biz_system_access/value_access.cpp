#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/value_access.h"

#include <utility>

#include "nrx_service/nrx_proxy/diagnostics/debug_log.h"
#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/list_value.h"
#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/model_connection.h"
#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/value_kinds.h"

namespace orvane::system::support {

namespace {

/// A `ValueAccessT` with this key stands for a value that the television does not have. Its `connect` fails without a
/// call to the model.
constexpr char MISSING_KEY[] = "missing";

template <typename T>
ValueObject valueOf(T const& value) {
    return value;
}

template <typename T>
ValueObject valueOf(std::vector<T> const& items) {
    return listValue(items);
}

}  // namespace

/// The parts of the operations that do not depend on the observer interface. These parts are compiled once, and not for
/// each instance of `ValueAccessT`. The functions have the operations' names, because log lines name the function.
struct ValueOperations {
    static int connect(ValueAccessBase& access, int timeoutMs, objbus::Observer* observer,
                       objbus::ObjectTypeSpec acceptedType, char const* observerName) {
        if (access.name == MISSING_KEY) {
            DEBUG_LOG(LOG_ERROR, "Value is '%s'.", access.name.c_str());
            return STATUS_ERR_MISSING_VALUE;
        }
        access.connectTimeoutMs = timeoutMs;
        if (access.object != nullptr) {
            return STATUS_OK;
        }
        ModelConnection found(timeoutMs, access.getRootInterface(), access.name, observer);
        if (found.object() == nullptr) {
            DEBUG_LOG(LOG_ERROR, CONNECT_FAILED_MESSAGE, found.status());
            return STATUS_ERR_CONNECT_FAILED;
        }
        if (auto const type = typeOf(found.object()); type != acceptedType) {
            DEBUG_LOG(LOG_ERROR, OBSERVER_MISMATCH_MESSAGE, access.name.c_str(), static_cast<int>(type), observerName);
            found.end(access.getName());
            return STATUS_ERR_VALUE_TYPE_MISMATCH;
        }
        access.object = found.keep();
        return STATUS_OK;
    }

    static int disconnect(ValueAccessBase& access, objbus::Observer* observer) {
        disconnectFrom(access.getRootInterface(), access.name, observer, access.object);
        access.object = nullptr;
        return STATUS_OK;
    }

#define NRX_NOTIFY(T, OBJECT, OBJECT_TYPE, OBSERVER, NOTIFICATION)       \
    static void NOTIFICATION(ValueAccessBase& access, Passed<T> value) { \
        DEBUG_TRACE();                                                   \
        if (access.handler) {                                            \
            access.onNewValue(valueOf(value));                           \
        }                                                                \
    }
    NRX_VALUE_KINDS(NRX_NOTIFY)
#undef NRX_NOTIFY
};

template <typename Obs>
ValueAccessT<Obs>::ValueAccessT() = default;

template <typename Obs>
ValueAccessT<Obs>::ValueAccessT(std::string key) : ValueAccessBase(key) {}

template <typename Obs>
ValueAccessT<Obs>::ValueAccessT(std::string key, std::shared_ptr<ValueHandler> newHandler) : ValueAccessBase(key) {
    handler = std::move(newHandler);
}

template <typename Obs>
ValueAccessT<Obs>::ValueAccessT(ValueAccessT const& /*other*/) : ValueAccessT() {}

template <typename Obs>
ValueAccessT<Obs>::~ValueAccessT() {
    if (object != nullptr) {
        disconnectForDestruction(*this);
    }
}

template <typename Obs>
int ValueAccessT<Obs>::connect(int timeoutMs) {
    using Kind = ObserverKind<Obs>;
    return ValueOperations::connect(*this, timeoutMs, this, Kind::TYPE, Kind::NAME);
}

template <typename Obs>
int ValueAccessT<Obs>::disconnect() {
    return ValueOperations::disconnect(*this, this);
}

#define NRX_PASS_ON(T, OBJECT, OBJECT_TYPE, OBSERVER, NOTIFICATION) \
    template <typename Obs>                                         \
    void ValueAccessT<Obs>::NOTIFICATION(Passed<T> value) {         \
        ValueOperations::NOTIFICATION(*this, value);                \
    }
NRX_VALUE_KINDS(NRX_PASS_ON)
#undef NRX_PASS_ON

#define NRX_INSTANTIATE(T, OBJECT, OBJECT_TYPE, OBSERVER, ...) template class ValueAccessT<objbus::OBSERVER>;
NRX_VALUE_KINDS(NRX_INSTANTIATE)
#undef NRX_INSTANTIATE

}  // namespace orvane::system::support
