#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/value_access.h"

#include <utility>

#include "nrx_service/nrx_proxy/diagnostics/debug_log.h"
#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/list_value.h"
#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/model_connection.h"

namespace orvane::system::support {

namespace {

/// The key that stands for "no such value on this television".
constexpr char MISSING_KEY[] = "missing";

template <typename Obs>
struct ObserverTraits;

template <>
struct ObserverTraits<objbus::ObserverNumericInteger> {
    static constexpr auto TYPE = objbus::OBJECT_TYPE_NUMERIC_INTEGER;
    static constexpr char NAME[] = "ObserverNumericInteger";
};

template <>
struct ObserverTraits<objbus::ObserverNumericInt64> {
    static constexpr auto TYPE = objbus::OBJECT_TYPE_NUMERIC_INT64;
    static constexpr char NAME[] = "ObserverNumericInt64";
};

template <>
struct ObserverTraits<objbus::ObserverString> {
    static constexpr auto TYPE = objbus::OBJECT_TYPE_STRING;
    static constexpr char NAME[] = "ObserverString";
};

template <>
struct ObserverTraits<objbus::ObserverVectorNumericInteger> {
    static constexpr auto TYPE = objbus::OBJECT_TYPE_VECTOR_NUMERIC_INTEGER;
    static constexpr char NAME[] = "ObserverVectorNumericInteger";
};

template <>
struct ObserverTraits<objbus::ObserverVectorString> {
    static constexpr auto TYPE = objbus::OBJECT_TYPE_VECTOR_STRING;
    static constexpr char NAME[] = "ObserverVectorString";
};

}  // namespace

/// The operations as far as they do not depend on what is observed: here once, instead of once in each instance. A line
/// that one of them writes names it as the operation that it is.
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
        objbus::RootInterface* const root = access.getRootInterface();
        auto const [found, status] = connectWithin(timeoutMs, root, access.name, observer);
        if (found == nullptr) {
            DEBUG_LOG(LOG_ERROR, CONNECT_FAILED_MESSAGE, status);
            return STATUS_ERR_CONNECT_FAILED;
        }
        if (auto const type = typeOf(found); type != acceptedType) {
            DEBUG_LOG(LOG_ERROR, OBSERVER_MISMATCH_MESSAGE, access.name.c_str(), static_cast<int>(type), observerName);
            disconnectFrom(root, access.getName(), observer, found);
            return STATUS_ERR_VALUE_TYPE_MISMATCH;
        }
        access.object = found;
        return STATUS_OK;
    }

    template <typename T>
    static void notifyNewValue(ValueAccessBase& access, T const& value) {
        DEBUG_TRACE();
        if (access.handler) {
            access.onNewValue(ValueObject(value));
        }
    }

    static void notifyIntegerVector(ValueAccessBase& access, std::vector<int> const& values) {
        DEBUG_TRACE();
        if (access.handler) {
            access.onNewValue(listValue(values));
        }
    }

    static void notifyStringVector(ValueAccessBase& access, std::vector<std::string> const& values) {
        DEBUG_TRACE();
        if (access.handler) {
            access.onNewValue(listValue(values));
        }
    }
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
        ValueAccessT::disconnect();
    }
}

template <typename Obs>
int ValueAccessT<Obs>::connect(int timeoutMs) {
    using Traits = ObserverTraits<Obs>;
    return ValueOperations::connect(*this, timeoutMs, this, Traits::TYPE, Traits::NAME);
}

template <typename Obs>
int ValueAccessT<Obs>::disconnect() {
    disconnectFrom(getRootInterface(), name, this, object);
    object = nullptr;
    return STATUS_OK;
}

template <typename Obs>
void ValueAccessT<Obs>::notifyNewValue(int value) {
    ValueOperations::notifyNewValue(*this, value);
}

template <typename Obs>
void ValueAccessT<Obs>::notifyNewValue(long long value) {
    ValueOperations::notifyNewValue(*this, value);
}

template <typename Obs>
void ValueAccessT<Obs>::notifyNewValue(std::string const& value) {
    ValueOperations::notifyNewValue(*this, value);
}

template <typename Obs>
void ValueAccessT<Obs>::notifyIntegerVector(std::vector<int> const& values) {
    ValueOperations::notifyIntegerVector(*this, values);
}

template <typename Obs>
void ValueAccessT<Obs>::notifyStringVector(std::vector<std::string> const& values) {
    ValueOperations::notifyStringVector(*this, values);
}

template class ValueAccessT<objbus::ObserverNumericInteger>;
template class ValueAccessT<objbus::ObserverNumericInt64>;
template class ValueAccessT<objbus::ObserverString>;
template class ValueAccessT<objbus::ObserverVectorNumericInteger>;
template class ValueAccessT<objbus::ObserverVectorString>;

}  // namespace orvane::system::support
